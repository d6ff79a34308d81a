#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kellanseek::platform {

/// Returns the text of a registry store (format: kellanseek/com/registry.h) with one value set and all other
/// lines unchanged. `key`, `name` and `value` must be UTF-8 accepted by IsRegistryKey(), IsRegistryName() and
/// IsRegistryValue(); an empty name is the key's default value.
std::string WithRegistryValue(std::string_view store, std::string_view key, std::string_view name,
                              std::string_view value);

/// Returns the text without a key, its values and its subkeys; comments and meaningless lines stay. Returns
/// nullopt if the key does not exist.
std::optional<std::string> WithoutRegistryTree(std::string_view store, std::string_view key);

/// Returns the text with the values of a key and its subkeys taken from another store. Returns nullopt if the
/// key does not exist.
std::optional<std::string> WithRegistryTreeOf(std::string_view store, std::string_view other,
                                              std::string_view key);

/// Whether every value and every comment of `store` also occurs in `other`.
bool IsPartOfRegistry(std::string_view store, std::string_view other);

/// Whether a store can hold the text and return it unchanged.
bool IsRegistryKey(std::string_view key);
bool IsRegistryName(std::string_view name);
bool IsRegistryValue(std::string_view value);

}  // namespace kellanseek::platform

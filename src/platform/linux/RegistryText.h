#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kellanseek::platform {

/// The text of a registry store (kellanseek/com/registry.h has its form) with one value set. Every other line
/// stays as it is. `key`, `name` and `value` are UTF-8 that IsRegistryKey(), IsRegistryName() and
/// IsRegistryValue() accept; an empty name is the key's default value.
std::string WithRegistryValue(std::string_view store, std::string_view key, std::string_view name,
                              std::string_view value);

/// The text without a key, its values and its subkeys; comments and lines of no meaning stay. None when the
/// key is not there.
std::optional<std::string> WithoutRegistryTree(std::string_view store, std::string_view key);

/// The text in which a key, with its subkeys, has the values that it has in another store. None when the key
/// is not there.
std::optional<std::string> WithRegistryTreeOf(std::string_view store, std::string_view other,
                                              std::string_view key);

/// Whether every value and every comment of a store is in another one too.
bool IsPartOfRegistry(std::string_view store, std::string_view other);

/// Whether a text can stand in a store and be read back as it is.
bool IsRegistryKey(std::string_view key);
bool IsRegistryName(std::string_view name);
bool IsRegistryValue(std::string_view value);

}  // namespace kellanseek::platform

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// The system's store of keys and values: on Windows the registry, elsewhere a text file (see
/// kellanseek/com.h for its place). Keys are full paths that begin with a root name, for example
/// L"HKEY_CLASSES_ROOT\\CLSID\\{...}"; key and value names compare without regard to case. An empty value
/// name is the key's default value. Callable from any thread; changes made by several processes at once are
/// all kept.
///
/// Results are S_OK, S_FALSE for a key or value that is not there, or a failure code.
class RegistryStore {
 public:
  virtual ~RegistryStore() = default;

  /// Reads a value as text. A text longer than `maxLength` characters is a failure.
  virtual HRESULT Read(const std::wstring& key, const std::wstring& name, std::size_t maxLength,
                       std::wstring& value) = 0;
  /// Writes a text value, making the key when it is not there.
  virtual HRESULT Write(const std::wstring& key, const std::wstring& name, const std::wstring& value) = 0;
  /// Removes a key with all its values and subkeys.
  virtual HRESULT RemoveTree(const std::wstring& key) = 0;
  /// Takes back what was written to a key by a user who has a store of their own in the place of the
  /// machine's: the key holds again what the machine's has. S_FALSE when they have none, or no such key in
  /// it. Where users have no such store the key is removed.
  virtual HRESULT TakeBack(const std::wstring& key) { return RemoveTree(key); }
  /// Removes a user's own store when it says nothing that the machine's does not. S_FALSE when there is none,
  /// or it says more.
  virtual HRESULT DropNeedlessStore() { return S_FALSE; }
  /// The file in which changes are made now; empty when it is none.
  virtual std::wstring FileOfChanges() { return {}; }
  /// Whether programs of the other word size have that key, where the system keeps two sets of keys for them.
  virtual bool HasForOtherSize(const std::wstring& /*key*/) { return false; }
  /// In words, why the last failing call of this thread failed (for people at a terminal).
  virtual std::wstring LastErrorText() = 0;
};

RegistryStore& SystemRegistryStore();

}  // namespace kellanseek::platform

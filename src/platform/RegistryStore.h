#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// The system's store of keys and values: the registry on Windows, a text file elsewhere
/// (kellanseek/com/registry.h has its path and format). Keys are full paths that begin with a root name, such
/// as L"HKEY_CLASSES_ROOT\\CLSID\\{...}"; names of keys and values are case-insensitive. The empty value name
/// is the key's default value. Thread-safe; concurrent changes by several processes are all kept.
///
/// Methods return S_OK, S_FALSE if the key or value does not exist, or a failure code.
class RegistryStore {
 public:
  virtual ~RegistryStore() = default;

  /// Reads a value as text. Fails if it has more than `maxLength` characters.
  virtual HRESULT Read(const std::wstring& key, const std::wstring& name, std::size_t maxLength,
                       std::wstring& value) = 0;
  /// Writes a text value. Creates the key if necessary.
  virtual HRESULT Write(const std::wstring& key, const std::wstring& name, const std::wstring& value) = 0;
  /// Removes a key with all its values and subkeys.
  virtual HRESULT RemoveTree(const std::wstring& key) = 0;
  /// Undoes a user's own changes to a key. A user whose own store replaces the machine's gets the machine's
  /// content of the key back; returns S_FALSE if that user has no store, or no such key in it. On systems
  /// without user stores, removes the key.
  virtual HRESULT TakeBack(const std::wstring& key) { return RemoveTree(key); }
  /// Removes the user's own store if it adds nothing to the machine's. Returns S_FALSE if there is none or it
  /// adds something.
  virtual HRESULT DropNeedlessStore() { return S_FALSE; }
  /// The file that changes currently go to; empty if the store is not a file.
  virtual std::wstring FileOfChanges() { return {}; }
  /// Whether the key exists for programs of the other word size, on systems that keep separate keys for them.
  virtual bool HasForOtherSize(const std::wstring& /*key*/) { return false; }
  /// The reason for the calling thread's last failure, for the user.
  virtual std::wstring LastErrorText() = 0;
};

RegistryStore& SystemRegistryStore();

}  // namespace kellanseek::platform

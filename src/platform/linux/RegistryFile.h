#pragma once

#include <string>

#include "platform/RegistryStore.h"

namespace kellanseek::platform {

/// A registry store in a text file (format: kellanseek/com/registry.h). A change waits a few seconds for
/// other writers, replaces the file as a whole and keeps all unrelated lines. Writing creates the file and
/// its directory if necessary; removing does not.
class RegistryFile final : public RegistryStore {
 public:
  /// `machine` is the path of the store that this one replaces and starts as a copy of; empty if there is
  /// none.
  explicit RegistryFile(std::string path, std::string machine = {});

  HRESULT Read(const std::wstring& key, const std::wstring& name, std::size_t maxLength,
               std::wstring& value) override;
  HRESULT Write(const std::wstring& key, const std::wstring& name, const std::wstring& value) override;
  HRESULT RemoveTree(const std::wstring& key) override;
  HRESULT TakeBack(const std::wstring& key) override;
  HRESULT DropNeedlessStore() override;
  std::wstring FileOfChanges() override;
  std::wstring LastErrorText() override;

 private:
  /// Replaces the store by the result of `edit`, under the writers' lock. Returns S_FALSE if `edit` returns
  /// nothing.
  template <typename Edit>
  HRESULT Change(Edit edit);
  /// The same for an `edit` of the store and a key in UTF-8. Also returns S_FALSE if there is no store.
  template <typename Edit>
  HRESULT ChangeTree(const std::wstring& key, Edit edit);
  HRESULT ReadForChange(const std::string& path, std::string& store);
  HRESULT ReadMachine(std::string& store);
  bool Missing() const;

  std::string path_;
  std::string machine_;
};

}  // namespace kellanseek::platform

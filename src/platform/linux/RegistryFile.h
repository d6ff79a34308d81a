#pragma once

#include <string>

#include "platform/RegistryStore.h"

namespace kellanseek::platform {

/// The registry store in one text file (kellanseek/com/registry.h has its form). A change waits a few seconds
/// for other writers, puts a whole new file in the place of the old one and keeps every line that it does not
/// concern; the file's directory is made when it is not there. Nothing is removed from a file that is not
/// there.
class RegistryFile final : public RegistryStore {
 public:
  /// `machine` names the file that this one takes the place of, and whose content it begins with; empty for
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
  /// Replaces the store by what `edit` makes of it, while no other writer is at it; S_FALSE when it makes
  /// nothing.
  template <typename Edit>
  HRESULT Change(Edit edit);
  /// The same for what `edit` makes of the store and the UTF-8 of a key; S_FALSE also when there is no store.
  template <typename Edit>
  HRESULT ChangeTree(const std::wstring& key, Edit edit);
  HRESULT ReadForChange(const std::string& path, std::string& store);
  HRESULT ReadMachine(std::string& store);
  bool Missing() const;

  std::string path_;
  std::string machine_;
};

}  // namespace kellanseek::platform

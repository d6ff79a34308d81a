#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/RegistryStore.h"

namespace kellanseek::test {

/// A registry in memory. Not thread-safe.
class FakeRegistryStore : public platform::RegistryStore {
 public:
  using Name = std::pair<std::wstring, std::wstring>;  ///< Key and value name.

  HRESULT Read(const std::wstring& key, const std::wstring& name, std::size_t maxLength,
               std::wstring& value) override {
    const auto found = values.find({key, name});
    if (found == values.end()) return S_FALSE;
    if (found->second.size() > maxLength) return E_FAIL;
    value = found->second;
    return S_OK;
  }
  HRESULT Write(const std::wstring& key, const std::wstring& name, const std::wstring& value) override {
    if (readOnly) return E_ACCESSDENIED;
    if (!refused.empty() && value == refused) return E_INVALIDARG;
    values[{key, name}] = value;
    return S_OK;
  }
  HRESULT RemoveTree(const std::wstring& key) override {
    if (readOnly) return E_ACCESSDENIED;
    removed.push_back(key);
    const auto inTree = [&](const auto& entry) {
      const std::wstring& stored = entry.first.first;
      return stored == key || stored.rfind(key + L"\\", 0) == 0;
    };
    return std::erase_if(values, inTree) > 0 ? S_OK : S_FALSE;
  }
  HRESULT DropNeedlessStore() override {
    removed.push_back(L"(the store)");
    return S_FALSE;
  }
  bool HasForOtherSize(const std::wstring& key) override { return otherSize.contains(key); }
  std::wstring LastErrorText() override { return readOnly ? L"the store is read-only" : L""; }

  std::map<Name, std::wstring> values;
  std::vector<std::wstring> removed;  ///< Removed keys, in order.
  bool readOnly = false;
  std::wstring refused;              ///< A value that Write() refuses; empty for none.
  std::set<std::wstring> otherSize;  ///< Keys that exist for programs of the other word size.
};

}  // namespace kellanseek::test

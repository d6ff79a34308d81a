#include "ComponentModule.h"

#include <gtest/gtest.h>

#include <array>

ComponentModule::ComponentModule() {
  std::array<wchar_t, 1024> given = {};
  std::array<wchar_t, 1024> full = {};
  GetEnvironmentVariableW(L"KELLANSEEK_TEST_MODULE", given.data(), static_cast<DWORD>(given.size()));
  GetFullPathNameW(given.data(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  path_ = full.data();
  module_ = LoadLibraryW(path_.c_str());
  EXPECT_NE(module_, nullptr) << "the component does not load";
}

ComponentModule::~ComponentModule() {
  if (module_ != nullptr) FreeLibrary(module_);
}

HRESULT ComponentModule::Call(const char* function) const {
  using Export = HRESULT WINAPI();
  auto* const address = reinterpret_cast<Export*>(reinterpret_cast<void*>(GetProcAddress(module_, function)));
  return address == nullptr ? E_NOTIMPL : address();
}

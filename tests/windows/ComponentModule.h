#pragma once

#include <windows.h>

#include <string>

#include <kellanseek/KelLanSeek.h>

/// The built component, loaded by its path (environment variable KELLANSEEK_TEST_MODULE) during the object's
/// lifetime.
class ComponentModule {
 public:
  ComponentModule();
  ~ComponentModule();
  ComponentModule(const ComponentModule&) = delete;
  ComponentModule& operator=(const ComponentModule&) = delete;

  bool Loaded() const { return module_ != nullptr; }
  HMODULE Handle() const { return module_; }
  const std::wstring& Path() const { return path_; }

  HRESULT Register() const { return Call("DllRegisterServer"); }
  HRESULT Unregister() const { return Call("DllUnregisterServer"); }
  HRESULT CanUnloadNow() const { return Call("DllCanUnloadNow"); }

 private:
  HRESULT Call(const char* function) const;

  std::wstring path_;
  HMODULE module_ = nullptr;
};

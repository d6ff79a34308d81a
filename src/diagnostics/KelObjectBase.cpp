#include "diagnostics/KelObjectBase.h"

#include <new>
#include <utility>

namespace kellanseek::diagnostics {
namespace {

std::wstring Location(std::wstring_view unit, int line) {
  return std::wstring(unit) + L"[" + std::to_wstring(line) + L"]; ";
}

}  // namespace

std::optional<std::wstring> CKelObjectBase::ErrorText() {
  const platform::MutexLock lock(mutex_);
  return text_;
}

HRESULT CKelObjectBase::GetErrorText(BSTR* text) {
  *text = nullptr;
  const platform::MutexLock lock(mutex_);
  if (!text_) return S_OK;
  const std::wstring_view held = *text_;
  *text = SysAllocStringLen(held.data(), static_cast<UINT>(held.size()));
  return *text != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CKelObjectBase::SetErrorText(const wchar_t* text) {
  try {
    std::optional<std::wstring> copy;
    if (text != nullptr) copy.emplace(text);
    const platform::MutexLock lock(mutex_);
    text_.swap(copy);
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

void CKelObjectBase::StoreError(std::wstring_view message, std::wstring_view unit, int line) {
  std::optional<std::wstring> text(std::wstring(message) + L":" + Location(unit, line));
  const platform::MutexLock lock(mutex_);
  text_.swap(text);
}

void CKelObjectBase::AppendLocation(std::wstring_view unit, int line) {
  const std::wstring place = Location(unit, line);
  const platform::MutexLock lock(mutex_);
  text_ = text_.value_or(L"") + place;
}

void CKelObjectBase::TakeErrorFrom(CKelObjectBase& inner, std::wstring_view unit, int line) {
  std::optional<std::wstring> text = inner.ErrorText().value_or(L"") + Location(unit, line);
  const platform::MutexLock lock(mutex_);
  text_.swap(text);
}

}  // namespace kellanseek::diagnostics

#pragma once

#include <kellanseek/KelLanSeek.h>

#include "diagnostics/KelObjectBase.h"

namespace kellanseek::component {

/// Makes the object's last error text available to clients.
class CKelBase : public IKelBase {
 public:
  explicit CKelBase(diagnostics::CKelObjectBase& holder) : holder_(holder) {}

  STDMETHODIMP GetLastErrorInfo(BSTR* pErrorText) final {
    return pErrorText == nullptr ? E_POINTER : holder_.GetErrorText(pErrorText);
  }

 protected:
  ~CKelBase() = default;

 private:
  diagnostics::CKelObjectBase& holder_;
};

}  // namespace kellanseek::component

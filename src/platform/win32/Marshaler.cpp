#include "platform/Marshaler.h"

#include "platform/win32/System.h"

#include <objbase.h>

namespace kellanseek::platform {

KelComPtr<IUnknown> FreeThreadedMarshaler(IUnknown& object) {
  KelComPtr<IUnknown> marshaler;
  if (FAILED(CoCreateFreeThreadedMarshaler(&object, marshaler.Put()))) return {};
  return marshaler;
}

HRESULT QueryMarshaler(IUnknown* marshaler, REFIID iid, void** object) {
  if (marshaler == nullptr || !IsEqualIID(iid, IID_IMarshal)) return E_NOINTERFACE;
  return marshaler->QueryInterface(iid, object);
}

}  // namespace kellanseek::platform

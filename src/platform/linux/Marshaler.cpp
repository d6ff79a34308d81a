#include "platform/Marshaler.h"

namespace kellanseek::platform {

KelComPtr<IUnknown> FreeThreadedMarshaler(IUnknown& /*object*/) { return {}; }

HRESULT QueryMarshaler(IUnknown* /*marshaler*/, REFIID /*iid*/, void** /*object*/) { return E_NOINTERFACE; }

}  // namespace kellanseek::platform

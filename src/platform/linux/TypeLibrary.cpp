#include "platform/TypeLibrary.h"

namespace kellanseek::platform {

bool WantsPerUserRegistration() { return false; }

HRESULT RegisterModuleTypeLibrary(bool /*perUser*/) { return S_OK; }

HRESULT UnregisterModuleTypeLibrary(bool /*perUser*/) { return S_OK; }

}  // namespace kellanseek::platform

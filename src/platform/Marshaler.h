#pragma once

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// Creates the free-threaded marshaller, aggregated by `object`, which it does not reference. It lets every
/// apartment of the process use an object that belongs to no thread without a stub. Returns null where the
/// system has no apartments, and if memory is exhausted.
KelComPtr<IUnknown> FreeThreadedMarshaler(IUnknown& object);

/// Answers QueryInterface for the marshalling interface. Returns E_NOINTERFACE for any other interface, and
/// if `marshaler` is null.
HRESULT QueryMarshaler(IUnknown* marshaler, REFIID iid, void** object);

}  // namespace kellanseek::platform

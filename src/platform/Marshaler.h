#pragma once

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// What lets an object that belongs to no thread be used in every apartment of its process without a stub:
/// the free-threaded marshaller, as a part of `object`, which it does not reference. Null where the system
/// has no apartments, and when memory is out.
KelComPtr<IUnknown> FreeThreadedMarshaler(IUnknown& object);

/// Answers a query for the marshalling interface from that part; E_NOINTERFACE for any other, and when there
/// is none.
HRESULT QueryMarshaler(IUnknown* marshaler, REFIID iid, void** object);

}  // namespace kellanseek::platform

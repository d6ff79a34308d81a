#pragma once

#include <kellanseek/KelLanSeek.h>

/// The classes of the module that the activation tests load.
inline constexpr CLSID CLSID_Sample = KelGuid("6C0F9A51-2C7E-4D0B-9F39-8A1D2B3C4E01");
/// Its DllGetClassObject succeeds without returning a class object.
inline constexpr CLSID CLSID_SampleNoFactory = KelGuid("6C0F9A51-2C7E-4D0B-9F39-8A1D2B3C4E02");

#pragma once

// The COM base types shared by the KelLanSeek component and its clients.
//
// On Windows these are the system's own: the headers below are included and nothing is added to them. They
// are included lean (WIN32_LEAN_AND_MEAN, NOMINMAX); a client that needs more of <windows.h> includes it
// first.
//
// On other systems the headers under kellanseek/com/ define the same names with the same meaning, as far as
// an in-process component needs them: base types and status codes, IUnknown and IClassFactory, BSTR, VARIANT
// and the task allocator, and the creation of objects by class identifier. Everything is inline and uses only
// malloc and free, so client and component need share no library except the C library.
//
// On both systems the header also defines, all beginning with Kel:
//   KelGuid, KelInterfaceId, KEL_DECLARE_INTERFACE   identifiers, tied to the interface types they name
//   KelComPtr, KelBstr                               owners of a reference and of a BSTR
//   KelCreateInstanceFromModule                      an object from a module that need not be registered

// MSVC keeps __cplusplus at C++98 by default and reports the language version in a macro of its own.
#if defined(_MSVC_LANG) ? _MSVC_LANG < 201703L : __cplusplus < 201703L
#error "The KelLanSeek headers need C++17 or later (-std=c++17, /std:c++17)"
#endif

#if defined(_WIN32)

#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#define KEL_UNDEF_LEAN_AND_MEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#define KEL_UNDEF_NOMINMAX
#endif
#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <olectl.h>
#include <unknwn.h>
#if defined(KEL_UNDEF_LEAN_AND_MEAN)
#undef WIN32_LEAN_AND_MEAN
#undef KEL_UNDEF_LEAN_AND_MEAN
#endif
#if defined(KEL_UNDEF_NOMINMAX)
#undef NOMINMAX
#undef KEL_UNDEF_NOMINMAX
#endif

#include <kellanseek/com/identifiers.h>
#include <kellanseek/com/module_win32.h>

#else

#include <kellanseek/com/activation.h>
#include <kellanseek/com/automation.h>
#include <kellanseek/com/base.h>
#include <kellanseek/com/identifiers.h>

#endif

#include <kellanseek/com/owners.h>

// KEL_UUID and KEL_UUIDOF declare the identifier to compilers that support __uuidof; see
// KEL_DECLARE_INTERFACE.
#if defined(_MSC_VER)
#define KEL_UUID(text) __declspec(uuid(text))
#define KEL_UUIDOF(type)
#elif defined(_WIN32) && defined(__CRT_UUID_DECL)
#define KEL_UUID(text)
#define KEL_UUIDOF(type)                                                                              \
  __CRT_UUID_DECL(type, IID_##type.Data1, IID_##type.Data2, IID_##type.Data3, IID_##type.Data4[0],    \
                  IID_##type.Data4[1], IID_##type.Data4[2], IID_##type.Data4[3], IID_##type.Data4[4], \
                  IID_##type.Data4[5], IID_##type.Data4[6], IID_##type.Data4[7])
#else
#define KEL_UUID(text)
#define KEL_UUIDOF(type)
#endif

#pragma once

// Base types, status codes and the root interfaces, as in Windows' own headers. Part of kellanseek/com.h.

#include <cstddef>
#include <cstdint>
#include <cstring>

using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using INT = int;
using UINT = unsigned int;
using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using LONGLONG = std::int64_t;
using LPVOID = void*;
using WCHAR = wchar_t;
using OLECHAR = wchar_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

#if !defined(TRUE)
#define TRUE 1
#define FALSE 0
#endif

#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE
#define STDAPI extern "C" [[gnu::visibility("default")]] HRESULT STDAPICALLTYPE
#define PURE = 0

/// A time in 100 ns steps since 1601-01-01, in two halves.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool IsEqualGUID(REFGUID left, REFGUID right) { return std::memcmp(&left, &right, sizeof(GUID)) == 0; }
inline bool IsEqualIID(REFIID left, REFIID right) { return IsEqualGUID(left, right); }
inline bool IsEqualCLSID(REFCLSID left, REFCLSID right) { return IsEqualGUID(left, right); }
inline bool operator==(REFGUID left, REFGUID right) { return IsEqualGUID(left, right); }
inline bool operator!=(REFGUID left, REFGUID right) { return !IsEqualGUID(left, right); }

inline constexpr GUID GUID_NULL = {};
inline constexpr IID IID_IUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory = {1, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001U);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002U);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003U);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004U);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005U);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFU);
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106U);
inline constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008U);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110U);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111U);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154U);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0U);
inline constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3U);
inline constexpr HRESULT CO_E_DLLNOTFOUND = static_cast<HRESULT>(0x800401F8U);
inline constexpr HRESULT CO_E_ERRORINDLL = static_cast<HRESULT>(0x800401F9U);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005U);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000EU);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057U);
inline constexpr HRESULT SELFREG_E_CLASS = static_cast<HRESULT>(0x80040201U);

constexpr bool SUCCEEDED(HRESULT result) { return result >= 0; }
constexpr bool FAILED(HRESULT result) { return result < 0; }
constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
  return error == 0 || error >= 0x80000000U ? static_cast<HRESULT>(error)
                                            : static_cast<HRESULT>((error & 0xFFFFU) | 0x80070000U);
}

/// Reference counting and access to the object's interfaces. Like every interface it has no virtual
/// destructor: an object destroys itself when its last reference is released.
struct IUnknown {
  /// On success stores a pointer with a new reference in `*object`. Returns E_NOINTERFACE, with `*object`
  /// null, if the interface is not supported, and E_POINTER if `object` is null.
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) = 0;
  /// Add and release a reference. Thread-safe; the results are for diagnostics only.
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;
};

struct IClassFactory : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
  /// Keeps the module loaded while locked, even without objects.
  virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) = 0;
};

using LPUNKNOWN = IUnknown*;
using LPCLASSFACTORY = IClassFactory*;

#pragma once

// The task allocator, BSTR and VARIANT, as in Windows' own headers. Part of kellanseek/com.h.

#include <cstdlib>
#include <limits>
#include <string>

#include <kellanseek/com/base.h>

/// The allocator for memory that one side of an interface allocates and the other frees. Uses malloc and
/// free.
inline void* CoTaskMemAlloc(std::size_t size) { return std::malloc(size == 0 ? 1 : size); }
inline void CoTaskMemFree(void* memory) { std::free(memory); }

/// A counted text. The pointer is to its first character; the 4 bytes before that hold its length in bytes,
/// without the terminating zero. The malloc block starts at those 4 bytes. A null BSTR means that there is no
/// text and has the length 0. The receiver frees it with SysFreeString.
using BSTR = OLECHAR*;

namespace kellanseek::com {

inline constexpr std::size_t kBstrPrefix = sizeof(std::uint32_t);

}  // namespace kellanseek::com

/// Allocates a BSTR of `bytes` bytes, copied from `text` or zeroed if that is null. Returns null if memory is
/// exhausted or the length does not fit.
inline BSTR SysAllocStringByteLen(const char* text, UINT bytes) {
  using kellanseek::com::kBstrPrefix;
  const std::uint32_t length = bytes;
  if (length > std::numeric_limits<std::uint32_t>::max() - kBstrPrefix - sizeof(OLECHAR)) return nullptr;
  char* const block = static_cast<char*>(std::calloc(1, kBstrPrefix + length + sizeof(OLECHAR)));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &length, kBstrPrefix);
  if (text != nullptr) std::memcpy(block + kBstrPrefix, text, length);
  return reinterpret_cast<BSTR>(block + kBstrPrefix);
}

/// Allocates a BSTR of `length` characters, copied from `text`, zeros included, or zeroed if that is null.
inline BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
  if (length > std::numeric_limits<std::uint32_t>::max() / sizeof(OLECHAR)) return nullptr;
  return SysAllocStringByteLen(reinterpret_cast<const char*>(text),
                               static_cast<UINT>(length * sizeof(OLECHAR)));
}

/// Copies a zero-terminated text. Returns null for null.
inline BSTR SysAllocString(const OLECHAR* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::char_traits<OLECHAR>::length(text);
  if (length > std::numeric_limits<UINT>::max()) return nullptr;
  return SysAllocStringLen(text, static_cast<UINT>(length));
}

inline void SysFreeString(BSTR text) {
  if (text != nullptr) std::free(reinterpret_cast<char*>(text) - kellanseek::com::kBstrPrefix);
}

/// The length in bytes and in characters; 0 for null.
inline UINT SysStringByteLen(BSTR text) {
  if (text == nullptr) return 0;
  std::uint32_t length = 0;
  std::memcpy(&length, reinterpret_cast<const char*>(text) - kellanseek::com::kBstrPrefix, sizeof(length));
  return length;
}
inline UINT SysStringLen(BSTR text) { return static_cast<UINT>(SysStringByteLen(text) / sizeof(OLECHAR)); }

using VARTYPE = std::uint16_t;

/// The types of a VARIANT: only those that the component's interfaces use, and the two flags.
enum VARENUM : int {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I4 = 3,
  VT_BSTR = 8,
  VT_TYPEMASK = 0xFFF,
  VT_ARRAY = 0x2000,
  VT_BYREF = 0x4000,
};

/// Gives VARIANT the size of its largest member in Windows' headers: 16 bytes with 4-byte pointers, otherwise
/// 24.
struct KelVariantRecord {
  void* pvRecord;
  void* pRecInfo;
};

struct VARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    LONGLONG llVal;
    LONG lVal;
    BSTR bstrVal;
    LONG* plVal;
    BSTR* pbstrVal;
    void* byref;
    KelVariantRecord record;
  };
};
static_assert(offsetof(VARIANT, bstrVal) == 8 && sizeof(VARIANT) == 8 + 2 * (sizeof(void*) == 4 ? 4 : 8));

using VARIANTARG = VARIANT;

/// Makes `value` empty, regardless of its content.
inline void VariantInit(VARIANT* value) { *value = VARIANT{}; }

/// Frees the memory that `value` owns, which excludes anything held by reference, and makes it empty. Returns
/// E_INVALIDARG for null; DISP_E_BADVARTYPE, without changes, for a type not listed above.
inline HRESULT VariantClear(VARIANT* value) {
  if (value == nullptr) return E_INVALIDARG;
  const int kind = value->vt & VT_TYPEMASK;
  const bool known = kind == VT_EMPTY || kind == VT_NULL || kind == VT_I4 || kind == VT_BSTR;
  const bool byReference = (value->vt & VT_BYREF) != 0;
  if (!known || (value->vt & ~(VT_TYPEMASK | VT_BYREF | VT_ARRAY)) != 0) return DISP_E_BADVARTYPE;
  if ((value->vt & VT_ARRAY) != 0 && !byReference) return DISP_E_BADVARTYPE;
  if (kind == VT_BSTR && !byReference) SysFreeString(value->bstrVal);
  VariantInit(value);
  return S_OK;
}

#pragma once

// Joining COM, identifiers as text, and creating objects, as Windows' own headers give them. Part of
// kellanseek/com.h.

#include <dlfcn.h>

#include <new>
#include <string>
#include <string_view>

#include <kellanseek/com/base.h>
#include <kellanseek/com/identifiers.h>
#include <kellanseek/com/registry.h>

enum COINIT : DWORD { COINIT_MULTITHREADED = 0, COINIT_APARTMENTTHREADED = 2 };
enum CLSCTX : DWORD { CLSCTX_INPROC_SERVER = 1, CLSCTX_ALL = 23 };

namespace kellanseek::com {

struct ThreadApartment {
  ULONG joined = 0;
  DWORD model = COINIT_MULTITHREADED;
};

/// One per thread and module; hidden, so that a module which has it can still be unloaded.
[[gnu::visibility("hidden")]] inline ThreadApartment& CurrentApartment() {
  thread_local ThreadApartment apartment;
  return apartment;
}

inline constexpr int kGuidTextLength = 38;

inline int HexValue(OLECHAR digit) {
  if (digit >= L'0' && digit <= L'9') return digit - L'0';
  if (digit >= L'A' && digit <= L'F') return digit - L'A' + 10;
  if (digit >= L'a' && digit <= L'f') return digit - L'a' + 10;
  return -1;
}

/// Reads "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"; false, and `guid` untouched, for any other text.
inline bool ParseGuid(std::wstring_view text, GUID& guid) {
  constexpr std::wstring_view kForm = L"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  if (text.size() != kForm.size()) return false;
  std::uint8_t bytes[16] = {};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    if (kForm[i] != L'x') {
      if (text[i] != kForm[i]) return false;
      continue;
    }
    const int value = HexValue(text[i]);
    if (value < 0) return false;
    bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] << 4 | value);
    ++digits;
  }
  guid.Data1 =
      std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
  guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(guid.Data4, bytes + 8, sizeof(guid.Data4));
  return true;
}

/// The identifier in braces and capitals.
inline std::string GuidText(REFGUID guid) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "{";
  const auto append = [&](std::uint32_t number, int digits) {
    while (digits-- > 0) text += kDigits[number >> (4 * digits) & 0xF];
  };
  append(guid.Data1, 8);
  text += '-';
  append(guid.Data2, 4);
  text += '-';
  append(guid.Data3, 4);
  for (int i = 0; i < 8; ++i) {
    if (i == 0 || i == 2) text += '-';
    append(guid.Data4[i], 2);
  }
  return text + '}';
}

/// UTF-8; what is no code point becomes a question mark.
inline std::string Utf8(std::wstring_view text) {
  std::string bytes;
  for (const wchar_t character : text) {
    const auto code = static_cast<char32_t>(character);
    const auto tail = [&](int shift) { bytes += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
      bytes += static_cast<char>(code);
    } else if (code < 0x800) {
      bytes += static_cast<char>(0xC0 | code >> 6);
      tail(0);
    } else if (code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
      bytes += '?';
    } else if (code < 0x10000) {
      bytes += static_cast<char>(0xE0 | code >> 12);
      tail(6);
      tail(0);
    } else {
      bytes += static_cast<char>(0xF0 | code >> 18);
      tail(12);
      tail(6);
      tail(0);
    }
  }
  return bytes;
}

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

/// The class object of `clsid` from the module at `path`, which stays loaded for good.
inline HRESULT ClassObjectFromModule(const char* path, REFCLSID clsid, REFIID iid, void** object) {
  void* const module = ::dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (module == nullptr) return CO_E_DLLNOTFOUND;
  const auto getClassObject = reinterpret_cast<GetClassObject>(::dlsym(module, "DllGetClassObject"));
  const HRESULT result = getClassObject == nullptr ? CO_E_ERRORINDLL : getClassObject(clsid, iid, object);
  // The module counts as opened once less, and stays all the same.
  ::dlclose(module);
  return result;
}

inline HRESULT CreateFromFactory(IClassFactory* factory, IUnknown* outer, REFIID iid, void** object) {
  if (factory == nullptr) return CO_E_ERRORINDLL;
  const HRESULT result = factory->CreateInstance(outer, iid, object);
  factory->Release();
  return result;
}

/// Runs `body`, turning what it throws into a result.
template <typename Body>
HRESULT Guarded(Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace kellanseek::com

/// Joins COM on the calling thread: S_OK the first time, S_FALSE after that, RPC_E_CHANGED_MODE when the
/// thread has joined with the other model. Each success is paired with one CoUninitialize. There are no
/// apartments here: every thread may call every object, whichever model it named, and creating an object
/// needs no joining; programs that also run on Windows join anyway. `reserved` is null.
inline HRESULT CoInitializeEx(void* reserved, DWORD model) {
  if (reserved != nullptr) return E_INVALIDARG;
  kellanseek::com::ThreadApartment& apartment = kellanseek::com::CurrentApartment();
  const DWORD wanted = model & COINIT_APARTMENTTHREADED;
  if (apartment.joined > 0 && apartment.model != wanted) return RPC_E_CHANGED_MODE;
  apartment.model = wanted;
  return apartment.joined++ == 0 ? S_OK : S_FALSE;
}

/// Takes one CoInitializeEx of the calling thread back; one too many does nothing.
inline void CoUninitialize() {
  kellanseek::com::ThreadApartment& apartment = kellanseek::com::CurrentApartment();
  if (apartment.joined > 0) --apartment.joined;
}

/// Writes the identifier in braces and capitals, with a zero at its end: 39 characters, which is also the
/// result; 0, and nothing written, when `capacity` is less.
inline int StringFromGUID2(REFGUID guid, LPOLESTR text, int capacity) {
  constexpr int kNeeded = kellanseek::com::kGuidTextLength + 1;
  if (text == nullptr || capacity < kNeeded) return 0;
  const std::string narrow = kellanseek::com::GuidText(guid);
  for (std::size_t i = 0; i < narrow.size(); ++i) text[i] = static_cast<OLECHAR>(narrow[i]);
  text[narrow.size()] = L'\0';
  return kNeeded;
}

/// The class identifier that the registry store has for a programmatic one. S_OK; E_INVALIDARG for a null
/// pointer; CO_E_CLASSSTRING, with zeros in `*clsid`, when there is none.
inline HRESULT CLSIDFromProgID(LPCOLESTR progID, CLSID* clsid) {
  if (progID == nullptr || clsid == nullptr) return E_INVALIDARG;
  *clsid = GUID_NULL;
  return kellanseek::com::Guarded([&] {
    const auto text = kellanseek::com::ReadRegistryDefault("HKEY_CLASSES_ROOT\\" +
                                                           kellanseek::com::Utf8(progID) + "\\CLSID");
    const bool found = text && kellanseek::com::ParseGuid(std::wstring(text->begin(), text->end()), *clsid);
    return found ? S_OK : CO_E_CLASSSTRING;
  });
}

/// Reads an identifier in braces, or looks a programmatic one up when the text does not begin with a brace.
/// S_OK; E_INVALIDARG when `clsid` is null; CO_E_CLASSSTRING for any other text. Zeros for a null text, and
/// on failure.
inline HRESULT CLSIDFromString(LPCOLESTR text, CLSID* clsid) {
  if (clsid == nullptr) return E_INVALIDARG;
  *clsid = GUID_NULL;
  if (text == nullptr) return S_OK;
  if (*text != L'{') return CLSIDFromProgID(text, clsid);
  return kellanseek::com::ParseGuid(text, *clsid) ? S_OK : CO_E_CLASSSTRING;
}

/// The class object of a registered class: the module that the registry store names for it is loaded and
/// asked. The module stays loaded. E_POINTER when `object` is null; REGDB_E_CLASSNOTREG when the class is not
/// registered or `context` leaves in-process modules out; CO_E_DLLNOTFOUND when the module is not named by
/// its full path or does not load (dlerror has the reason); CO_E_ERRORINDLL when it is not a component; else
/// what the component answers. Callable from any thread. `reserved` is null.
inline HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void* reserved, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (reserved != nullptr) return E_INVALIDARG;
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
  return kellanseek::com::Guarded([&] {
    const auto path = kellanseek::com::ReadRegistryDefault(
        "HKEY_CLASSES_ROOT\\CLSID\\" + kellanseek::com::GuidText(clsid) + "\\InprocServer32");
    if (!path || path->empty()) return REGDB_E_CLASSNOTREG;
    const bool fullPath = path->front() == '/' && path->find('\0') == std::string::npos;
    if (!fullPath) return CO_E_DLLNOTFOUND;
    return kellanseek::com::ClassObjectFromModule(path->c_str(), clsid, iid, object);
  });
}

/// Creates an object of a registered class, inside the controlling object `outer` where that is not null
/// (then `iid` is that of IUnknown). Results as CoGetClassObject; `*object` is null on failure.
inline HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  void* factory = nullptr;
  const HRESULT result = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, &factory);
  if (FAILED(result)) return result;
  return kellanseek::com::CreateFromFactory(static_cast<IClassFactory*>(factory), outer, iid, object);
}

/// Loads the module at `path` and creates an object of class `clsid` from it, registered or not. A path
/// without a slash is looked for where the system looks for libraries. The module stays loaded. E_POINTER
/// when `object` or `path` is null; CO_E_DLLNOTFOUND when the module does not load (dlerror has the reason);
/// CO_E_ERRORINDLL when it is not a component; else what the component answers. `*object` is null on failure.
/// Callable from any thread.
inline HRESULT KelCreateInstanceFromModule(const char* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  *object = nullptr;
  void* factory = nullptr;
  const HRESULT result = kellanseek::com::ClassObjectFromModule(path, clsid, IID_IClassFactory, &factory);
  if (FAILED(result)) return result;
  return kellanseek::com::CreateFromFactory(static_cast<IClassFactory*>(factory), nullptr, iid, object);
}

/// The same with a wide path, which is taken as UTF-8.
inline HRESULT KelCreateInstanceFromModule(const wchar_t* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  *object = nullptr;
  return kellanseek::com::Guarded(
      [&] { return KelCreateInstanceFromModule(kellanseek::com::Utf8(path).c_str(), clsid, iid, object); });
}

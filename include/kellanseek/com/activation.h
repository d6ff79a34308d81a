#pragma once

// COM initialisation, identifiers as text, and the creation of objects, as in Windows' own headers. Part of
// kellanseek/com.h.

#include <dlfcn.h>

#include <new>
#include <string>
#include <string_view>

#include <kellanseek/com/base.h>
#include <kellanseek/com/identifiers.h>
#include <kellanseek/com/registry.h>
#include <kellanseek/com/utf8.h>

enum COINIT : DWORD { COINIT_MULTITHREADED = 0, COINIT_APARTMENTTHREADED = 2 };
enum CLSCTX : DWORD { CLSCTX_INPROC_SERVER = 1, CLSCTX_ALL = 23 };

namespace kellanseek::com {

struct ThreadApartment {
  ULONG joined = 0;
  DWORD model = COINIT_MULTITHREADED;
};

/// One per thread and module. Hidden, because an exported thread-local object would keep the module loaded.
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

/// Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}". Returns false and leaves `guid` unchanged for any other
/// text.
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

/// The identifier in braces, in capitals.
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

/// Converts to UTF-8. Invalid code points become question marks.
inline std::string Utf8(std::wstring_view text) {
  std::string bytes;
  for (const wchar_t character : text) {
    const auto code = static_cast<char32_t>(character);
    const bool isCharacter = code <= 0x10FFFF && (code < 0xD800 || code >= 0xE000);
    AppendUtf8(bytes, isCharacter ? code : U'?');
  }
  return bytes;
}

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

/// Returns the class object of `clsid` from the module at `path`, which is never unloaded.
inline HRESULT ClassObjectFromModule(const char* path, REFCLSID clsid, REFIID iid, void** object) {
  void* const module = ::dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (module == nullptr) return CO_E_DLLNOTFOUND;
  const auto getClassObject = reinterpret_cast<GetClassObject>(::dlsym(module, "DllGetClassObject"));
  const HRESULT result = getClassObject == nullptr ? CO_E_ERRORINDLL : getClassObject(clsid, iid, object);
  // Balances dlopen; RTLD_NODELETE keeps the module loaded.
  ::dlclose(module);
  return result;
}

/// The system's text on a module that did not load just now, on the calling thread; empty if there is none.
inline std::string WhyNotLoaded(HRESULT result) {
  const char* const text = result == CO_E_DLLNOTFOUND ? ::dlerror() : nullptr;
  return text == nullptr ? std::string() : std::string(text);
}

inline HRESULT CreateFromFactory(IClassFactory* factory, IUnknown* outer, REFIID iid, void** object) {
  if (factory == nullptr) return CO_E_ERRORINDLL;
  const HRESULT result = factory->CreateInstance(outer, iid, object);
  factory->Release();
  return result;
}

/// Runs `body` and converts exceptions to result codes.
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

/// The id of this process.
inline DWORD GetCurrentProcessId() { return static_cast<DWORD>(::getpid()); }

/// Initialises COM for the calling thread. Returns S_OK the first time, S_FALSE after that, and
/// RPC_E_CHANGED_MODE if the thread is initialised with the other model. Balance each success with one
/// CoUninitialize. There are no apartments here: every thread may call every object, whatever its model, and
/// creating objects works without this call; portable programs make it for Windows. `reserved` must be null.
inline HRESULT CoInitializeEx(void* reserved, DWORD model) {
  if (reserved != nullptr) return E_INVALIDARG;
  kellanseek::com::ThreadApartment& apartment = kellanseek::com::CurrentApartment();
  const DWORD wanted = model & COINIT_APARTMENTTHREADED;
  if (apartment.joined > 0 && apartment.model != wanted) return RPC_E_CHANGED_MODE;
  apartment.model = wanted;
  return apartment.joined++ == 0 ? S_OK : S_FALSE;
}

/// Undoes one CoInitializeEx of the calling thread. A surplus call does nothing.
inline void CoUninitialize() {
  kellanseek::com::ThreadApartment& apartment = kellanseek::com::CurrentApartment();
  if (apartment.joined > 0) --apartment.joined;
}

/// Writes the identifier in braces, in capitals and zero-terminated, and returns its length of 39 characters.
/// Writes nothing and returns 0 if `capacity` is less.
inline int StringFromGUID2(REFGUID guid, LPOLESTR text, int capacity) {
  constexpr int kNeeded = kellanseek::com::kGuidTextLength + 1;
  if (text == nullptr || capacity < kNeeded) return 0;
  const std::string narrow = kellanseek::com::GuidText(guid);
  for (std::size_t i = 0; i < narrow.size(); ++i) text[i] = static_cast<OLECHAR>(narrow[i]);
  text[narrow.size()] = L'\0';
  return kNeeded;
}

/// Looks up the class identifier of a ProgID in the registry store. Returns S_OK; E_INVALIDARG for a null
/// pointer; CO_E_CLASSSTRING, with `*clsid` zeroed, if the ProgID is not registered.
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

/// Parses an identifier in braces, or looks up a ProgID if the text does not begin with a brace. Returns
/// S_OK; E_INVALIDARG if `clsid` is null; CO_E_CLASSSTRING for any other text. `*clsid` is zero for a null
/// text and on failure.
inline HRESULT CLSIDFromString(LPCOLESTR text, CLSID* clsid) {
  if (clsid == nullptr) return E_INVALIDARG;
  *clsid = GUID_NULL;
  if (text == nullptr) return S_OK;
  if (*text != L'{') return CLSIDFromProgID(text, clsid);
  return kellanseek::com::ParseGuid(text, *clsid) ? S_OK : CO_E_CLASSSTRING;
}

/// Returns the class object of a registered class. Loads the module named in the registry store and never
/// unloads it. Returns E_POINTER if `object` is null; REGDB_E_CLASSNOTREG if the class is not registered or
/// `context` excludes in-process modules; CO_E_DLLNOTFOUND if the module is not registered by its full path
/// or does not load (dlerror has the reason); CO_E_ERRORINDLL if it is not a component; otherwise the
/// component's result. Thread-safe. `reserved` must be null.
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

/// Creates an object of a registered class, aggregated by `outer` unless that is null (`iid` must then be
/// that of IUnknown). Results as for CoGetClassObject; `*object` is null on failure.
inline HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  void* factory = nullptr;
  const HRESULT result = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, &factory);
  if (FAILED(result)) return result;
  return kellanseek::com::CreateFromFactory(static_cast<IClassFactory*>(factory), outer, iid, object);
}

/// Loads the module at `path` and creates an object of class `clsid` from it; the class need not be
/// registered. The system's library search applies to a path without a slash. The module is never unloaded.
/// Returns E_POINTER if `object` or `path` is null; CO_E_DLLNOTFOUND if the module does not load (dlerror has
/// the reason); CO_E_ERRORINDLL if it is not a component; otherwise the component's result. `*object` is null
/// on failure. Thread-safe.
inline HRESULT KelCreateInstanceFromModule(const char* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  *object = nullptr;
  void* factory = nullptr;
  const HRESULT result = kellanseek::com::ClassObjectFromModule(path, clsid, IID_IClassFactory, &factory);
  if (FAILED(result)) return result;
  return kellanseek::com::CreateFromFactory(static_cast<IClassFactory*>(factory), nullptr, iid, object);
}

/// The same for a wide path, which is converted to UTF-8.
inline HRESULT KelCreateInstanceFromModule(const wchar_t* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  *object = nullptr;
  return kellanseek::com::Guarded(
      [&] { return KelCreateInstanceFromModule(kellanseek::com::Utf8(path).c_str(), clsid, iid, object); });
}

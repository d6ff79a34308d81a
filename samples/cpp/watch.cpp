// Prints every change of the controllers until a line is entered, then lists the known controllers.
// From this folder: cl /std:c++17 /EHsc /I ..\..\include watch.cpp ole32.lib oleaut32.lib uuid.lib
#include <clocale>
#include <cstdio>
#include <cstring>

#include <kellanseek/KelLanSeek.h>

// The sink. Called on a thread of the component. Outlives its subscription, so it counts no references.
class Sink : public IKelObjectEvents {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IKelObjectEvents || iid == *KelInterfaceId<IUnknown>;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) override {
    std::printf("event %ls\n", event->data.bstrVal);  // "lanSeekID;availability;reason;"
    std::fflush(stdout);
    return S_OK;
  }
};

// Prints the code of a failure and, if there is an object, the component's error text.
int Failed(const char* what, HRESULT result, const KelComPtr<IKelLanSeek>& seek) {
  KelBstr why;
  if (const auto base = seek.As<IKelBase>()) base->GetLastErrorInfo(why.Put());
  std::fprintf(stderr, "%s: 0x%08X %ls\n", what, static_cast<unsigned>(result), why.Text().c_str());
  return 1;
}

int List(const KelComPtr<IKelLanSeek>& seek) {
  KelRetrievalParams all = {};
  all.noOfElts = -2;  // all controllers
  KelComPtr<IKelEnumCtrlIdentity> list;
  HRESULT result = seek->GetCtrlList(&all, list.Put());
  if (FAILED(result)) return Failed("GetCtrlList", result, seek);

  const auto identity = seek.As<IKelCtrlIdentity>();
  AvailableCtrlsListItem item = {};
  while (list->RemNext(1, &item, nullptr) == S_OK) {
    KelBstr name;
    result = identity->GetCtrlName(item.lanSeekID, name.Put());
    if (result == KEL_E_LANSEEKID_NOT_IN_USE) continue;  // The controller has gone meanwhile.
    if (FAILED(result)) return Failed("GetCtrlName", result, seek);
    std::printf("%u %ls\n", static_cast<unsigned>(item.lanSeekID), name.Text().c_str());
  }
  return 0;
}

int Watch(Sink& sink) {
  KelComPtr<IKelLanSeek> seek;
  HRESULT result =
      CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek, seek.PutVoid());
  if (result == REGDB_E_CLASSNOTREG) return std::puts("The component is not registered."), 1;
  if (FAILED(result)) return Failed("CoCreateInstance", result, seek);

  const auto subscriptions = seek.As<IKelLanSeekSubscribe>();
  KelEventParams wanted = {};  // subscribes to all controllers
  wanted.pSink = &sink;
  ULONG cookie = 0;
  result = subscriptions->Subscribe(&wanted, &cookie);
  if (FAILED(result)) return Failed("Subscribe", result, seek);

  std::puts("Listening; a line ends it.");
  std::fflush(stdout);
  std::getchar();
  const int exitCode = List(seek);
  result = subscriptions->Unsubscribe(cookie);
  return FAILED(result) ? Failed("Unsubscribe", result, seek) : exitCode;
}

int main() {
  // Names may contain any letters, which the C locale of an empty environment cannot print.
  const char* const locale = std::setlocale(LC_CTYPE, "");
  if (locale == nullptr || std::strcmp(locale, "C") == 0) std::setlocale(LC_CTYPE, "C.UTF-8");
  const HRESULT joined = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(joined)) return Failed("CoInitializeEx", joined, {});
  Sink sink;
  const int exitCode = Watch(sink);  // Afterwards all objects are released and no call of the sink runs.
  CoUninitialize();
  return exitCode;
}

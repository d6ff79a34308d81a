// Tells every change of the controllers until a line is entered, then lists those that are known.
// From this folder: cl /std:c++20 /EHsc /I ..\..\include watch.cpp ole32.lib oleaut32.lib uuid.lib
#include <cstdio>

#include <kellanseek/KelLanSeek.h>

struct Sink : IKelObjectEvents {  // Outlives its subscription, so it counts no references.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IKelObjectEvents || iid == *KelInterfaceId<IUnknown>;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) override {
    return std::printf("event %ls\n", event->data.bstrVal), S_OK;  // "lanSeekID;availability;reason;"
  }
} sink;

int Run() {
  KelComPtr<IKelLanSeek> seek;
  if (FAILED(CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek,
                              seek.PutVoid()))) {
    return std::puts("The component is not registered."), 1;
  }
  KelEventParams wanted = {};
  wanted.pSink = &sink;
  ULONG cookie = 0;
  seek.As<IKelLanSeekSubscribe>()->Subscribe(&wanted, &cookie);
  std::puts("Listening; a line ends it.");
  std::getchar();
  KelRetrievalParams all = {};
  all.noOfElts = -2;
  KelComPtr<IKelEnumCtrlIdentity> list;
  seek->GetCtrlList(&all, list.Put());
  for (AvailableCtrlsListItem item; list->RemNext(1, &item, nullptr) == S_OK;) {
    KelBstr name;
    seek.As<IKelCtrlIdentity>()->GetCtrlName(item.lanSeekID, name.Put());
    std::printf("%u %ls\n", static_cast<unsigned>(item.lanSeekID), name.Text().c_str());
  }
  return seek.As<IKelLanSeekSubscribe>()->Unsubscribe(cookie);
}

int main() {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  const int result = Run();
  CoUninitialize();
  return result;
}

// Lists the controllers that are known, then tells every change until a key is pressed.
//
//   cl /std:c++20 /EHsc /I include samples\cpp\watch.cpp ole32.lib oleaut32.lib uuid.lib

#include <cstdio>

#include <kellanseek/KelLanSeek.h>

/// Lives on the stack of main, longer than its subscription, so it counts no references.
struct Sink : IKelObjectEvents {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IKelObjectEvents || iid == IID_IUnknown;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) override {
    std::printf("event %ls\n", event->data.bstrVal);  // "lanSeekID;availability;reason;"
    return S_OK;
  }
};

int main() {
  Sink sink;
  IKelLanSeek* seek = nullptr;
  IKelLanSeekSubscribe* subscribe = nullptr;
  IKelCtrlIdentity* identity = nullptr;
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek,
                              reinterpret_cast<void**>(&seek)))) {
    return std::puts("The component is not registered."), 1;
  }
  seek->QueryInterface(IID_IKelLanSeekSubscribe, reinterpret_cast<void**>(&subscribe));
  seek->QueryInterface(IID_IKelCtrlIdentity, reinterpret_cast<void**>(&identity));
  KelEventParams wanted = {};
  wanted.pSink = &sink;
  ULONG cookie = 0;
  subscribe->Subscribe(&wanted, &cookie);
  std::puts("Listening; a line ends it.");
  std::getchar();
  KelRetrievalParams all = {};
  all.noOfElts = -2;
  IKelEnumCtrlIdentity* list = nullptr;
  seek->GetCtrlList(&all, &list);
  AvailableCtrlsListItem item = {};
  while (list->RemNext(1, &item, nullptr) == S_OK) {
    BSTR name = nullptr;
    identity->GetCtrlName(item.lanSeekID, &name);
    std::printf("%u %ls\n", static_cast<unsigned>(item.lanSeekID), name != nullptr ? name : L"");
    SysFreeString(name);
  }
  subscribe->Unsubscribe(cookie);
  list->Release(), identity->Release(), subscribe->Release(), seek->Release();
  CoUninitialize();
}

// Several component objects in one process, each with its own client: prints one JSON line for every event of
// each.
//   component_objects MODULE COUNT [PROCESS NAME SYSTEM-ID]
// With the last three arguments, the first object registers and publishes a virtual controller whose process
// is another one. Ends when its input ends.
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

#include <kellanseek/KelLanSeek.h>

namespace {

constexpr const char* kReasons[] = {"new",     "updated",    "lost-connection",     "lost-lan",
                                    "restart", "power-down", "system-id-collision", "address-collision",
                                    "",        "reconnected"};

std::wstring Wide(std::string_view ascii) { return std::wstring(ascii.begin(), ascii.end()); }

std::string Narrow(const KelBstr& text) {
  std::string narrow;
  for (const wchar_t c : text.View()) narrow += c < 0x80 ? static_cast<char>(c) : '?';
  return narrow;
}

/// The virtual controller's object. Lives as long as the program, so it counts no references.
class OwnObject final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == *KelInterfaceId<IUnknown> || iid == IID_KelVirtualController;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

/// A component object and its sink. Outlives its subscription, so it counts no references.
class Client final : public IKelObjectEvents {
 public:
  explicit Client(int number) : number_(number) {}
  ~Client() {
    // A call may be running; later calls must do nothing.
    const std::lock_guard lock(mutex_);
    if (cookie_ != 0) seek_.As<IKelLanSeekSubscribe>()->Unsubscribe(cookie_);
    ended_ = true;
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  HRESULT Start(const char* module) {
    const HRESULT result =
        KelCreateInstanceFromModule(module, CLSID_KelLanSeek, IID_IKelLanSeek, seek_.PutVoid());
    if (FAILED(result)) return result;
    KelEventParams wanted = {};
    wanted.pSink = this;
    return seek_.As<IKelLanSeekSubscribe>()->Subscribe(&wanted, &cookie_);
  }

  HRESULT Publish(ULONG process, std::string_view name, std::string_view systemID, OwnObject& object) {
    GUID iid = IID_KelVirtualController;
    VCInterface own = {&iid, &object};
    const auto registrar = seek_.As<IKelVCLanSeek2>();
    const HRESULT result = registrar->Register2(KelBstr(L"/virtual").Get(), KelBstr(Wide(systemID)).Get(),
                                                process, RemoteVCPublication_True, &own);
    if (FAILED(result)) return result;
    const std::string fields = ";1;1:" + std::string(name) + ";4:" + std::string(systemID) + ";";
    char head[32];
    std::snprintf(head, sizeof(head), "Lanseek;%02x", static_cast<unsigned>(10 + fields.size()));
    return registrar->ForwardMessage(KelBstr(Wide(head + fields)).Get());
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IKelObjectEvents || iid == *KelInterfaceId<IUnknown>;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) override {
    const std::lock_guard lock(mutex_);
    if (ended_) return S_OK;
    ULONG id = 0;
    KelCtrlAvailability availability = CtrlRemoved;
    LanSeekEventReason reason = CtrlNew;
    const HRESULT result = seek_->UnpackSubscriptionData(&event->data, &id, &availability, &reason);
    if (FAILED(result)) return result;
    const auto identity = seek_.As<IKelCtrlIdentity>();
    KelBstr address;
    KelBstr name;
    identity->GetCtrlAddress(id, address.Put());
    identity->GetCtrlName(id, name.Put());
    std::printf("{\"object\": %d, \"id\": %u, \"reason\": \"%s\", \"address\": \"%s\", \"name\": \"%s\"}\n",
                number_, static_cast<unsigned>(id), kReasons[reason], Narrow(address).c_str(),
                Narrow(name).c_str());
    std::fflush(stdout);
    return S_OK;
  }

 private:
  int number_;
  std::mutex mutex_;
  bool ended_ = false;
  KelComPtr<IKelLanSeek>
      seek_;  // Its release waits for running calls of this sink, so it is destroyed first.
  ULONG cookie_ = 0;
};

int Run(int argc, char** argv) {
  OwnObject object;
  std::deque<Client> clients;
  for (int number = 0; number < std::atoi(argv[2]); ++number) clients.emplace_back(number);
  for (Client& client : clients) {
    if (FAILED(client.Start(argv[1]))) return std::fputs("The component does not start.\n", stderr), 3;
  }
  if (argc > 5 &&
      FAILED(clients.front().Publish(static_cast<ULONG>(std::atol(argv[3])), argv[4], argv[5], object))) {
    return std::fputs("The virtual controller is refused.\n", stderr), 3;
  }
  while (std::getchar() != EOF) continue;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return std::fputs("component_objects MODULE COUNT [PROCESS NAME SYSTEM-ID]\n", stderr), 2;
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  const int result = Run(argc, argv);
  CoUninitialize();
  return result;
}

#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kellanseek/KelLanSeek.h>

#include "component/ComponentEnvironment.h"
#include "component/ComponentModule.h"
#include "component/KelLanSeekImpl.h"
#include "platform/Event.h"
#include "tests/component/InjectedNetwork.h"
#include "tests/config/XmlText.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeNetworkAddresses.h"
#include "tests/support/FakeProcessTable.h"
#include "tests/support/FakeRegistryStore.h"
#include "tests/support/FakeReverseLookup.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {

/// A host that tells the test of every look at its addresses.
class WatchedHost : public FakeNetworkAddresses {
 public:
  std::optional<std::vector<platform::AddressRow>> Addresses() override {
    if (onLook) onLook();
    return FakeNetworkAddresses::Addresses();
  }

  std::function<void()> onLook;  ///< Set it before the host is used.
};

/// A watch that reports a change when the test gives notice of one.
class NoticedWatch : public platform::AddressChangeWatch {
 public:
  explicit NoticedWatch(platform::Event& notice) : notice_(notice) {}
  Outcome Wait(platform::Event& stop, platform::Event& wake, std::chrono::milliseconds timeout) override {
    const platform::WaitResult result = platform::WaitForAny({&stop, &wake, &notice_}, timeout);
    if (result.Signalled(0)) return Outcome::Stopped;
    if (result.Signalled(1)) return Outcome::Woken;
    return result.Signalled(2) ? Outcome::Changed : Outcome::TimedOut;
  }

 private:
  platform::Event& notice_;
};

/// A static controller that is complete enough for complete-info mode.
inline std::string StaticController(const std::string& address, const std::string& systemID) {
  return ControllerIdentity("ControllerLocAddr=" + address + ";SystemIdentity=" + systemID +
                            ";MajorVersion=5;MinorVersion=1;Revision=2");
}

/// A component object on fakes, as its clients see it, on a host with one interface, 192.168.1.5/24. Call
/// Configure() before Create().
class ComponentHarness {
 public:
  ComponentHarness() {
    addresses.AddInterface(1, {0, 1, 2, 3, 4, 5});
    addresses.AddAddress(1, "192.168.1.5", "255.255.255.0");
    processes.Start(kProcess);
  }

  /// Writes the two files and registers their directory.
  void Configure(const std::string& settings, const std::string& controllers) {
    directory.Write("lanseekconf.xml", kDeclaration + In("KelLanSeekConfigurations", settings));
    directory.Write("controllerid.xml", kDeclaration + In("ControllerIdentities", controllers));
    registry.values[{kConfigKey, L"ConfigDir"}] = directory.Wide();
  }

  void Create() { Create(environment); }
  void Create(const component::ComponentEnvironment& world) {
    void* object = nullptr;
    ASSERT_EQ(component::CKelLanSeek::Create(nullptr, IID_IKelLanSeek2, &object, world, module), S_OK);
    seek = KelComPtr<IKelLanSeek2>::Attach(static_cast<IKelLanSeek2*>(object));
    identity = seek.As<IKelCtrlIdentity3>();
    subscriptions = seek.As<IKelLanSeekSubscribe>();
    virtualControllers = seek.As<IKelVCLanSeek2>();
    additions = seek.As<IKelLanSeekConfig>();
    base = seek.As<IKelBase>();
  }
  void ReleaseAll() {
    identity.Reset();
    subscriptions.Reset();
    virtualControllers.Reset();
    additions.Reset();
    base.Reset();
    seek.Reset();
  }

  /// Waits, for at most ten seconds, until an object that is destroyed on another thread is gone.
  void WaitUntilUnused() const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (module.InUse() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  }

  ULONG Subscribe(IUnknown* sink, ULONG type = 0) {
    ULONG cookie = 0;
    KelEventParams parameters = {nullptr, sink, type, 0, 0, Data};
    EXPECT_EQ(subscriptions->Subscribe(&parameters, &cookie), S_OK);
    return cookie;
  }

  HRESULT Register(std::wstring_view systemID, IUnknown* object) {
    GUID riid = IID_KelVirtualController;
    VCInterface vci = {&riid, object};
    return virtualControllers->Register(KelBstr(L"path").Get(), KelBstr(systemID).Get(), kProcess, &vci);
  }
  HRESULT Forward(int type, std::string_view fields) {
    const std::string datagram = InjectedNetwork::Datagram(type, fields);
    return virtualControllers->ForwardMessage(KelBstr(std::wstring(datagram.begin(), datagram.end())).Get());
  }

  /// Adds the controller at this address and returns its lanSeekID.
  ULONG AddRemote(std::wstring_view address) {
    ULONG id = 0;
    EXPECT_EQ(additions->AddRemoteController(KelBstr(address).Get(), &id), S_OK);
    return id;
  }
  /// A controller on the network sends its identity.
  void Appear(const std::string& systemID, std::string_view address, const std::string& more = "") {
    network.Inject(InjectedNetwork::Datagram(1, "4:" + systemID + ";9:00-" + systemID + ";" + more), address);
  }

  std::wstring ErrorText() {
    KelBstr text;
    EXPECT_EQ(base->GetLastErrorInfo(text.Put()), S_OK);
    return text.Text();
  }
  /// The message of the last error text. Checks the form and number of the places after it.
  std::wstring ErrorMessage(std::size_t places = 1);
  /// The same for a failure of `method`. Checks that the reported line lies in that method.
  std::wstring ErrorMessageOf(const std::string& method);

  /// The lanSeekIDs above `mark`, which is advanced.
  std::vector<ULONG> List(ULONG& mark, bool unpublished = false);
  std::vector<ULONG> List() {
    ULONG mark = 0;
    return List(mark);
  }

  /// The process of the virtual controllers.
  static constexpr ULONG kProcess = 4711;
  static constexpr const wchar_t* kConfigKey = L"HKEY_LOCAL_MACHINE\\Software\\Tarnwell\\Velmora\\KelAPI";

  FakeDebugOutput traces;
  FakeRegistryStore registry;
  ScratchDirectory directory;
  InjectedNetwork network;
  WatchedHost addresses;
  platform::Event notice{platform::Event::Kind::AutoReset};
  component::ComponentModule module;

  FakeReverseLookup hostNames;
  FakeProcessTable processes;

  const component::ComponentEnvironment environment{
      {network, addresses, [this] { return std::make_unique<NoticedWatch>(notice); }, hostNames, processes,
       traces},
      registry};

  KelComPtr<IKelLanSeek2> seek;
  KelComPtr<IKelCtrlIdentity3> identity;
  KelComPtr<IKelLanSeekSubscribe> subscriptions;
  KelComPtr<IKelVCLanSeek2> virtualControllers;
  KelComPtr<IKelLanSeekConfig> additions;
  KelComPtr<IKelBase> base;

 private:
  std::map<std::wstring, std::string> methodOfPlace_;
};

}  // namespace kellanseek::test

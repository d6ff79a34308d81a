#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "diagnostics/NoDebugOutput.h"
#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Sets the host's second address, or removes it, again and again.
class FlappingWatch : public platform::AddressChangeWatch {
 public:
  explicit FlappingWatch(FakeNetworkAddresses& addresses) : addresses_(addresses) {}
  Outcome Wait(platform::Event& stop, platform::Event& wake, milliseconds) override {
    const platform::WaitResult result = platform::WaitForAny({&stop, &wake}, milliseconds(3));
    if (result.Signalled(0)) return Outcome::Stopped;
    if (result.Signalled(1)) return Outcome::Woken;
    addresses_.RemoveAddress("10.0.0.5");
    if ((present_ = !present_)) addresses_.AddAddress(1, "10.0.0.5", "255.255.255.0");
    return Outcome::Changed;
  }

 private:
  FakeNetworkAddresses& addresses_;
  bool present_ = false;
};

/// KELLANSEEK_STRESS_SECONDS sets the duration.
milliseconds Duration() {
  const char* const text = std::getenv("KELLANSEEK_STRESS_SECONDS");
  return text == nullptr ? milliseconds(500) : std::chrono::seconds(std::strtol(text, nullptr, 10));
}

class StressTest : public ::testing::Test, protected ComponentHarness {
 public:
  using Random = std::minstd_rand;

  static KelBstr Text(const std::string& text) { return KelBstr(std::wstring(text.begin(), text.end())); }
  static ULONG SomeId(Random& random) { return static_cast<ULONG>(11 + random() % 100); }
  static std::string Identity(Random& random) { return "sys-" + std::to_string(random() % 40); }
  static std::string Address(Random& random) { return "192.168.1." + std::to_string(100 + random() % 40); }

  /// Datagrams of all types, and of none, as fast as the receiver takes them.
  void Flood(Random& random) {
    using Socket = InjectedNetwork::Socket;
    for (int i = 0; i < 64; ++i) {
      std::string datagram = InjectedNetwork::Datagram(
          static_cast<int>(random() % 9), "4:" + Identity(random) + ";9:00-" + Identity(random) + ";1:n" +
                                              std::to_string(random() % 3) + ";7:6;a:192.168.1.5;");
      if (random() % 8 == 0) datagram.resize(random() % datagram.size());
      network.Inject(std::move(datagram), Address(random), static_cast<Socket>(random() % 2));
    }
    platform::WaitForAny({&never_}, milliseconds(1));
  }

  void ReadIdentities(Random&) {
    ULONG mark = 0;
    for (const ULONG id : List(mark)) {
      KelBstr text;
      ULONG number = 0;
      for (const auto getter : {&IKelCtrlIdentity3::GetCtrlName, &IKelCtrlIdentity3::GetSystemID,
                                &IKelCtrlIdentity3::GetHostName, &IKelCtrlIdentity3::GetMacAddress})
        (identity.Get()->*getter)(id, text.Put());
      identity->GetControllerVersion(id, &number, &number);
      KelCtrlAvailability status = CtrlRemoved;
      EXPECT_EQ(identity->GetCtrlStatus(id, &status), S_OK) << "the id was listed";
    }
  }

  void LookUp(Random& random) {
    ULONG id = 0;
    seek->GetCtrlFromSystemID(Text(Identity(random)).Get(), &id);
    seek->GetCtrlFromIPAddress(Text(Address(random)).Get(), &id);
    seek->GetCtrlFromURL(Text("/" + Address(random) + "/x").Get(), &id);
    seek->RefreshForID(SomeId(random));
    KelBstr text;
    base->GetLastErrorInfo(text.Put());
  }

  /// A sink that asks, lingers, or ends its own subscription, from inside Notify.
  void Listen(Random& random) {
    const auto cookie = std::make_shared<std::atomic<ULONG>>(0);
    const unsigned habit = random() % 4;
    // Events still arrive after the end of a subscription, so the sink has references of its own.
    const auto sink =
        FakeSink::Make([this, cookie, habit, identities = identity, subscriptions = subscriptions,
                        lingered = false](const ReceivedEvent&) mutable -> HRESULT {
          KelBstr name;
          if (habit == 0) identities->GetCtrlName(11, name.Put());
          if (habit == 1 && !std::exchange(lingered, true)) platform::WaitForAny({&never_}, milliseconds(2));
          if (habit == 2 && *cookie != 0) subscriptions->Unsubscribe(*cookie);
          return habit == 3 ? E_INVALIDARG : S_OK;
        });
    *cookie = Subscribe(sink.Get());
    platform::WaitForAny({&never_}, milliseconds(random() % 5));
    subscriptions->Unsubscribe(*cookie);
  }

  void PlayVirtualController(Random& random) {
    const std::string systemID = "vc-" + std::to_string(random() % 6);
    GUID riid = IID_KelVirtualController;
    VCInterface offered = {&riid, object_.Get()};
    virtualControllers->Register2(KelBstr(L"path").Get(), Text(systemID).Get(), kProcess,
                                  RemoteVCPublication_True, &offered);
    Forward(1, "4:" + systemID + ";11:2;");
    VCInterface got = {};
    if (SUCCEEDED(identity->GetVCInterface(SomeId(random), &got)) && got.pVC != nullptr) {
      got.pVC->Release();
      CoTaskMemFree(got.vc_riid);
    }
    if (random() % 2 == 0) virtualControllers->PreUnRegister(Text(systemID).Get());
    virtualControllers->UnRegister(Text(systemID).Get());
  }

  void Diagnose(Random& random) {
    KelBstr report;
    ULONG number = 0;
    const auto diagnostics = seek.As<IKelLanSeekDiagnostics>();
    EXPECT_EQ(diagnostics->GetReport(report.Put()), S_OK);
    EXPECT_EQ(diagnostics->GetSweeps(&number), S_OK);
    additions->AddRemoteController(Text("10.9.0." + std::to_string(random() % 9)).Get(), &number);
  }

  /// A second object on the same network comes and goes.
  void CreateAndRelease(Random&) {
    void* other = nullptr;
    ASSERT_EQ(component::CKelLanSeek::Create(nullptr, IID_IKelLanSeek2, &other, world_, module), S_OK);
    static_cast<IUnknown*>(other)->Release();
  }

  diagnostics::NoDebugOutput silence_;
  const component::ComponentEnvironment world_{
      {network, addresses, [this] { return std::make_unique<FlappingWatch>(addresses); }, hostNames,
       processes, silence_},
      registry};
  platform::Event never_{platform::Event::Kind::ManualReset};
  KelComPtr<FakeVC> object_ = FakeVC::Make();
};

TEST_F(StressTest, EverythingAtOnceLeavesNothingBehind) {
  Configure(In("CommunicationSettings", In("RefreshInterval", "1")),
            StaticController("192.168.1.120", "sys-1"));
  Create(world_);
  const std::array<void (StressTest::*)(Random&), 9> parts = {
      &StressTest::Flood,           &StressTest::ReadIdentities,
      &StressTest::ReadIdentities,  &StressTest::LookUp,
      &StressTest::Listen,          &StressTest::Listen,
      &StressTest::Diagnose,        &StressTest::PlayVirtualController,
      &StressTest::CreateAndRelease};
  const auto end = Clock::now() + Duration();
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      threads.emplace_back([this, end, part = parts.at(i), i] {
        Random random(static_cast<unsigned>(i + 1));
        do {
          (this->*part)(random);
        } while (Clock::now() < end);
      });
    }
  }
  ReleaseAll();
  // The sinks that still wait for events hold the component.
  for (int wait = 0; wait < 10 && module.InUse(); ++wait) WaitUntilUnused();
  ASSERT_FALSE(module.InUse());
  EXPECT_EQ(object_->References(), 1U);
}

}  // namespace
}  // namespace kellanseek::test

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

class VCEntryPointsTest : public testing::Test, protected ComponentHarness {
 protected:
  VCEntryPointsTest() { Create(); }
};

TEST_F(VCEntryPointsTest, EngineFailuresReportThePlaceWithoutAMessage) {
  const auto object = FakeVC::Make();
  EXPECT_EQ(Register(L"sys", object.Get()), S_OK);
  EXPECT_EQ(Register(L"sys", object.Get()), KEL_E_SYSTEMID_PRESENT);
  EXPECT_EQ(ErrorMessage(), L"");
  EXPECT_EQ(Register(L"", object.Get()), E_INVALIDARG);
  EXPECT_EQ(Register(L"other", nullptr), E_INVALIDARG);
  EXPECT_EQ(virtualControllers->Register(nullptr, nullptr, 1, nullptr), E_INVALIDARG);
  GUID other = IID_IUnknown;
  for (GUID* const riid : {&other, static_cast<GUID*>(nullptr)}) {
    VCInterface vci = {riid, object.Get()};
    EXPECT_EQ(virtualControllers->Register(KelBstr(L"p").Get(), KelBstr(L"other").Get(), 1, &vci),
              E_INVALIDARG);
  }
  EXPECT_EQ(object->References(), 2U);
  EXPECT_EQ(ErrorMessage(), L"");
  for (const wchar_t* id : {L"", L"unknown"}) {
    EXPECT_EQ(virtualControllers->UnRegister(KelBstr(id).Get()), KEL_E_NOT_FOUND);
    EXPECT_EQ(ErrorMessageOf("UnRegister"), L"");
    EXPECT_EQ(virtualControllers->PreUnRegister(KelBstr(id).Get()), KEL_E_NOT_FOUND);
    EXPECT_EQ(ErrorMessageOf("PreUnRegister"), L"");
  }
  EXPECT_EQ(virtualControllers->UnRegister(nullptr), KEL_E_NOT_FOUND);
}

TEST_F(VCEntryPointsTest, DoesNotRegisterAnObjectThatCannotBeReferenced) {
  const auto object = FakeVC::Make();
  object->addRefThrows = true;
  EXPECT_EQ(Register(L"sys", object.Get()), E_UNEXPECTED);
  EXPECT_EQ(ErrorMessage(), L"");
  object->addRefThrows = false;
  EXPECT_EQ(object->References(), 1U);
  EXPECT_EQ(Register(L"sys", object.Get()), S_OK);
}

/// A virtual controller's identity message without an identity is refused. The engine lock must not stay
/// locked.
TEST_F(VCEntryPointsTest, ARefusedDatagramLeavesNoLockHeld) {
  const auto sink = FakeSink::Make();
  Subscribe(sink.Get());
  network.Inject(InjectedNetwork::Datagram(1, "1:nobody;11:2;"), "192.168.1.66");
  Appear("a", "192.168.1.20");
  ASSERT_EQ(sink->WaitForTexts(1), (std::vector<std::wstring>{L"11;1;0;"}));
  EXPECT_EQ(Register(L"sys", FakeVC::Make().Get()), S_OK);
  EXPECT_EQ(Forward(1, "1:Name;4:sys;"), S_OK);
  EXPECT_EQ(List(), (std::vector<ULONG>{11, 12}));
  EXPECT_EQ(virtualControllers->ForwardMessage(nullptr), S_OK);
  EXPECT_EQ(virtualControllers->ForwardMessage(KelBstr(std::wstring(5000, L';')).Get()), S_OK);
  Appear("b", "192.168.1.21");
  EXPECT_EQ(sink->WaitForTexts(3).back(), L"13;1;0;") << "nor does a forwarded one";
}

TEST_F(VCEntryPointsTest, SocketsAreClosedAfterTheThreadsThatUseThem) {
  for (const auto user : {InjectedNetwork::User::Receiver, InjectedNetwork::User::Publisher}) {
    ComponentHarness world;
    world.network.Dawdle(user);
    world.Create();
    const auto object = FakeVC::Make();
    GUID riid = IID_KelVirtualController;
    VCInterface vci = {&riid, object.Get()};
    ASSERT_EQ(world.virtualControllers->Register2(nullptr, KelBstr(L"sys").Get(), kProcess,
                                                  RemoteVCPublication_True, &vci),
              S_OK);
    ASSERT_EQ(world.Forward(1, "4:sys;"), S_OK);
    EXPECT_TRUE(world.network.WaitForPublication());
    world.ReleaseAll();
    EXPECT_EQ(world.network.ClosedInUse(), 0);
  }
}

TEST_F(VCEntryPointsTest, TheObjectOfARemovedControllerMayHoldTheComponentsLastReference) {
  for (const bool byDatagram : {false, true}) {
    SCOPED_TRACE(byDatagram ? "withdrawn by a datagram" : "withdrawn by its owner");
    ComponentHarness world;
    world.Create();
    {
      const auto object = FakeVC::Make();
      object->OnDestroyed([&] { world.ReleaseAll(); });
      ASSERT_EQ(world.Register(L"sys", object.Get()), S_OK);
    }
    if (byDatagram) {
      world.network.Inject(InjectedNetwork::Datagram(4, "4:sys;11:2;"), "192.168.1.66");
      world.WaitUntilUnused();
    } else {
      IKelVCLanSeek2* const calling = world.virtualControllers.Get();
      EXPECT_EQ(calling->UnRegister(KelBstr(L"sys").Get()), S_OK);
    }
    EXPECT_FALSE(world.module.InUse());
  }
}

}  // namespace
}  // namespace kellanseek::test

#include <gtest/gtest.h>

#include <thread>

#include "ComponentModule.h"
#include "tests/support/Wine.h"

namespace {

using kellanseek::test::UnderWine;

/// The component in a program whose thread is a single-threaded apartment. Calls pass through the marshaller,
/// which uses the registered type library.
class SingleThreadedApartment : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(module_.Register(), S_OK); }
  void TearDown() override { module_.Unregister(); }

  template <typename Body>
  static void InApartment(Body body) {
    std::thread([&] {
      ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
      body();
      CoUninitialize();
    }).join();
  }

  ComponentModule module_;
};

TEST_F(SingleThreadedApartment, ReturnsTheComponentsData) {
  InApartment([] {
    KelComPtr<IKelLanSeek> seek;
    ASSERT_EQ(
        CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek, seek.PutVoid()),
        S_OK);
    const auto controllers = seek.As<IKelVCLanSeek2>();
    const auto identity = seek.As<IKelCtrlIdentity3>();
    const auto additions = seek.As<IKelLanSeekConfig>();
    ASSERT_TRUE(controllers && identity && additions);
    for (const wchar_t* message : {L"Lanseek;1b;1;1:Cell7;4:sys;", L"Lanseek;1b;1;1:Cell8;4:two;"}) {
      EXPECT_EQ(controllers->ForwardMessage(KelBstr(message).Get()), S_OK);
    }
    KelRetrievalParams all = {};
    all.noOfElts = -2;
    KelComPtr<IKelEnumCtrlIdentity> list;
    ASSERT_EQ(seek->GetCtrlList(&all, list.Put()), S_OK);
    EXPECT_EQ(all.noOfElts, 2);
    EXPECT_EQ(all.mark, 12U);
    AvailableCtrlsListItem items[10] = {};
    ULONG fetched = 0;
    EXPECT_EQ(list->RemNext(10, items, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2U);
    EXPECT_EQ(items[1].lanSeekID, 12U);

    KelBstr name;
    EXPECT_EQ(identity->GetCtrlName(11, name.Put()), S_OK);
    EXPECT_EQ(name.Text(), L"Cell7");
    KelCtrlType type = RC;
    EXPECT_EQ(identity->GetCtrlType3(11, &type), S_OK);
    EXPECT_EQ(type, VC);
    EXPECT_EQ(identity->GetCtrlName(5, name.Put()), E_INVALIDARG);
    ULONG id = 0;
    EXPECT_EQ(additions->AddRemoteController(KelBstr(L"10.9.9.9").Get(), &id), S_OK);
    EXPECT_EQ(id, 13U);
    EXPECT_EQ(additions->AddRemoteController(KelBstr(L"10.9.9.9").Get(), &id), KEL_S_ALREADY_CONFIGURED);
  });
}

TEST_F(SingleThreadedApartment, ReturnsRecordsWithObjects) {
  if (UnderWine()) GTEST_SKIP() << "Wine's marshaller for type libraries leaves out pointers in records";
  InApartment([] {
    KelComPtr<IKelLanSeek> seek;
    ASSERT_EQ(
        CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek, seek.PutVoid()),
        S_OK);
    ClientObject sink;
    const auto subscriptions = seek.As<IKelLanSeekSubscribe>();
    KelEventParams wanted = {nullptr, &sink, 0, 0, 7, Data};
    ULONG cookie = 0;
    EXPECT_EQ(subscriptions->Subscribe(&wanted, &cookie), S_OK);

    const auto controllers = seek.As<IKelVCLanSeek2>();
    GUID objectID = IID_KelVirtualController;
    ClientObject object;
    VCInterface given = {&objectID, &object};
    EXPECT_EQ(
        controllers->Register(KelBstr(L"path").Get(), KelBstr(L"sys").Get(), GetCurrentProcessId(), &given),
        S_OK);
    EXPECT_EQ(controllers->ForwardMessage(KelBstr(L"Lanseek;1b;1;1:Cell7;4:sys;").Get()), S_OK);
    EXPECT_EQ(WaitForSingleObject(sink.notified, 10000), WAIT_OBJECT_0);
    VCInterface kept = {};
    EXPECT_EQ(seek.As<IKelCtrlIdentity>()->GetVCInterface(11, &kept), S_OK);
    EXPECT_TRUE(kept.vc_riid != nullptr && *kept.vc_riid == IID_KelVirtualController);
    EXPECT_NE(kept.pVC, nullptr);
    CoTaskMemFree(kept.vc_riid);
    if (kept.pVC != nullptr) kept.pVC->Release();
    EXPECT_EQ(controllers->UnRegister(KelBstr(L"sys").Get()), S_OK);
    EXPECT_EQ(subscriptions->Unsubscribe(cookie), S_OK);
  });
}

}  // namespace

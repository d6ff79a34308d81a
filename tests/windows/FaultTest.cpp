#include <gtest/gtest.h>

#include <thread>

#include "ComponentModule.h"

namespace {

/// Causes an access violation.
void Fault() {
  volatile const int* nowhere = nullptr;
  static_cast<void>(*nowhere);
}

/// Raises an exception like another compiler's throw: it cannot be continued.
void ThrowForeign() {
  constexpr DWORD kOtherCompilersThrow = 0xE06D7363;
  RaiseException(kOtherCompilersThrow, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

/// Overflows the stack.
void Overflow() {
  volatile char much[4096] = {};
  if (much[0] == 0) Overflow();
  much[1] = 1;
}

class ClientCode : public testing::TestWithParam<void (*)()> {
 protected:
  void SetUp() override {
    ASSERT_EQ(KelCreateInstanceFromModule(module_.Path().c_str(), CLSID_KelLanSeek, IID_IKelLanSeek,
                                          seek_.PutVoid()),
              S_OK);
  }
  HRESULT Register() {
    GUID riid = IID_KelVirtualController;
    VCInterface vci = {&riid, &object_};
    return seek_.As<IKelVCLanSeek2>()->Register(KelBstr(L"path").Get(), KelBstr(L"sys").Get(),
                                                GetCurrentProcessId(), &vci);
  }
  void Announce(const wchar_t* message) {
    EXPECT_EQ(seek_.As<IKelVCLanSeek2>()->ForwardMessage(KelBstr(message).Get()), S_OK);
  }

  ClientObject object_;
  ClientObject sink_;
  ComponentModule module_;
  KelComPtr<IKelLanSeek> seek_;
};

TEST_P(ClientCode, FailsIfAnObjectCannotBeReferenced) {
  // On a thread of its own, because under Wine a program hangs when its first thread overflows its stack.
  std::thread([this] {
    object_.onAddRef = GetParam();
    EXPECT_EQ(Register(), E_UNEXPECTED);
    object_.onAddRef = nullptr;
    ASSERT_EQ(Register(), S_OK);
    object_.onAddRef = GetParam();
    VCInterface vci = {};
    for (int time = 0; time < 3; ++time) {
      EXPECT_EQ(seek_.As<IKelCtrlIdentity>()->GetVCInterface(11, &vci), E_UNEXPECTED);
      EXPECT_EQ(vci.pVC, nullptr);
    }
    KelBstr text;
    EXPECT_EQ(seek_.As<IKelBase>()->GetLastErrorInfo(text.Put()), S_OK);
    EXPECT_EQ(text.Text().find(L"VC interface not valid, AddRef threw exception:"), 0U);
    object_.onAddRef = nullptr;
    EXPECT_EQ(seek_.As<IKelCtrlIdentity>()->GetVCInterface(11, &vci), S_OK) << "no lock stayed held";
    CoTaskMemFree(vci.vc_riid);
  }).join();
}

TEST_P(ClientCode, AFailingSinkReceivesTheNextEvent) {
  sink_.onNotify = GetParam();
  KelEventParams wanted = {nullptr, &sink_, 0, 0, 0, Data};
  ULONG cookie = 0;
  ASSERT_EQ(seek_.As<IKelLanSeekSubscribe>()->Subscribe(&wanted, &cookie), S_OK);
  ASSERT_EQ(Register(), S_OK);
  Announce(L"Lanseek;17;1;1:A;4:sys;");
  ASSERT_EQ(WaitForSingleObject(sink_.notified, 10000), WAIT_OBJECT_0);
  for (const wchar_t* message : {L"Lanseek;17;1;1:B;4:sys;", L"Lanseek;17;1;1:C;4:sys;"}) {
    Announce(message);
    EXPECT_EQ(WaitForSingleObject(sink_.notified, 10000), WAIT_OBJECT_0);
  }
}

INSTANTIATE_TEST_SUITE_P(Exceptions, ClientCode, testing::Values(&Fault, &ThrowForeign, &Overflow));

}  // namespace

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

#include <kellanseek/KelLanSeek.h>

namespace {

template <std::size_t Index>
HRESULT STDMETHODCALLTYPE AnswerIndex(void*) {
  return static_cast<HRESULT>(Index);
}

using Slot = HRESULT(STDMETHODCALLTYPE*)(void*);

template <std::size_t... Index>
struct SlotTable {
  Slot slots[sizeof...(Index)] = {&AnswerIndex<Index>...};
};

template <std::size_t... Index>
constexpr SlotTable<Index...> MakeSlots(std::index_sequence<Index...>) {
  return {};
}

constexpr auto kSlots = MakeSlots(std::make_index_sequence<32>());

/// What an object of another compiler or language is in memory: a pointer to its methods. Each answers its
/// number.
struct ForeignObject {
  const Slot* slots = kSlots.slots;
};
constinit ForeignObject foreignObject;

template <typename Interface>
Interface& Foreign() {
  void* const object = &foreignObject;
  return *static_cast<Interface*>(object);
}

#define EXPECT_SLOT(slot, call) EXPECT_EQ(call, HRESULT{slot}) << #call

// A foreign object has no type for the sanitizer to look at.
#if defined(__GNUC__)
#define FOREIGN_CALLS __attribute__((no_sanitize("vptr")))
#else
#define FOREIGN_CALLS
#endif

FOREIGN_CALLS void CheckRoots() {
  EXPECT_SLOT(0, Foreign<IUnknown>().QueryInterface(IID_IKelBase, nullptr));
  EXPECT_EQ(Foreign<IUnknown>().AddRef(), 1U);
  EXPECT_EQ(Foreign<IUnknown>().Release(), 2U);
  EXPECT_SLOT(3, Foreign<IClassFactory>().CreateInstance(nullptr, IID_IKelBase, nullptr));
  EXPECT_SLOT(4, Foreign<IClassFactory>().LockServer(0));
}

FOREIGN_CALLS void CheckLanSeek() {
  IKelLanSeek2& seek = Foreign<IKelLanSeek2>();
  EXPECT_SLOT(3, seek.GetCtrlList(nullptr, nullptr));
  EXPECT_SLOT(4, seek.RefreshForID(0));
  EXPECT_SLOT(5, seek.GetCtrlFromSystemID(nullptr, nullptr));
  EXPECT_SLOT(6, seek.GetCtrlFromIPAddress(nullptr, nullptr));
  EXPECT_SLOT(7, seek.Ping());
  EXPECT_SLOT(8, seek.UnpackSubscriptionData(nullptr, nullptr, nullptr, nullptr));
  EXPECT_SLOT(9, seek.GetCtrlFromURL(nullptr, nullptr));
  EXPECT_SLOT(10, seek.GetUnpublishedVCList(nullptr, nullptr));
  EXPECT_SLOT(11, seek.GetUnpublishedVCFromSystemID(nullptr, nullptr));
}

FOREIGN_CALLS void CheckIdentity() {
  IKelCtrlIdentity3& identity = Foreign<IKelCtrlIdentity3>();
  EXPECT_SLOT(3, identity.GetCtrlType(0, nullptr));
  EXPECT_SLOT(4, identity.GetCtrlIdentificationType(0, nullptr));
  EXPECT_SLOT(5, identity.GetCtrlStatus(0, nullptr));
  EXPECT_SLOT(6, identity.GetCtrlName(0, nullptr));
  EXPECT_SLOT(7, identity.GetCtrlID(0, nullptr));
  EXPECT_SLOT(8, identity.GetCtrlAddress(0, nullptr));
  EXPECT_SLOT(9, identity.GetSystemName(0, nullptr));
  EXPECT_SLOT(10, identity.GetReleasePath(0, nullptr));
  EXPECT_SLOT(11, identity.GetSystemID(0, nullptr));
  EXPECT_SLOT(12, identity.GetHostName(0, nullptr));
  EXPECT_SLOT(13, identity.GetControllerVersion(0, nullptr, nullptr));
  EXPECT_SLOT(14, identity.GetMacAddress(0, nullptr));
  EXPECT_SLOT(15, identity.GetCommPortNumber(0, nullptr));
  EXPECT_SLOT(16, identity.GetCtrlLevel(0, nullptr));
  EXPECT_SLOT(17, identity.GetControllerVersion2(0, nullptr, nullptr, nullptr));
  EXPECT_SLOT(18, identity.GetKelAPICompatibilityRevision(0, nullptr));
  EXPECT_SLOT(19, identity.GetVCInterface(0, nullptr));
  EXPECT_SLOT(20, identity.GetVCProcessID(0, nullptr));
  EXPECT_SLOT(21, identity.GetCtrlType3(0, nullptr));
}

FOREIGN_CALLS void CheckEnumerator() {
  IKelEnumCtrlIdentity& list = Foreign<IKelEnumCtrlIdentity>();
  EXPECT_SLOT(3, list.RemNext(0, nullptr, nullptr));
  EXPECT_SLOT(4, list.Skip(0));
  EXPECT_SLOT(5, list.Reset());
  EXPECT_SLOT(6, list.Clone(nullptr));
  EXPECT_SLOT(7, list.Sort(0));
  EXPECT_SLOT(8, list.Filter(0));
  EXPECT_SLOT(9, list.UnFilter());
}

FOREIGN_CALLS void CheckTheOthers() {
  EXPECT_SLOT(3, Foreign<IKelLanSeekSubscribe>().Subscribe(nullptr, nullptr));
  EXPECT_SLOT(4, Foreign<IKelLanSeekSubscribe>().Unsubscribe(0));
  EXPECT_SLOT(3, Foreign<IKelObjectEvents>().Notify(nullptr));
  EXPECT_SLOT(3, Foreign<IKelBase>().GetLastErrorInfo(nullptr));
  EXPECT_SLOT(3, Foreign<IKelLanSeekConfig>().AddRemoteController(nullptr, nullptr));
  IKelVCLanSeek2& vc = Foreign<IKelVCLanSeek2>();
  EXPECT_SLOT(3, vc.Register(nullptr, nullptr, 0, nullptr));
  EXPECT_SLOT(4, vc.UnRegister(nullptr));
  EXPECT_SLOT(5, vc.ForwardMessage(nullptr));
  EXPECT_SLOT(6, vc.Register2(nullptr, nullptr, 0, RemoteVCPublication_True, nullptr));
  EXPECT_SLOT(7, vc.PreUnRegister(nullptr));
}

TEST(ContractTest, MethodsLieInTheirSlots) {
  CheckRoots();
  CheckLanSeek();
  CheckIdentity();
  CheckEnumerator();
  CheckTheOthers();
}

TEST(ContractTest, RecordsAreLaidOutAsOnWindows) {
  struct Case {
    const char* what;
    std::size_t actual;
    std::size_t pointersOf4;
    std::size_t pointersOf8;
  };
  const Case cases[] = {
      {"VARIANT", sizeof(VARIANT), 16, 24},
      {"VARIANT::bstrVal", offsetof(VARIANT, bstrVal), 8, 8},
      {"VCInterface", sizeof(VCInterface), 8, 16},
      {"VCInterface::pVC", offsetof(VCInterface, pVC), 4, 8},
      {"KelRetrievalParams", sizeof(KelRetrievalParams), 28, 28},
      {"KelEventParams", sizeof(KelEventParams), 24, 32},
      {"KelEventParams::pSink", offsetof(KelEventParams, pSink), 4, 8},
      {"KelEventParams::subscriptionType", offsetof(KelEventParams, subscriptionType), 8, 16},
      {"KelEventParams::userDef", offsetof(KelEventParams, userDef), 16, 24},
      {"KelEventParams::containData", offsetof(KelEventParams, containData), 20, 28},
      {"KelObjectEvent", sizeof(KelObjectEvent), 40, 48},
      {"KelObjectEvent::data", offsetof(KelObjectEvent, data), 8, 8},
      {"KelObjectEvent::time", offsetof(KelObjectEvent, time), 24, 32},
      {"KelObjectEvent::reserved2", offsetof(KelObjectEvent, reserved2), 32, 40},
      {"KelObjectEvent::reserved3", offsetof(KelObjectEvent, reserved3), 36, 44},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.actual, sizeof(void*) == 4 ? c.pointersOf4 : c.pointersOf8) << c.what;
  }
}

TEST(ContractTest, NoTwoThingsShareAnIdentifier) {
  const GUID all[] = {CLSID_KelLanSeek,
                      LIBID_KELLANSEEKLib,
                      IID_KelVirtualController,
                      IID_IKelLanSeek,
                      IID_IKelLanSeek2,
                      IID_IKelCtrlIdentity,
                      IID_IKelCtrlIdentity2,
                      IID_IKelCtrlIdentity3,
                      IID_IKelBase,
                      IID_IKelVCLanSeek,
                      IID_IKelVCLanSeek2,
                      IID_IKelLanSeekConfig,
                      IID_IKelLanSeekSubscribe,
                      IID_IKelObjectEvents,
                      IID_IKelEnumCtrlIdentity,
                      *KelInterfaceId<IUnknown>,
                      *KelInterfaceId<IClassFactory>};
  for (const GUID* one = std::begin(all); one != std::end(all); ++one) {
    for (const GUID* other = one + 1; other != std::end(all); ++other) {
      EXPECT_FALSE(*one == *other) << one - all << " and " << other - all;
    }
  }
}

TEST(ContractTest, FailureCodesFailAndSuccessCodesDoNot) {
  EXPECT_TRUE(FAILED(KEL_E_LANSEEKID_NOT_IN_USE));
  EXPECT_TRUE(FAILED(KEL_E_NOT_FOUND));
  EXPECT_TRUE(FAILED(KEL_E_SYSTEMID_PRESENT));
  EXPECT_TRUE(SUCCEEDED(KEL_S_ALREADY_DYNAMIC));
  EXPECT_TRUE(SUCCEEDED(KEL_S_ALREADY_CONFIGURED));
}

}  // namespace

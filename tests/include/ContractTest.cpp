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

/// The memory layout of an object of another compiler or language: a pointer to its methods, each of which
/// returns its number.
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

// The sanitizer cannot know the type of a foreign object.
#if defined(__GNUC__)
#define FOREIGN_CALLS __attribute__((no_sanitize("vptr")))
#else
#define FOREIGN_CALLS
#endif

// The test generated from the interface definitions checks every method in them. This checks the others, and
// where each version of an interface ends.
FOREIGN_CALLS void CheckSlots() {
  EXPECT_SLOT(0, Foreign<IUnknown>().QueryInterface(IID_IKelBase, nullptr));
  EXPECT_EQ(Foreign<IUnknown>().AddRef(), 1U);
  EXPECT_EQ(Foreign<IUnknown>().Release(), 2U);
  EXPECT_SLOT(3, Foreign<IClassFactory>().CreateInstance(nullptr, IID_IKelBase, nullptr));
  EXPECT_SLOT(4, Foreign<IClassFactory>().LockServer(0));
  EXPECT_SLOT(3, Foreign<IKelObjectEvents>().Notify(nullptr));
  EXPECT_SLOT(3, Foreign<IKelBase>().GetLastErrorInfo(nullptr));
  EXPECT_SLOT(3, Foreign<IKelLanSeekConfig>().AddRemoteController(nullptr, nullptr));
  EXPECT_SLOT(4, Foreign<IKelLanSeekDiagnostics>().GetSweeps(nullptr));
  EXPECT_SLOT(4, Foreign<IKelLanSeekSubscribe>().Unsubscribe(0));
  EXPECT_SLOT(5, Foreign<IKelVCLanSeek>().ForwardMessage(nullptr));
  EXPECT_SLOT(7, Foreign<IKelVCLanSeek2>().PreUnRegister(nullptr));
  EXPECT_SLOT(9, Foreign<IKelLanSeek>().GetCtrlFromURL(nullptr, nullptr));
  EXPECT_SLOT(11, Foreign<IKelLanSeek2>().GetUnpublishedVCFromSystemID(nullptr, nullptr));
  EXPECT_SLOT(19, Foreign<IKelCtrlIdentity>().GetVCInterface(0, nullptr));
  EXPECT_SLOT(20, Foreign<IKelCtrlIdentity2>().GetVCProcessID(0, nullptr));
  EXPECT_SLOT(21, Foreign<IKelCtrlIdentity3>().GetCtrlType3(0, nullptr));
  EXPECT_SLOT(9, Foreign<IKelEnumCtrlIdentity>().UnFilter());
}

TEST(ContractTest, MethodsLieInTheirSlots) { CheckSlots(); }

// The generated test also checks the fields of the other records.
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
      {"KelRetrievalParams", sizeof(KelRetrievalParams), 28, 28},
      {"KelEventParams", sizeof(KelEventParams), 24, 32},
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

TEST(ContractTest, IdentifiersAreUnique) {
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
                      IID_IKelLanSeekDiagnostics,
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
  for (const HRESULT code : {KEL_E_LANSEEKID_NOT_IN_USE, KEL_E_NOT_FOUND, KEL_E_SYSTEMID_PRESENT}) {
    EXPECT_TRUE(FAILED(code)) << code;
  }
  for (const HRESULT code : {KEL_S_ALREADY_DYNAMIC, KEL_S_ALREADY_CONFIGURED}) EXPECT_TRUE(SUCCEEDED(code));
}

}  // namespace

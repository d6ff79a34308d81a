#include <gtest/gtest.h>

#include <future>
#include <string>
#include <tuple>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using Texts = std::vector<std::wstring>;

/// Claims to be a sink, but returns a null pointer.
class Pretender final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

class SubscriptionsTest : public testing::Test, protected ComponentHarness {
 protected:
  SubscriptionsTest() { Create(); }
};

TEST_F(SubscriptionsTest, UnsubscribingAnUnknownCookieReportsBothPlaces) {
  EXPECT_EQ(subscriptions->Unsubscribe(10), E_FAIL);
  EXPECT_EQ(ErrorMessage(2), L"Subscriber not found");
  EXPECT_EQ(ErrorText().rfind(L"Subscriber not found:EventItemsDB[", 0), 0U);
}

TEST_F(SubscriptionsTest, ChecksArgumentsInOrder) {
  const auto sink = FakeSink::Make();
  const auto noSink = FakeVC::Make();
  AddRemote(L"10.0.0.5");
  struct Case {
    KelEventParams parameters;
    bool cookieGiven;
    HRESULT result;
    std::wstring message;
  };
  for (Case test : std::vector<Case>{
           {{nullptr, sink.Get(), 12, 0, 0, NoData}, false, E_INVALIDARG, L"pRep->containData != Data"},
           {{nullptr, sink.Get(), 0, 0, 0, BinaryData}, true, E_INVALIDARG, L"pRep->containData != Data"},
           {{nullptr, sink.Get(), 12, 0, 0, Data}, false, E_POINTER, L"cookie == NULL"},
           {{nullptr, noSink.Get(), 12, 0, 0, Data}, true, E_INVALIDARG, L"LanSeekID too large"},
           {{nullptr, noSink.Get(), 11, 0, 0, Data},
            true,
            E_NOINTERFACE,
            L"CKelLanSeek::Subscribe, Failed to QueryInterface to IID_IKelObjectEvents"}}) {
    ULONG cookie = 7;
    EXPECT_EQ(subscriptions->Subscribe(&test.parameters, test.cookieGiven ? &cookie : nullptr), test.result);
    EXPECT_EQ(ErrorMessage(), test.message);
    EXPECT_EQ(cookie, 7U);
  }
  ULONG cookie = 7;
  KelEventParams parameters = {nullptr, nullptr, 0, 0, 0, Data};
  EXPECT_EQ(subscriptions->Subscribe(&parameters, &cookie), E_POINTER);
  EXPECT_EQ(subscriptions->Subscribe(nullptr, &cookie), E_POINTER);
  Pretender pretender;
  parameters.pSink = &pretender;
  EXPECT_EQ(subscriptions->Subscribe(&parameters, &cookie), E_NOINTERFACE);
  EXPECT_EQ(Subscribe(sink.Get(), 5), 10U) << "accepts reserved ids, which no controller has";
}

TEST_F(SubscriptionsTest, WithoutMemorySubscribeReturnsACookieAndSetsTheErrorText) {
  NEEDS_FAILING_ALLOCATIONS();
  const auto sink = FakeSink::Make();
  KelEventParams parameters = {nullptr, sink.Get(), 0, 0, 0, Data};
  ULONG shortages = 0;
  for (;; ++shortages) {
    SCOPED_TRACE(shortages);
    ULONG cookie = 0;
    const FailingAllocation failing(shortages);
    EXPECT_EQ(subscriptions->Subscribe(&parameters, &cookie), S_OK);
    EXPECT_EQ(cookie, 10 + shortages);
    if (!failing.Happened()) break;
    EXPECT_EQ(ErrorMessage(2), L"CEventItemsDB::AddSubscriber. Failed to insert subscriber into list.");
    EXPECT_EQ(sink->References(), 1U);
  }
  EXPECT_GE(shortages, 2U);
  EXPECT_EQ(sink->References(), 2U);
}

TEST_F(SubscriptionsTest, ASinkMayQueryAndUnsubscribeFromNotify) {
  std::atomic<ULONG> cookie{0};
  std::promise<void> subscribed;
  const auto ready = subscribed.get_future().share();
  const auto sink = FakeSink::Make([&](const ReceivedEvent&) {
    ready.wait();
    KelBstr name;
    EXPECT_EQ(identity->GetSystemID(11, name.Put()), S_OK);
    EXPECT_EQ(name.Text(), L"a");
    EXPECT_EQ(subscriptions->Unsubscribe(cookie), S_OK);
    return S_OK;
  });
  cookie = Subscribe(sink.Get());
  subscribed.set_value();
  Appear("a", "192.168.1.20");
  sink->WaitFor(1);
  const auto later = FakeSink::Make();
  Subscribe(later.Get());
  Appear("b", "192.168.1.21");
  EXPECT_EQ(later->WaitForTexts(1), (Texts{L"12;1;0;"}));
  EXPECT_EQ(sink->WaitFor(1).size(), 1U);
}

TEST_F(SubscriptionsTest, UnpacksEventData) {
  constexpr auto kLeft = static_cast<KelCtrlAvailability>(77);
  constexpr auto kLeftReason = static_cast<LanSeekEventReason>(88);
  struct Case {
    std::wstring text;
    HRESULT result;
    ULONG id;
    KelCtrlAvailability status;
    LanSeekEventReason reason;
  };
  for (const Case& test :
       std::vector<Case>{{L"11;1;0;", S_OK, 11, CtrlAvailable, CtrlNew},
                         {L"-1;3;9", S_OK, 0xFFFFFFFFU, CtrlRemoved, CtrlReconnected},
                         {L" \t\r\n11; 3;\v+0;and more", S_OK, 11, CtrlRemoved, CtrlNew},
                         {L"99999999999999999999;3;0", S_OK, 0x7FFFFFFFU, CtrlRemoved, CtrlNew},
                         {L"11;1", E_FAIL, 11, CtrlAvailable, kLeftReason},
                         {L"11;3;x", E_FAIL, 11, CtrlRemoved, kLeftReason},
                         {L"11 ;1;0;", E_FAIL, 11, kLeft, kLeftReason},
                         {L"0x11;1;0;", E_FAIL, 0, kLeft, kLeftReason},
                         {std::wstring(L"11;1;\0000;", 7), E_FAIL, 11, CtrlAvailable, kLeftReason},
                         {L"eleven", E_FAIL, 66, kLeft, kLeftReason}}) {
    SCOPED_TRACE(testing::PrintToString(test.text));
    const KelBstr text(test.text);
    VARIANT data = {};
    data.vt = VT_BSTR;
    data.bstrVal = text.Get();
    ULONG id = 66;
    KelCtrlAvailability status = kLeft;
    LanSeekEventReason reason = kLeftReason;
    EXPECT_EQ(seek->UnpackSubscriptionData(&data, &id, &status, &reason), test.result);
    EXPECT_EQ(std::tuple(id, status, reason), std::tuple(test.id, test.status, test.reason));
    if (test.result == S_OK) continue;
    EXPECT_EQ(ErrorMessage(), L"Invalid argument");
  }
}

TEST_F(SubscriptionsTest, UnpackingChecksArgumentsInOrder) {
  ULONG id = 0;
  KelCtrlAvailability status = {};
  LanSeekEventReason reason = {};
  const auto expect = [&](HRESULT result, const wchar_t* message, VARIANT* data, ULONG* toID,
                          KelCtrlAvailability* toStatus, LanSeekEventReason* toReason) {
    EXPECT_EQ(seek->UnpackSubscriptionData(data, toID, toStatus, toReason), result) << message;
    EXPECT_EQ(ErrorMessage(), message);
  };
  expect(E_POINTER, L"pLanSeekID == NULL", nullptr, nullptr, nullptr, nullptr);
  expect(E_POINTER, L"pStatus == NULL", nullptr, &id, nullptr, nullptr);
  expect(E_POINTER, L"pReason == NULL", nullptr, &id, &status, nullptr);
  expect(E_INVALIDARG, L"pData == NULL", nullptr, &id, &status, &reason);

  KelBstr text(L"11;1;0;");
  BSTR held = text.Get();
  VARIANT number = {};
  number.vt = VT_I4;
  number.lVal = 11;
  VARIANT null = {};
  null.vt = VT_BSTR;
  VARIANT reference = {};
  reference.vt = VT_BSTR | VT_BYREF;
  reference.pbstrVal = &held;
  for (VARIANT* data : {&number, &null, &reference}) {
    expect(E_FAIL, L"Invalid VARIANT", data, &id, &status, &reason);
  }
}

}  // namespace
}  // namespace kellanseek::test

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"

namespace kellanseek::test {
namespace {

class LookupsTest : public testing::Test, protected ComponentHarness {
 protected:
  struct Answer {
    HRESULT result;
    ULONG id;
    bool operator==(const Answer&) const = default;
  };

  using LookUp = HRESULT (STDMETHODCALLTYPE IKelLanSeek2::*)(BSTR, ULONG*);
  Answer By(LookUp lookUp, std::wstring_view text) {
    ULONG id = 0;
    const HRESULT result = (seek.Get()->*lookUp)(KelBstr(text).Get(), &id);
    return {result, id};
  }
  Answer BySystemID(std::wstring_view text) { return By(&IKelLanSeek2::GetCtrlFromSystemID, text); }
  Answer ByAddress(std::wstring_view text) { return By(&IKelLanSeek2::GetCtrlFromIPAddress, text); }
  Answer UnpublishedVC(std::wstring_view text) {
    return By(&IKelLanSeek2::GetUnpublishedVCFromSystemID, text);
  }

  const Answer kNone{KEL_E_NOT_FOUND, 0};
};

TEST_F(LookupsTest, FindsByURL) {
  Configure(NothingAsked(), StaticController("10.0.0.5", "SYS-001") + StaticController("10.0.0.6", "10.5"));
  Create();
  struct Case {
    std::wstring url;
    Answer answer;
    std::wstring message;
  };
  for (const Case& test :
       std::vector<Case>{{L"10.0.0.5", {S_OK, 11}, L""},
                         {L"/10.0.0.6/", {S_OK, 12}, L""},
                         {L"sys-001//", {S_OK, 11}, L""},
                         {L"10.5", {S_OK, 12}, L""},  // Too short for an address, so a system identity.
                         {L"10.0.0.7/x", kNone, L"IP-address not found"},
                         {L"10.0.0.0005/x", kNone, L"IP-address not found"},
                         {L"10.0.0.00000000005", kNone, L"SystemID not found"},
                         {L"255.255.255.255", kNone, L"SystemID not found"},
                         {L"", {E_INVALIDARG, 0}, L"Url is empty"},
                         {L"/", {E_INVALIDARG, 0}, L"Url is empty"},
                         {L"//10.0.0.5", {E_INVALIDARG, 0}, L"SystemID is NULL or have length 0"}}) {
    SCOPED_TRACE(testing::PrintToString(test.url));
    EXPECT_EQ(By(&IKelLanSeek2::GetCtrlFromURL, test.url), test.answer);
    if (test.answer.result == S_OK) continue;
    EXPECT_EQ(ErrorMessage(2), test.message);
  }
  ULONG id = 0;
  EXPECT_EQ(seek->GetCtrlFromURL(nullptr, &id), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(2), L"Url is empty");
  EXPECT_EQ(seek->GetCtrlFromURL(KelBstr(L"10.0.0.5").Get(), nullptr), E_POINTER);
  EXPECT_EQ(ErrorMessage(2), L"lanSeekID == NULL");
}

TEST_F(LookupsTest, ChecksArguments) {
  Create();
  struct Method {
    const char* name;
    std::function<HRESULT(BSTR, ULONG*)> call;
    std::wstring emptyMessage, nullMessage;
    HRESULT unknown = KEL_E_NOT_FOUND;
  };
  const auto lookUp = [&](LookUp method) {
    return [this, method](BSTR text, ULONG* id) { return (seek.Get()->*method)(text, id); };
  };
  const std::wstring noSystem = L"SystemID is NULL or have length 0";
  const std::wstring noOutput = L"lanSeekID == NULL";
  for (const Method& method : std::vector<Method>{
           {"GetCtrlFromSystemID", lookUp(&IKelLanSeek2::GetCtrlFromSystemID), noSystem, noOutput},
           {"GetCtrlFromIPAddress", lookUp(&IKelLanSeek2::GetCtrlFromIPAddress), L"IPAddress empty",
            noOutput},
           {"GetUnpublishedVCFromSystemID", lookUp(&IKelLanSeek2::GetUnpublishedVCFromSystemID), noSystem,
            L""},
           {"AddRemoteController",
            [this](BSTR text, ULONG*id) { return additions->AddRemoteController(text, id); }, L"", L"",
            E_INVALIDARG}}) {
    ULONG id = 77;
    for (const BSTR empty : {BSTR(nullptr), KelBstr(L"").Detach()}) {
      EXPECT_EQ(method.call(empty, &id), E_INVALIDARG);
      EXPECT_EQ(ErrorMessageOf(method.name), method.emptyMessage);
      SysFreeString(empty);
    }
    EXPECT_EQ(method.call(KelBstr(L"unknown").Get(), &id), method.unknown);
    ErrorMessageOf(method.name);
    EXPECT_EQ(id, 77U);
    EXPECT_EQ(method.call(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(ErrorMessageOf(method.name), method.nullMessage);
  }
}

TEST_F(LookupsTest, LookUpsStopAtTheFirstRecordWithTheKey) {
  Configure("", StaticController("10.0.0.5", "twin"));
  Create();
  EXPECT_EQ(UnpublishedVC(L"twin"), kNone) << "not listed, but a real one";
  for (const wchar_t* systemID : {L"TWIN", L"Vc-1"})
    ASSERT_EQ(Register(systemID, FakeVC::Make().Get()), S_OK);
  EXPECT_EQ(UnpublishedVC(L"twin"), (Answer{S_OK, 12})) << "the real one before it does not count";
  EXPECT_EQ(UnpublishedVC(L"vC-1"), (Answer{S_OK, 13}));
  EXPECT_EQ(BySystemID(L"Vc-1"), kNone);
  ASSERT_EQ(Forward(1, "1:n;4:Vc-1;"), S_OK);
  EXPECT_EQ(List(), std::vector<ULONG>{13});
  EXPECT_EQ(UnpublishedVC(L"Vc-1"), kNone);
  EXPECT_EQ(ErrorMessage(), L"No unpublished VC found");
  EXPECT_EQ(BySystemID(L"Vc-1"), (Answer{S_OK, 13}));
  EXPECT_EQ(ByAddress(L"path"), kNone) << "one at the same address comes first and is not listed";
  ASSERT_EQ(Forward(1, "1:n;4:TWIN;"), S_OK);
  EXPECT_EQ(ByAddress(L"path"), (Answer{S_OK, 12}));
  EXPECT_EQ(ByAddress(L"Path"), kNone);
  EXPECT_EQ(BySystemID(L"TWIN"), kNone) << "the configured one comes first and is not listed";
}

TEST_F(LookupsTest, RefreshChecksTheIdAndPingIsNotImplemented) {
  Configure(NothingAsked(), StaticController("10.0.0.5", "a"));
  Create();
  EXPECT_EQ(seek->RefreshForID(11), S_OK);
  EXPECT_EQ(seek->RefreshForID(12), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(), L"LanSeekID too large");
  EXPECT_EQ(seek->RefreshForID(5), KEL_E_LANSEEKID_NOT_IN_USE);
  EXPECT_EQ(ErrorMessage(), L"LanSeekID no longer in use.");
  EXPECT_EQ(seek->Ping(), E_NOTIMPL);
  EXPECT_EQ(ErrorMessage(), L"Ping is not yet implemented");
}

}  // namespace
}  // namespace kellanseek::test

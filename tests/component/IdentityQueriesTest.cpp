#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using I = IKelCtrlIdentity3;

const std::string kController = ControllerIdentity(
    "ControllerName=Cell7;ControllerLocAddr=10.0.0.1;SystemName=Press;ReleasePath=rel/5;SystemIdentity=sys-1;"
    "ControllerID=4711;HostName=cell7.plant;MacAddress=00:11:22:33:44:55;MajorVersion=5;MinorVersion=15;"
    "Revision=1;KelAPICompatibilityRevision=3;CommPortNumber=5515;ControllerLevel=BootLevel");
constexpr const wchar_t* kNotVC = L"Controller at LanSeekID is not a VC";

/// A query in the form common to all: with its outputs, or with a null output.
struct Query {
  const char* name;
  std::function<HRESULT(I&, ULONG id, bool nullOutput, std::wstring& answer)> ask;
  std::wstring answer;  ///< For that controller; the error text of a query for virtual controllers.
  std::wstring nullMessage = {};
  std::wstring goneMessage = L"LanSeekID no longer in use";
};

using TextGetter = HRESULT (STDMETHODCALLTYPE IKelCtrlIdentity::*)(ULONG, BSTR*);

Query TextQuery(const char* name, TextGetter getter, const wchar_t* answer,
                const wchar_t* nullMessage = L"") {
  return {name,
          [getter](I& identity, ULONG id, bool nullOutput, std::wstring& text) {
            const KelBstr leftOver(L"left over");
            BSTR given = leftOver.Get();
            const HRESULT result = (identity.*getter)(id, nullOutput ? nullptr : &given);
            EXPECT_TRUE(nullOutput || SUCCEEDED(result) || given == nullptr);
            text = KelBstr::Attach(given == leftOver.Get() ? nullptr : given).Text();
            return result;
          },
          answer, nullMessage};
}

template <typename Value, typename Getter>
Query ValueQuery(const char* name, Getter getter, int answer, const wchar_t* nullMessage = L"",
                 const wchar_t* goneMessage = L"LanSeekID no longer in use") {
  return {name,
          [getter](I& identity, ULONG id, bool nullOutput, std::wstring& text) {
            Value value = {};
            const HRESULT result = (identity.*getter)(id, nullOutput ? nullptr : &value);
            text = std::to_wstring(value);
            return result;
          },
          std::to_wstring(answer), nullMessage, goneMessage};
}

std::vector<Query> AllQueries() {
  constexpr const wchar_t* kStop = L"LanSeekID no longer in use.";
  return {
      ValueQuery<LanSeekCtrlIdentificationType>("GetCtrlIdentificationType", &I::GetCtrlIdentificationType,
                                                StaticCtrlDefinition, L"type == NULL"),
      TextQuery("GetCtrlName", &I::GetCtrlName, L"Cell7"),
      TextQuery("GetCtrlID", &I::GetCtrlID, L"4711"),
      TextQuery("GetCtrlAddress", &I::GetCtrlAddress, L"10.0.0.1"),
      TextQuery("GetSystemName", &I::GetSystemName, L"Press"),
      TextQuery("GetReleasePath", &I::GetReleasePath, L"rel/5"),
      TextQuery("GetSystemID", &I::GetSystemID, L"sys-1"),
      TextQuery("GetHostName", &I::GetHostName, L"cell7.plant"),
      TextQuery("GetMacAddress", &I::GetMacAddress, L"00:11:22:33:44:55", L"pMacAddress == NULL"),
      ValueQuery<ULONG>("GetCommPortNumber", &I::GetCommPortNumber, 5515, L"pPortNumber == NULL", kStop),
      ValueQuery<KelCtrlLevel>("GetCtrlLevel", &I::GetCtrlLevel, BootLevel),
      ValueQuery<ULONG>("GetKelAPICompatibilityRevision", &I::GetKelAPICompatibilityRevision, 3),
      ValueQuery<KelCtrlType>("GetCtrlType3", &I::GetCtrlType3, RC, L"", kStop),
      {"GetVCInterface",
       [](I& identity, ULONG id, bool nullOutput, std::wstring&) {
         VCInterface vci = {};
         return identity.GetVCInterface(id, nullOutput ? nullptr : &vci);
       },
       kNotVC},
      {"GetVCProcessID",
       [](I& identity, ULONG id, bool nullOutput, std::wstring&) {
         ULONG process = 5;
         const HRESULT result = identity.GetVCProcessID(id, nullOutput ? nullptr : &process);
         EXPECT_EQ(process, 5U);
         return result;
       },
       kNotVC, L"", kStop},
      {"GetControllerVersion",
       [](I& identity, ULONG id, bool nullOutput, std::wstring& text) {
         ULONG major = 0, minor = 0;
         const HRESULT result = identity.GetControllerVersion(id, &major, nullOutput ? nullptr : &minor);
         text = std::to_wstring(major) + L"." + std::to_wstring(minor);
         return result;
       },
       L"5.15"},
      {"GetControllerVersion2",
       [](I& identity, ULONG id, bool nullOutput, std::wstring& text) {
         ULONG major = 0, minor = 0, revision = 0;
         const HRESULT result =
             identity.GetControllerVersion2(id, nullOutput ? nullptr : &major, &minor, &revision);
         text = std::to_wstring(major) + L"." + std::to_wstring(minor) + L"." + std::to_wstring(revision);
         return result;
       },
       L"5.15.1"},
  };
}

class IdentityQueriesTest : public testing::Test, protected ComponentHarness {
 protected:
  /// Returns a lanSeekID that was issued and is no longer in use.
  ULONG MakeGone() {
    EXPECT_EQ(Register(L"gone", FakeVC::Make().Get()), S_OK);
    ULONG id = 0;
    EXPECT_EQ(seek->GetUnpublishedVCFromSystemID(KelBstr(L"gone").Get(), &id), S_OK);
    EXPECT_EQ(virtualControllers->UnRegister(KelBstr(L"gone").Get()), S_OK);
    return id;
  }
};

TEST_F(IdentityQueriesTest, ReturnEveryFieldOfARecord) {
  Configure(NothingAsked(), kController);
  Create();
  for (const Query& query : AllQueries()) {
    SCOPED_TRACE(query.name);
    std::wstring answer;
    const bool answered = query.ask(*identity.Get(), 11, false, answer) == S_OK;
    EXPECT_EQ(answered, query.answer != kNotVC);
    EXPECT_EQ(answered ? answer : ErrorMessageOf(query.name), query.answer);
  }
  KelCtrlType type = VC;
  EXPECT_EQ(identity->GetCtrlType(11, &type), S_OK);
  EXPECT_EQ(type, RC);
}

TEST_F(IdentityQueriesTest, RejectUnusedIdsAndReportTheMethodsOwnLine) {
  Create();
  const ULONG gone = MakeGone();
  for (const Query& query : AllQueries()) {
    SCOPED_TRACE(query.name);
    std::wstring answer;
    const auto ask = [&](ULONG id) { return query.ask(*identity.Get(), id, false, answer); };
    for (ULONG id : {0U, 1U, 10U}) {
      EXPECT_EQ(ask(id), E_INVALIDARG);
      EXPECT_EQ(ErrorMessageOf(query.name), L"lanSeekID <= 10");
    }
    for (ULONG id : {gone + 1, ULONG{0xFFFFFFFF}}) {
      EXPECT_EQ(ask(id), E_INVALIDARG);
      EXPECT_EQ(ErrorMessageOf(query.name), L"LanSeekID too large");
    }
    EXPECT_EQ(ask(gone), KEL_E_LANSEEKID_NOT_IN_USE);
    EXPECT_EQ(ErrorMessageOf(query.name), query.goneMessage);
    EXPECT_EQ(query.ask(*identity.Get(), 0, true, answer), E_POINTER);
    EXPECT_EQ(ErrorMessageOf(query.name), query.nullMessage);
  }
}

TEST_F(IdentityQueriesTest, StatusOfARemovedControllerIsCtrlRemoved) {
  Create();
  EXPECT_EQ(ErrorText(), L"");
  const ULONG gone = MakeGone();
  KelCtrlAvailability status = CtrlAvailable;
  EXPECT_EQ(identity->GetCtrlStatus(gone, &status), S_OK);
  EXPECT_EQ(status, CtrlRemoved);
  EXPECT_EQ(ErrorText(), L"");
  EXPECT_EQ(identity->GetCtrlStatus(10, &status), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(), L"lanSeekID <= 10");
  EXPECT_EQ(identity->GetCtrlStatus(gone + 1, &status), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(), L"LanSeekID too large");
  EXPECT_EQ(identity->GetCtrlStatus(gone, nullptr), E_POINTER);
  EXPECT_EQ(ErrorMessage(), L"");
  EXPECT_EQ(List(), std::vector<ULONG>());
  EXPECT_EQ(ErrorMessage(), L"") << "an error text survives later successes";
}

TEST_F(IdentityQueriesTest, GetCtrlTypeAppendsItsPlaceToTheErrorOfGetCtrlType3) {
  Create();
  const ULONG gone = MakeGone();
  KelCtrlType type = VC;
  EXPECT_EQ(identity->GetCtrlType(gone, &type), KEL_E_LANSEEKID_NOT_IN_USE);
  EXPECT_EQ(ErrorMessage(2), L"LanSeekID no longer in use.");
  EXPECT_EQ(identity->GetCtrlType(gone, nullptr), E_POINTER);
  EXPECT_EQ(ErrorMessage(2), L"");
  EXPECT_EQ(type, VC);
}

TEST_F(IdentityQueriesTest, UnreportedVersionsFailAndUnreportedTextsAreNull) {
  Create();
  const ULONG id = AddRemote(L"10.0.0.5");
  ULONG a = 0, b = 0, c = 0;
  EXPECT_EQ(identity->GetControllerVersion(id, &a, &b), E_FAIL);
  EXPECT_EQ(ErrorMessageOf("GetControllerVersion"), L"Controller version not available");
  EXPECT_TRUE(a == 0xFFFFFFFFU && b == 0xFFFFFFFFU);
  EXPECT_EQ(identity->GetControllerVersion2(id, &a, &b, &c), E_FAIL);
  EXPECT_EQ(ErrorMessageOf("GetControllerVersion2"), L"Controller version not available");
  EXPECT_EQ(c, 0xFFFFFFFFU);
  a = 0;
  EXPECT_EQ(identity->GetKelAPICompatibilityRevision(id, &a), E_FAIL);
  EXPECT_EQ(ErrorMessage(), L"KelAPI compatibility revision not available");
  EXPECT_EQ(a, 0xFFFFFFFFU);
  BSTR name = nullptr;
  EXPECT_EQ(identity->GetCtrlName(id, &name), S_OK);
  EXPECT_EQ(name, nullptr);
}

TEST_F(IdentityQueriesTest, RemoteVirtualControllersAreOfTheConfiguredTypeAndHaveNoAddressOfTheirOwn) {
  for (const auto& [settings, told] : std::vector<std::pair<std::string, KelCtrlType>>{
           {"", VC}, {"<FakeRemoteVCAs>RC</FakeRemoteVCAs>", RC}}) {
    ComponentHarness world;
    world.Configure(settings, "");
    world.Create();
    const auto sink = FakeSink::Make();
    world.Subscribe(sink.Get());
    world.Appear("sys", "192.168.1.20", "11:3;");
    ASSERT_EQ(sink->WaitForTexts(1), (std::vector<std::wstring>{L"11;1;0;"}));
    KelCtrlType type = {};
    EXPECT_EQ(world.identity->GetCtrlType3(11, &type), S_OK);
    EXPECT_EQ(type, RemoteVC);
    EXPECT_EQ(world.identity->GetCtrlType(11, &type), S_OK);
    EXPECT_EQ(type, told);
    ULONG id = 0;
    EXPECT_EQ(world.seek->GetCtrlFromIPAddress(KelBstr(L"192.168.1.20").Get(), &id), KEL_E_NOT_FOUND)
        << "its address is that of its host";
    EXPECT_EQ(world.seek->GetCtrlFromSystemID(KelBstr(L"sys").Get(), &id), S_OK);
  }
}

TEST_F(IdentityQueriesTest, ReturnObjectAndProcessOfAVirtualController) {
  Create();
  const auto object = FakeVC::Make();
  ASSERT_EQ(Register(L"sys", object.Get()), S_OK);
  const ULONG held = object->References();
  VCInterface vci = {};
  ASSERT_EQ(identity->GetVCInterface(11, &vci), S_OK);
  EXPECT_EQ(vci.pVC, object.Get());
  EXPECT_EQ(object->References(), held + 1);
  EXPECT_EQ(*vci.vc_riid, IID_KelVirtualController);
  CoTaskMemFree(vci.vc_riid);
  vci.pVC->Release();

  object->addRefThrows = true;
  GUID left = {};
  vci = {&left, object.Get()};
  EXPECT_EQ(identity->GetVCInterface(11, &vci), E_UNEXPECTED);
  object->addRefThrows = false;
  EXPECT_EQ(ErrorMessage(), L"VC interface not valid, AddRef threw exception");
  EXPECT_TRUE(vci.pVC == nullptr && vci.vc_riid == nullptr);
  ULONG process = 0;
  EXPECT_EQ(identity->GetVCProcessID(11, &process), S_OK) << "the table is not left locked";
  EXPECT_EQ(process, kProcess);

  ASSERT_EQ(Forward(1, "4:nobody;11:2;"), S_OK);
  vci = {&left, object.Get()};
  EXPECT_EQ(identity->GetVCInterface(12, &vci), S_OK);
  EXPECT_TRUE(vci.pVC == nullptr && vci.vc_riid == nullptr) << "known only from messages";
}

}  // namespace
}  // namespace kellanseek::test

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

const std::string kController = ControllerIdentity(
    "ControllerName=Cell7;ControllerLocAddr=10.0.0.1;SystemName=Press;ReleasePath=rel/5;SystemIdentity=sys-1;"
    "ControllerID=4711;HostName=cell7.plant;MacAddress=00:11:22:33:44:55;MajorVersion=5;MinorVersion=15;"
    "Revision=1;KelAPICompatibilityRevision=3;CommPortNumber=5515;ControllerLevel=BootLevel");

using TextGetter = HRESULT (STDMETHODCALLTYPE IKelCtrlIdentity::*)(ULONG, BSTR*);

/// A query in the form common to all: with its outputs, or with a null output.
struct Query {
  const char* name;
  std::function<HRESULT(IKelCtrlIdentity3&, ULONG id, bool nullOutput)> ask;
  std::wstring nullMessage;
  std::wstring goneMessage = L"LanSeekID no longer in use";
};

Query TextQuery(const char* name, TextGetter getter, const wchar_t* nullMessage = L"") {
  return {name,
          [getter](IKelCtrlIdentity3& identity, ULONG id, bool nullOutput) {
            BSTR text = SysAllocString(L"left over");
            const KelBstr leftOver = KelBstr::Attach(text);
            const HRESULT result = (identity.*getter)(id, nullOutput ? nullptr : &text);
            EXPECT_TRUE(nullOutput || SUCCEEDED(result) || text == nullptr);
            const KelBstr owner = KelBstr::Attach(text == leftOver.Get() ? nullptr : text);
            return result;
          },
          nullMessage};
}

template <typename Value, typename Getter>
Query ValueQuery(const char* name, Getter getter, const wchar_t* nullMessage = L"",
                 const wchar_t* goneMessage = L"LanSeekID no longer in use") {
  return {name,
          [getter](IKelCtrlIdentity3& identity, ULONG id, bool nullOutput) {
            Value value = {};
            return (identity.*getter)(id, nullOutput ? nullptr : &value);
          },
          nullMessage, goneMessage};
}

std::vector<Query> AllQueries() {
  constexpr const wchar_t* kStop = L"LanSeekID no longer in use.";
  using I = IKelCtrlIdentity3;
  return {
      ValueQuery<LanSeekCtrlIdentificationType>("GetCtrlIdentificationType", &I::GetCtrlIdentificationType,
                                                L"type == NULL"),
      TextQuery("GetCtrlName", &IKelCtrlIdentity::GetCtrlName),
      TextQuery("GetCtrlID", &IKelCtrlIdentity::GetCtrlID),
      TextQuery("GetCtrlAddress", &IKelCtrlIdentity::GetCtrlAddress),
      TextQuery("GetSystemName", &IKelCtrlIdentity::GetSystemName),
      TextQuery("GetReleasePath", &IKelCtrlIdentity::GetReleasePath),
      TextQuery("GetSystemID", &IKelCtrlIdentity::GetSystemID),
      TextQuery("GetHostName", &IKelCtrlIdentity::GetHostName),
      TextQuery("GetMacAddress", &IKelCtrlIdentity::GetMacAddress, L"pMacAddress == NULL"),
      ValueQuery<ULONG>("GetCommPortNumber", &I::GetCommPortNumber, L"pPortNumber == NULL", kStop),
      ValueQuery<KelCtrlLevel>("GetCtrlLevel", &I::GetCtrlLevel),
      ValueQuery<ULONG>("GetKelAPICompatibilityRevision", &I::GetKelAPICompatibilityRevision),
      ValueQuery<VCInterface>("GetVCInterface", &I::GetVCInterface),
      ValueQuery<ULONG>("GetVCProcessID", &I::GetVCProcessID, L"", kStop),
      ValueQuery<KelCtrlType>("GetCtrlType3", &I::GetCtrlType3, L"", kStop),
      {"GetControllerVersion",
       [](I& identity, ULONG id, bool nullOutput) {
         ULONG major = 0;
         ULONG minor = 0;
         return identity.GetControllerVersion(id, &major, nullOutput ? nullptr : &minor);
       },
       L""},
      {"GetControllerVersion2",
       [](I& identity, ULONG id, bool nullOutput) {
         ULONG major = 0;
         ULONG minor = 0;
         ULONG revision = 0;
         return identity.GetControllerVersion2(id, nullOutput ? nullptr : &major, &minor, &revision);
       },
       L""},
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
  std::wstring Text(TextGetter getter, ULONG id) {
    KelBstr text;
    EXPECT_EQ((identity.Get()->*getter)(id, text.Put()), S_OK);
    return text.Text();
  }
  template <typename Interface, typename Value>
  Value Number(HRESULT (STDMETHODCALLTYPE Interface::*getter)(ULONG, Value*), ULONG id) {
    auto value = static_cast<Value>(0x77);
    EXPECT_EQ((identity.Get()->*getter)(id, &value), S_OK);
    return value;
  }
};

TEST_F(IdentityQueriesTest, ReturnsEveryFieldOfARecord) {
  Configure(NothingAsked(), kController);
  Create();
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetCtrlName, 11), L"Cell7");
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetCtrlID, 11), L"4711");
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetCtrlAddress, 11), L"10.0.0.1");
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetSystemName, 11), L"Press");
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetReleasePath, 11), L"rel/5");
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetSystemID, 11), L"sys-1");
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetHostName, 11), L"cell7.plant");
  EXPECT_EQ(Text(&IKelCtrlIdentity::GetMacAddress, 11), L"00:11:22:33:44:55");
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetCtrlType, 11), RC);
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetCtrlIdentificationType, 11), StaticCtrlDefinition);
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetCtrlStatus, 11), CtrlAvailable);
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetCtrlLevel, 11), BootLevel);
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetKelAPICompatibilityRevision, 11), 3U);
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetCommPortNumber, 11), 5515U);
  ULONG numbers[5] = {};
  EXPECT_EQ(identity->GetControllerVersion(11, &numbers[0], &numbers[1]), S_OK);
  EXPECT_EQ(identity->GetControllerVersion2(11, &numbers[2], &numbers[3], &numbers[4]), S_OK);
  EXPECT_EQ(std::vector<ULONG>(numbers, numbers + 5), (std::vector<ULONG>{5, 15, 5, 15, 1}));
  EXPECT_EQ(ErrorText(), L"");
}

TEST_F(IdentityQueriesTest, RejectsUnusedIdsAndReportsTheMethodsOwnLine) {
  Create();
  const ULONG gone = MakeGone();
  for (const Query& query : AllQueries()) {
    SCOPED_TRACE(query.name);
    const auto ask = [&](ULONG id) { return query.ask(*identity.Get(), id, false); };
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
    EXPECT_EQ(query.ask(*identity.Get(), 0, true), E_POINTER);
    EXPECT_EQ(ErrorMessageOf(query.name), query.nullMessage);
  }
}

TEST_F(IdentityQueriesTest, StatusOfARemovedControllerIsCtrlRemoved) {
  Create();
  const ULONG gone = MakeGone();
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetCtrlStatus, gone), CtrlRemoved);
  EXPECT_EQ(ErrorText(), L"");
  KelCtrlAvailability status = CtrlAvailable;
  EXPECT_EQ(identity->GetCtrlStatus(10, &status), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(), L"lanSeekID <= 10");
  EXPECT_EQ(identity->GetCtrlStatus(gone + 1, &status), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(), L"LanSeekID too large");
  EXPECT_EQ(identity->GetCtrlStatus(gone, nullptr), E_POINTER);
  EXPECT_EQ(ErrorMessage(), L"");
  EXPECT_EQ(status, CtrlAvailable);
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

TEST_F(IdentityQueriesTest, GetCtrlTypeReportsRemoteVirtualControllersAsConfigured) {
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
  }
}

TEST_F(IdentityQueriesTest, ReturnsObjectAndProcessOfAVirtualController) {
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

  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetVCProcessID, 11), kProcess);
}

TEST_F(IdentityQueriesTest, FailsIfAVirtualControllersObjectCannotBeReferenced) {
  Create();
  const auto object = FakeVC::Make();
  ASSERT_EQ(Register(L"sys", object.Get()), S_OK);
  object->addRefThrows = true;
  GUID left = {};
  VCInterface vci = {&left, object.Get()};
  EXPECT_EQ(identity->GetVCInterface(11, &vci), E_UNEXPECTED);
  object->addRefThrows = false;
  EXPECT_EQ(ErrorMessage(), L"VC interface not valid, AddRef threw exception");
  EXPECT_EQ(vci.pVC, nullptr);
  EXPECT_EQ(vci.vc_riid, nullptr);
  EXPECT_EQ(Number(&IKelCtrlIdentity3::GetCtrlType, 11), VC) << "the table is not left locked";
}

TEST_F(IdentityQueriesTest, AVirtualControllerKnownOnlyFromMessagesHasNoObject) {
  Create();
  ASSERT_EQ(Forward(1, "4:nobody;11:2;"), S_OK);
  GUID left = {};
  VCInterface vci = {&left, nullptr};
  EXPECT_EQ(identity->GetVCInterface(11, &vci), S_OK);
  EXPECT_EQ(vci.pVC, nullptr);
  EXPECT_EQ(vci.vc_riid, nullptr);
}

TEST_F(IdentityQueriesTest, RealControllersHaveNoObjectAndNoProcess) {
  Configure(NothingAsked(), kController);
  Create();
  VCInterface vci = {};
  ULONG process = 5;
  EXPECT_EQ(identity->GetVCInterface(11, &vci), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(), L"Controller at LanSeekID is not a VC");
  EXPECT_EQ(identity->GetVCProcessID(11, &process), E_INVALIDARG);
  EXPECT_EQ(ErrorMessage(), L"Controller at LanSeekID is not a VC");
  EXPECT_EQ(process, 5U);
}

TEST_F(IdentityQueriesTest, ErrorTextSurvivesLaterSuccesses) {
  Create();
  EXPECT_EQ(ErrorText(), L"");
  KelBstr name;
  EXPECT_EQ(identity->GetCtrlName(11, name.Put()), E_INVALIDARG);
  const std::wstring text = ErrorText();
  KelRetrievalParams parameters = {0, {}, -2, 0};
  KelComPtr<IKelEnumCtrlIdentity> list;
  EXPECT_EQ(seek->GetCtrlList(&parameters, list.Put()), S_OK);
  EXPECT_EQ(ErrorText(), text);
}

}  // namespace
}  // namespace kellanseek::test

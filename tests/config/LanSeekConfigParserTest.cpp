#include "config/LanSeekConfigParser.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/config/ConfigFiles.h"
#include "tests/config/FaultyXml.h"

namespace kellanseek::test {
namespace {

using config::CKelLanSeekConfigSettings;
using config::CLanSeekConfigParser;

using At = XmlFault::At;
using Step = platform::XmlDocument::EncodingStep;

const std::wstring kInit = L"LanSeekConfigParser::Init. Config file rejected";
const std::wstring kRead = L"CLanSeekConfigParser::GetInformation. ";
const std::wstring kBad = L"CKelLanSeekConfigSettings: Bad interface specified. Removed";

TEST(LanSeekConfigParserTest, AcceptsOnlyTheOneEncoding) {
  struct Case {
    const char* what;
    std::string content;
    HRESULT result;
    std::wstring said;
  };
  const std::string root = "<KelLanSeekConfigurations/>";
  const std::wstring missing = kInit + L". Failed to get encoding type, exception thrown.";
  const std::wstring wrong = kInit + L" due to invalid encoding type.";
  const Case cases[] = {
      {"accepted", kDeclaration + root, S_OK, {}},
      {"lower case", "<?xml version='1.0' encoding='iso-8859-1'?>" + root, S_OK, {}},
      {"another", "<?xml version='1.0' encoding='UTF-8'?>" + root, E_INVALIDARG, wrong},
      {"nearly", "<?xml version='1.0' encoding='ISO-8859-15'?>" + root, E_INVALIDARG, wrong},
      {"no declaration", root, E_FAIL, missing},
      {"no encoding", "<?xml version='1.0'?>" + root, E_FAIL, missing},
      {"empty", "", E_INVALIDARG, {}},
      {"malformed", kDeclaration + std::string("<KelLanSeekConfigurations>"), E_INVALIDARG, {}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteScanFile(c.content);
    FakeDebugOutput traces;
    CLanSeekConfigParser parser(traces);
    EXPECT_EQ(parser.Init(files.ScanFile()), c.result) << c.what;
    EXPECT_EQ(Said(traces), c.said) << c.what;
    CKelLanSeekConfigSettings settings;
    EXPECT_EQ(parser.GetInformation(settings), c.result == S_OK ? S_OK : E_FAIL) << c.what;
  }
  FakeDebugOutput traces;
  EXPECT_EQ(CLanSeekConfigParser(traces).Init(ConfigFiles().ScanFile()), E_INVALIDARG);
  EXPECT_EQ(Said(traces), L"") << "a missing file is not traced";
}

void ExpectSettings(const char* what, const std::string& inside, const std::string& differences,
                    const std::wstring& said = {}) {
  SCOPED_TRACE(what);
  const ConfigFiles files;
  files.WriteSettings(inside);
  FakeDebugOutput traces;
  CLanSeekConfigParser parser(traces);
  CKelLanSeekConfigSettings settings;
  ASSERT_EQ(parser.Init(files.ScanFile()), S_OK);
  EXPECT_EQ(parser.GetInformation(settings), S_OK);
  EXPECT_EQ(Differences(settings), differences);
  EXPECT_EQ(Said(traces), said);
}

TEST(LanSeekConfigParserTest, SetsExactlyTheNumbersInTheFile) {
  ExpectSettings("nothing", "", "");
  const std::string numbers =
      "RequestPort=1;ResponsePort=2;RefreshInterval=4;RefreshTimeout=6;Retries=10;NonLocalUpdatesEnabled=0;"
      "NonLocalPort=3;NonLocalRefreshInterval=5;NonLocalRefreshTimeout=7;NonLocalRetries=11;";
  ExpectSettings("every number",
                 CommunicationSettings(numbers + "DynamicDetectionEnabled=8") +
                     Elements("DetectInterfaceChanges=0;FakeRemoteVCAs=RC"),
                 numbers + "DetectInterfaceChanges=0;FakeRemoteVCAs=1;");
  ExpectSettings("numbers without an element",
                 CommunicationSettings("TickInterval=1;MaxRequestsPerSecond=1;VCRefreshInterval=9"), "");
  ExpectSettings(
      "numbers are stored as read",
      CommunicationSettings("RequestPort=0x1588;ResponsePort=70000;RefreshInterval=-5;Retries=99999999999"),
      "RequestPort=0;ResponsePort=70000;RefreshInterval=-5;Retries=2147483647;");
  ExpectSettings("names have a case", CommunicationSettings("requestport=1"), "");
  ExpectSettings("the first of two",
                 CommunicationSettings("Retries=1;Retries=2") + CommunicationSettings("RefreshTimeout=9"),
                 "Retries=1;");
  ExpectSettings("settings outside their container", Elements("RequestPort=1"), "");
  ExpectSettings(
      "words are no flags",
      CommunicationSettings("DynamicDetectionEnabled=true;NonLocalUpdatesEnabled=yes") +
          Elements("DetectInterfaceChanges=on"),
      "DynamicDetectionEnabled=0;NonLocalUpdatesEnabled=0;DetectInterfaceChanges=0;InterfaceMode=2;");
  ExpectSettings("other kinds of controller", Elements("FakeRemoteVCAs=rc"), "");
  ExpectSettings("more than the kind", Elements("FakeRemoteVCAs=RC VC"), "");
}

TEST(LanSeekConfigParserTest, ReadsTheSubnetsOfASelection) {
  const std::string ten = SubNet("10.0.0.0", "255.0.0.0");
  ExpectSettings("left out", In("ExcludeInterfaces", ten + SubNet("11.0.0.0", "255.0.0.0")),
                 "InterfaceMode=1;10.0.0.0/255.0.0.0;11.0.0.0/255.0.0.0;");
  ExpectSettings("used", In("UseInterfaces", ten), "InterfaceMode=2;10.0.0.0/255.0.0.0;");
  ExpectSettings("left out goes before used", In("UseInterfaces", ten) + Elements("ExcludeInterfaces"),
                 "InterfaceMode=1;");
  ExpectSettings("used, but bad", In("UseInterfaces", SubNet("10.0.0.999", "255.0.0.0")),
                 "DynamicDetectionEnabled=0;InterfaceMode=2;", kBad);
  ExpectSettings("used, the good one",
                 In("UseInterfaces", SubNet("10.0.0.999", "255.0.0.0") + ten + SubNet("x", "y")),
                 "InterfaceMode=2;10.0.0.0/255.0.0.0;", kBad + L"\n" + kBad);
  for (const char* const list : {"UseInterfaces", "ExcludeInterfaces"}) {
    ExpectSettings("without discovery", In(list, ten) + CommunicationSettings("DynamicDetectionEnabled=0"),
                   "DynamicDetectionEnabled=0;InterfaceMode=2;");
  }
  ExpectSettings("host mask", In("ExcludeInterfaces", SubNet("10.0.0.1", "255.255.255.255")),
                 "InterfaceMode=1;", kBad);
  ExpectSettings(
      "incomplete subnets are passed over",
      In("UseInterfaces", In("SubNet", Elements("SubNetMask=255.0.0.0")) +
                              In("SubNet", Elements("IPNumber=10.0.0.0")) + SubNet("12.0.0.0", "255.0.0.0")) +
          Elements("DetectInterfaceChanges=0"),
      "DetectInterfaceChanges=0;InterfaceMode=2;12.0.0.0/255.0.0.0;",
      kRead + L"SubNet node did not contain IPNumber\n" + kRead + L"SubNet node did not contain SubNetMask");
}

TEST(LanSeekConfigParserTest, TracesEachFailingStepOfInit) {
  struct Case {
    At at;
    Step step;
    std::wstring said;
  };
  const Case cases[] = {
      {At::Encoding, Step::FirstChild, kInit + L". get_firstChild failed"},
      {At::Encoding, Step::Attributes, kInit + L". Attributes failure."},
      {At::Encoding, Step::EncodingAttribute, kInit + L". Failed to get encoding type."},
      {At::Encoding, Step::Text, kInit + L". Failed to read encoding type."},
      {At::Create, {}, {}},
  };
  const ConfigFiles files;
  files.WriteSettings("");
  for (const Case& c : cases) {
    FakeDebugOutput traces;
    const XmlFault fault{c.at, L"", E_UNEXPECTED, c.step};
    EXPECT_EQ(CLanSeekConfigParser(traces, FaultyDocuments(fault)).Init(files.ScanFile()), E_UNEXPECTED);
    EXPECT_EQ(Said(traces), c.said);
  }
}

TEST(LanSeekConfigParserTest, ContinuesAfterFailuresWherePossible) {
  struct Case {
    XmlFault fault;
    HRESULT result;
    std::string differences;
    std::optional<std::wstring> said = {};  ///< Where it is not the usual message.
  };
  const std::wstring communication = L"CLanSeekConfigParser::GetCommunicationSettings. ";
  const std::wstring noRoot = L"raw_selectSingleNode KelLanSeekConfigurations failed";
  const std::string numbers = "RequestPort=1;NonLocalRetries=2;";
  const std::string detect = "DetectInterfaceChanges=0;";
  const std::string fake = "FakeRemoteVCAs=1;";
  const std::string mode = "InterfaceMode=1;";
  const std::string ten = mode + "10.0.0.0/255.0.0.0;";
  const std::string rest = detect + fake + ten;
  const Case cases[] = {
      {{At::None}, S_OK, numbers + rest, L""},
      {{At::Root, L"KelLanSeekConfigurations"}, E_FAIL, "", kRead + noRoot + L"\n" + communication + noRoot},
      {{At::Select, L"FakeRemoteVCAs"}, S_OK, numbers + detect + ten},
      {{At::Text, L"FakeRemoteVCAs"}, S_OK, numbers + detect + ten},
      {{At::Select, L"CommunicationSettings"},
       E_FAIL,
       rest,
       kRead + L"raw_selectNodes CommunicationSettings failed"},
      {{At::Select, L"RequestPort"}, S_OK, "NonLocalRetries=2;" + rest},
      {{At::Text, L"RequestPort"}, S_OK, "NonLocalRetries=2;" + rest},
      {{At::Text, L"NonLocalRetries"}, E_FAIL, "RequestPort=1;" + rest},
      {{At::Select, L"ExcludeInterfaces"}, E_FAIL, numbers + fake},
      {{At::SelectAll, L"SubNet"}, E_FAIL, numbers + fake + mode, kRead + L"raw_selectNodes SubNet failed"},
      {{At::Item, L"SubNet"}, E_FAIL, numbers + fake + mode, kRead + L"get_item failed"},
      {{At::Select, L"IPNumber"}, E_FAIL, numbers + fake + mode},
      {{At::Text, L"SubNetMask"}, S_OK, numbers + detect + fake + mode},
      {{At::Select, L"DetectInterfaceChanges"}, E_FAIL, numbers + fake + ten},
      {{At::Text, L"DetectInterfaceChanges"}, E_FAIL, numbers + fake + ten, L""},
      {{At::Text, L"RequestPort", E_OUTOFMEMORY},
       E_FAIL,
       rest,
       communication + L"Exception while getting data"},
      {{At::Text, L"IPNumber", E_OUTOFMEMORY},
       E_FAIL,
       numbers + fake + mode,
       kRead + L"Exception while getting interface addresses"},
  };
  const ConfigFiles files;
  files.WriteSettings(CommunicationSettings("RequestPort=1;NonLocalRetries=2") +
                      In("ExcludeInterfaces", SubNet("10.0.0.0", "255.0.0.0")) +
                      Elements("DetectInterfaceChanges=0;FakeRemoteVCAs=RC"));
  for (const Case& c : cases) {
    const std::string what(c.fault.name.begin(), c.fault.name.end());
    FakeDebugOutput traces;
    CLanSeekConfigParser parser(traces, FaultyDocuments(c.fault));
    CKelLanSeekConfigSettings settings;
    ASSERT_EQ(parser.Init(files.ScanFile()), S_OK) << what;
    EXPECT_EQ(parser.GetInformation(settings), c.result) << what;
    EXPECT_EQ(Differences(settings), c.differences) << what;
    EXPECT_EQ(Said(traces), c.said.value_or(Usual(kRead, c.fault))) << what;
  }
}

}  // namespace
}  // namespace kellanseek::test

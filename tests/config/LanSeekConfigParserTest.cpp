#include "config/LanSeekConfigParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/config/ConfigFiles.h"
#include "tests/config/FaultyXml.h"
#include "tests/support/FakeDebugOutput.h"

namespace kellanseek::test {
namespace {

using At = XmlFault::At;
using Step = platform::XmlDocument::EncodingStep;
using Messages = std::vector<std::wstring>;

const std::wstring kInit = L"LanSeekConfigParser::Init. Config file rejected";
const std::wstring kRead = L"CLanSeekConfigParser::GetInformation. ";
const std::wstring kBad = L"CKelLanSeekConfigSettings: Bad interface specified. Removed";

std::string SubNet(const std::string& address, const std::string& mask) {
  return "<SubNet><IPNumber>" + address + "</IPNumber><SubNetMask>" + mask + "</SubNetMask></SubNet>";
}

TEST(LanSeekConfigParserTest, AcceptsOnlyFilesInTheOneEncoding) {
  struct Case {
    const char* what;
    std::string content;
    HRESULT result;
    Messages messages;
  };
  const std::string root = "<KelLanSeekConfigurations/>";
  const Messages missing = {kInit + L". Failed to get encoding type, exception thrown."};
  const Messages wrong = {kInit + L" due to invalid encoding type."};
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
    EXPECT_EQ(traces.Messages(), c.messages) << c.what;
    CKelLanSeekConfigSettings settings;
    EXPECT_EQ(parser.GetInformation(settings), c.result == S_OK ? S_OK : E_FAIL) << c.what;
  }
  FakeDebugOutput traces;
  EXPECT_EQ(CLanSeekConfigParser(traces).Init(ConfigFiles().ScanFile()), E_INVALIDARG);
  EXPECT_TRUE(traces.Messages().empty()) << "a missing file is nothing to complain of";
}

TEST(LanSeekConfigParserTest, TakesWhatTheFileNamesAndNothingElse) {
  struct Case {
    const char* what;
    std::string inside;
    std::string differences;
    Messages messages;
  };
  const Case cases[] = {
      {"nothing", "", "", {}},
      {"every number",
       "<CommunicationSettings><RequestPort>1</RequestPort><ResponsePort>2</ResponsePort><NonLocalPort>3</"
       "NonLocalPort>"
       "<RefreshInterval>4</RefreshInterval><NonLocalRefreshInterval>5</NonLocalRefreshInterval>"
       "<RefreshTimeout>6</RefreshTimeout><NonLocalRefreshTimeout>7</NonLocalRefreshTimeout>"
       "<DynamicDetectionEnabled>8</DynamicDetectionEnabled><NonLocalUpdatesEnabled>0</"
       "NonLocalUpdatesEnabled>"
       "<Retries>10</Retries><NonLocalRetries>11</NonLocalRetries></CommunicationSettings>"
       "<DetectInterfaceChanges>0</DetectInterfaceChanges><FakeRemoteVCAs>RC</FakeRemoteVCAs>",
       "RequestPort=1;ResponsePort=2;RefreshInterval=4;RefreshTimeout=6;Retries=10;NonLocalUpdatesEnabled=0;"
       "NonLocalPort=3;NonLocalRefreshInterval=5;NonLocalRefreshTimeout=7;NonLocalRetries=11;"
       "DetectInterfaceChanges=0;FakeRemoteVCAs=1;",
       {}},
      {"numbers without an element",
       "<CommunicationSettings><TickInterval>1</TickInterval><MaxRequestsPerSecond>1</MaxRequestsPerSecond>"
       "<VCRefreshInterval>9</VCRefreshInterval></CommunicationSettings>",
       "",
       {}},
      {"numbers are stored as read",
       "<CommunicationSettings><RequestPort>0x1588</RequestPort><ResponsePort>70000</ResponsePort>"
       "<RefreshInterval>-5</RefreshInterval><Retries>99999999999</Retries></CommunicationSettings>",
       "RequestPort=0;ResponsePort=70000;RefreshInterval=-5;Retries=2147483647;",
       {}},
      {"names have a case",
       "<CommunicationSettings><requestport>1</requestport></CommunicationSettings>",
       "",
       {}},
      {"the first of two",
       "<CommunicationSettings><Retries>1</Retries><Retries>2</Retries></CommunicationSettings>"
       "<CommunicationSettings><RefreshTimeout>9</RefreshTimeout></CommunicationSettings>",
       "Retries=1;",
       {}},
      {"settings outside their container", "<RequestPort>1</RequestPort>", "", {}},
      {"words are no flags",
       "<CommunicationSettings><DynamicDetectionEnabled>true</DynamicDetectionEnabled>"
       "<NonLocalUpdatesEnabled>yes</NonLocalUpdatesEnabled></CommunicationSettings>"
       "<DetectInterfaceChanges>on</DetectInterfaceChanges>",
       "DynamicDetectionEnabled=0;NonLocalUpdatesEnabled=0;DetectInterfaceChanges=0;InterfaceMode=2;",
       {}},
      {"other kinds of controller", "<FakeRemoteVCAs>rc</FakeRemoteVCAs>", "", {}},
      {"more than the kind", "<FakeRemoteVCAs>RC VC</FakeRemoteVCAs>", "", {}},
      {"left out",
       "<ExcludeInterfaces>" + SubNet("10.0.0.0", "255.0.0.0") + SubNet("11.0.0.0", "255.0.0.0") +
           "</ExcludeInterfaces>",
       "InterfaceMode=1;10.0.0.0/255.0.0.0;11.0.0.0/255.0.0.0;",
       {}},
      {"used",
       "<UseInterfaces>" + SubNet("10.0.0.0", "255.0.0.0") + "</UseInterfaces>",
       "InterfaceMode=2;10.0.0.0/255.0.0.0;",
       {}},
      {"left out goes before used",
       "<UseInterfaces>" + SubNet("10.0.0.0", "255.0.0.0") + "</UseInterfaces><ExcludeInterfaces/>",
       "InterfaceMode=1;",
       {}},
      {"used, but bad",
       "<UseInterfaces>" + SubNet("10.0.0.999", "255.0.0.0") + "</UseInterfaces>",
       "DynamicDetectionEnabled=0;InterfaceMode=2;",
       {kBad}},
      {"host mask",
       "<ExcludeInterfaces>" + SubNet("10.0.0.1", "255.255.255.255") + "</ExcludeInterfaces>",
       "InterfaceMode=1;",
       {kBad}},
      {"incomplete subnets are passed over",
       "<UseInterfaces><SubNet><SubNetMask>255.0.0.0</SubNetMask></SubNet><SubNet><IPNumber>10.0.0.0</"
       "IPNumber></SubNet>" +
           SubNet("12.0.0.0", "255.0.0.0") +
           "</UseInterfaces><DetectInterfaceChanges>0</DetectInterfaceChanges>",
       "DetectInterfaceChanges=0;InterfaceMode=2;12.0.0.0/255.0.0.0;",
       {kRead + L"SubNet node did not contain IPNumber", kRead + L"SubNet node did not contain SubNetMask"}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteSettings(c.inside);
    FakeDebugOutput traces;
    CLanSeekConfigParser parser(traces);
    CKelLanSeekConfigSettings settings;
    ASSERT_EQ(parser.Init(files.ScanFile()), S_OK) << c.what;
    EXPECT_EQ(parser.GetInformation(settings), S_OK) << c.what;
    EXPECT_EQ(Differences(settings), c.differences) << c.what;
    EXPECT_EQ(traces.Messages(), c.messages) << c.what;
  }
}

TEST(LanSeekConfigParserTest, AnotherRootSetsNothingWithoutAWord) {
  const ConfigFiles files;
  files.WriteScanFile(kDeclaration +
                      std::string("<Configurations><FakeRemoteVCAs>RC</FakeRemoteVCAs></Configurations>"));
  FakeDebugOutput traces;
  CLanSeekConfigParser parser(traces);
  CKelLanSeekConfigSettings settings;
  ASSERT_EQ(parser.Init(files.ScanFile()), S_OK);
  EXPECT_EQ(parser.GetCommunicationSettings(settings), S_FALSE);
  EXPECT_EQ(parser.GetInformation(settings), S_OK);
  EXPECT_EQ(Differences(settings), "");
  EXPECT_TRUE(traces.Messages().empty());
}

TEST(LanSeekConfigParserTest, ReportsEachStepOfTheEncodingThatFails) {
  struct Case {
    Step step;
    std::wstring message;
  };
  const Case cases[] = {
      {Step::FirstChild, kInit + L". get_firstChild failed"},
      {Step::Attributes, kInit + L". Attributes failure."},
      {Step::EncodingAttribute, kInit + L". Failed to get encoding type."},
      {Step::Text, kInit + L". Failed to read encoding type."},
  };
  const ConfigFiles files;
  files.WriteSettings("");
  for (const Case& c : cases) {
    FakeDebugOutput traces;
    const XmlFault fault{At::Encoding, L"", E_UNEXPECTED, c.step};
    EXPECT_EQ(CLanSeekConfigParser(traces, FaultyDocuments(fault)).Init(files.ScanFile()), E_UNEXPECTED);
    EXPECT_EQ(traces.Messages(), Messages{c.message});
  }
  FakeDebugOutput traces;
  const XmlFault fault{At::Create, L"", E_UNEXPECTED};
  EXPECT_EQ(CLanSeekConfigParser(traces, FaultyDocuments(fault)).Init(files.ScanFile()), E_UNEXPECTED);
  EXPECT_TRUE(traces.Messages().empty());
}

TEST(LanSeekConfigParserTest, GoesOnAfterAFailureAsFarAsItCan) {
  struct Case {
    XmlFault fault;
    HRESULT result;
    std::string differences;
    Messages messages;
  };
  const std::wstring single = kRead + L"raw_selectSingleNode ";
  const std::wstring communication = L"CLanSeekConfigParser::GetCommunicationSettings. ";
  const std::string interfaces = "InterfaceMode=1;10.0.0.0/255.0.0.0;";
  const Case cases[] = {
      {{At::None},
       S_OK,
       "RequestPort=1;NonLocalRetries=2;DetectInterfaceChanges=0;FakeRemoteVCAs=1;" + interfaces,
       {}},
      {{At::Root, L"KelLanSeekConfigurations"},
       E_FAIL,
       "",
       {single + L"KelLanSeekConfigurations failed",
        communication + L"raw_selectSingleNode KelLanSeekConfigurations failed"}},
      {{At::Select, L"FakeRemoteVCAs"},
       S_OK,
       "RequestPort=1;NonLocalRetries=2;DetectInterfaceChanges=0;" + interfaces,
       {single + L"FakeRemoteVCAs failed"}},
      {{At::Text, L"FakeRemoteVCAs"},
       S_OK,
       "RequestPort=1;NonLocalRetries=2;DetectInterfaceChanges=0;" + interfaces,
       {kRead + L"get_text FakeRemoteVCAs failed"}},
      {{At::Select, L"CommunicationSettings"},
       E_FAIL,
       "DetectInterfaceChanges=0;FakeRemoteVCAs=1;" + interfaces,
       {kRead + L"raw_selectNodes CommunicationSettings failed"}},
      {{At::Select, L"RequestPort"},
       S_OK,
       "NonLocalRetries=2;DetectInterfaceChanges=0;FakeRemoteVCAs=1;" + interfaces,
       {single + L"RequestPort failed"}},
      {{At::Text, L"RequestPort"},
       S_OK,
       "NonLocalRetries=2;DetectInterfaceChanges=0;FakeRemoteVCAs=1;" + interfaces,
       {kRead + L"get_text RequestPort failed"}},
      {{At::Text, L"NonLocalRetries"},
       E_FAIL,
       "RequestPort=1;DetectInterfaceChanges=0;FakeRemoteVCAs=1;" + interfaces,
       {kRead + L"get_text NonLocalRetries failed"}},
      {{At::Select, L"ExcludeInterfaces"},
       E_FAIL,
       "RequestPort=1;NonLocalRetries=2;FakeRemoteVCAs=1;",
       {single + L"ExcludeInterfaces failed"}},
      {{At::SelectAll, L"SubNet"},
       E_FAIL,
       "RequestPort=1;NonLocalRetries=2;FakeRemoteVCAs=1;InterfaceMode=1;",
       {kRead + L"raw_selectNodes SubNet failed"}},
      {{At::Item, L"SubNet"},
       E_FAIL,
       "RequestPort=1;NonLocalRetries=2;FakeRemoteVCAs=1;InterfaceMode=1;",
       {kRead + L"get_item failed"}},
      {{At::Select, L"IPNumber"},
       E_FAIL,
       "RequestPort=1;NonLocalRetries=2;FakeRemoteVCAs=1;InterfaceMode=1;",
       {single + L"IPNumber failed"}},
      {{At::Text, L"SubNetMask"},
       S_OK,
       "RequestPort=1;NonLocalRetries=2;DetectInterfaceChanges=0;FakeRemoteVCAs=1;InterfaceMode=1;",
       {kRead + L"get_text SubNetMask failed"}},
      {{At::Select, L"DetectInterfaceChanges"},
       E_FAIL,
       "RequestPort=1;NonLocalRetries=2;FakeRemoteVCAs=1;" + interfaces,
       {single + L"DetectInterfaceChanges failed"}},
      {{At::Text, L"DetectInterfaceChanges"},
       E_FAIL,
       "RequestPort=1;NonLocalRetries=2;FakeRemoteVCAs=1;" + interfaces,
       {}},
      {{At::Text, L"RequestPort", E_OUTOFMEMORY},
       E_FAIL,
       "DetectInterfaceChanges=0;FakeRemoteVCAs=1;" + interfaces,
       {communication + L"Exception while getting data"}},
      {{At::Text, L"IPNumber", E_OUTOFMEMORY},
       E_FAIL,
       "RequestPort=1;NonLocalRetries=2;FakeRemoteVCAs=1;InterfaceMode=1;",
       {kRead + L"Exception while getting interface addresses"}},
  };
  const ConfigFiles files;
  files.WriteSettings(
      "<CommunicationSettings><RequestPort>1</RequestPort><NonLocalRetries>2</NonLocalRetries>"
      "</CommunicationSettings><ExcludeInterfaces>" +
      SubNet("10.0.0.0", "255.0.0.0") +
      "</ExcludeInterfaces><DetectInterfaceChanges>0</DetectInterfaceChanges>"
      "<FakeRemoteVCAs>RC</FakeRemoteVCAs>");
  for (const Case& c : cases) {
    const std::string what(c.fault.name.begin(), c.fault.name.end());
    FakeDebugOutput traces;
    CLanSeekConfigParser parser(traces, FaultyDocuments(c.fault));
    CKelLanSeekConfigSettings settings;
    ASSERT_EQ(parser.Init(files.ScanFile()), S_OK) << what;
    EXPECT_EQ(parser.GetInformation(settings), c.result) << what;
    EXPECT_EQ(Differences(settings), c.differences) << what;
    EXPECT_EQ(traces.Messages(), c.messages) << what;
  }
}

}  // namespace
}  // namespace kellanseek::test

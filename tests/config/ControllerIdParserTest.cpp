#include "config/ControllerIdParser.h"

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

constexpr const char* kFull =
    "<ControllerIdentity><ControllerName>N\xE4me</ControllerName><ControllerLocAddr>10.20.1.15</"
    "ControllerLocAddr>"
    "<SystemName>System</SystemName><ReleasePath>/disk0</ReleasePath><SystemIdentity>12-34567</"
    "SystemIdentity>"
    "<ControllerID>C1</ControllerID><HostName>host</HostName><MacAddress>any text</MacAddress>"
    "<MajorVersion>5</MajorVersion><MinorVersion>15</MinorVersion><Revision>1</Revision>"
    "<KelAPICompatibilityRevision>2</KelAPICompatibilityRevision><CommPortNumber>5515</CommPortNumber>"
    "<ControllerLevel>BootLevel</ControllerLevel></ControllerIdentity>";

std::string Versions(const CtrlInfo& record) {
  const auto text = [](std::uint32_t number) {
    return number == kVersionUnknown ? "?" : std::to_string(number);
  };
  return text(record.versionMajor) + "." + text(record.versionMinor) + "." + text(record.versionRevision) +
         "." + text(record.kelAPICompatibilityRevision);
}

TEST(ControllerIdParserTest, TakesAllFourteenElements) {
  const ConfigFiles files;
  files.WriteControllers(kFull);
  FakeDebugOutput traces;
  CControllerIdParser parser(traces);
  std::vector<CtrlInfo> list;
  ASSERT_EQ(parser.Init(files.StaticFile()), S_OK);
  ASSERT_EQ(parser.GetInformation(list), S_OK);
  ASSERT_EQ(list.size(), 1U);
  const CtrlInfo& record = list.front();
  EXPECT_EQ(record.ctrlName, L"N\u00E4me");
  EXPECT_EQ(record.ctrlAddress, L"10.20.1.15");
  EXPECT_EQ(record.systemName, L"System");
  EXPECT_EQ(record.releasePath, L"/disk0");
  EXPECT_EQ(record.systemID, L"12-34567");
  EXPECT_EQ(record.ctrlID, L"C1");
  EXPECT_EQ(record.hostName, L"host");
  EXPECT_EQ(record.macAddress, L"any text");
  EXPECT_EQ(Versions(record), "5.15.1.2");
  EXPECT_EQ(record.commPortNumber, 5515U);
  EXPECT_EQ(record.ctrlLevel, BootLevel);
  EXPECT_EQ(record.ctrlType, RC);
  EXPECT_EQ(record.identificationType, StaticCtrlDefinition);
  EXPECT_EQ(record.ctrlStatus, CtrlUnavailable);
  EXPECT_EQ(record.lanSeekID, 0U);
  EXPECT_TRUE(traces.Messages().empty());
}

TEST(ControllerIdParserTest, SettlesVersionsAndLevels) {
  struct Case {
    const char* inside;
    const char* versions;
  };
  const Case cases[] = {
      {"", "?.?.?.?"},
      {"<MinorVersion>3</MinorVersion><Revision>2</Revision>", "?.?.?.?"},
      {"<MajorVersion>0</MajorVersion><MinorVersion>3</MinorVersion><Revision>2</Revision>", "?.?.?.?"},
      {"<MajorVersion>-1</MajorVersion><MinorVersion>3</MinorVersion><Revision>2</Revision>", "?.?.?.?"},
      {"<MajorVersion>6</MajorVersion><Revision>2</Revision>", "?.?.?.?"},
      {"<MajorVersion>6</MajorVersion><MinorVersion>1</MinorVersion>", "?.?.?.?"},
      {"<MajorVersion>6</MajorVersion><MinorVersion>0</MinorVersion><Revision>0</Revision>", "6.0.0.0"},
      {"<MajorVersion>6</MajorVersion><MinorVersion>1</MinorVersion><Revision>4</Revision>", "6.1.4.4"},
      {"<Revision>4</Revision><MinorVersion>1</MinorVersion><MajorVersion> 6.5</MajorVersion>"
       "<KelAPICompatibilityRevision/>",
       "6.1.4.0"},
      {"<MajorVersion>6</MajorVersion><MinorVersion>1</MinorVersion><Revision>4</Revision>"
       "<KelAPICompatibilityRevision>-1</KelAPICompatibilityRevision>",
       "6.1.4.?"},
      {"<MajorVersion>6</MajorVersion><MajorVersion>7</MajorVersion><MinorVersion>99999999999</MinorVersion>"
       "<Revision>x</Revision>",
       "6.2147483647.0.0"},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteControllers("<ControllerIdentity>" + std::string(c.inside) +
                           "<ControllerLevel>bootlevel</ControllerLevel></ControllerIdentity>");
    FakeDebugOutput traces;
    CControllerIdParser parser(traces);
    std::vector<CtrlInfo> list;
    ASSERT_EQ(parser.Init(files.StaticFile()), S_OK);
    ASSERT_EQ(parser.GetInformation(list), S_OK);
    ASSERT_EQ(list.size(), 1U) << "also without an address";
    EXPECT_EQ(Versions(list.front()), c.versions) << c.inside;
    EXPECT_EQ(list.front().ctrlLevel, SystemLevel);
  }
}

TEST(ControllerIdParserTest, RejectsAFileInItsOwnWords) {
  struct Case {
    std::string content;
    XmlFault fault;
    HRESULT result;
    Messages messages;
  };
  const std::wstring rejected = L"LanSeek. CControllerIdParser::Init. Static controller file rejected";
  const std::string good = kDeclaration + std::string("<ControllerIdentities/>");
  const Case cases[] = {
      {"<ControllerIdentities/>",
       {},
       E_FAIL,
       {L"LanSeek. CControllerIdParser::Init. Config file rejected. Failed to get encoding type."}},
      {"<?xml version='1.0' encoding='ISO-8859-15'?><ControllerIdentities/>",
       {},
       E_INVALIDARG,
       {rejected + L" due to invalid encoding type."}},
      {"", {}, E_INVALIDARG, {}},
      {good,
       {At::Encoding, L"", E_UNEXPECTED, Step::FirstChild},
       E_UNEXPECTED,
       {rejected + L". get_firstChild failed"}},
      {good,
       {At::Encoding, L"", E_UNEXPECTED, Step::Attributes},
       E_UNEXPECTED,
       {rejected + L". Attributes failure."}},
      {good,
       {At::Encoding, L"", E_UNEXPECTED, Step::EncodingAttribute},
       E_UNEXPECTED,
       {rejected + L". Failed to get encoding type."}},
      {good,
       {At::Encoding, L"", E_UNEXPECTED, Step::Text},
       E_INVALIDARG,
       {rejected + L" due to invalid encoding type."}},
      {good, {At::Create, L"", E_UNEXPECTED}, E_UNEXPECTED, {}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteStaticFile(c.content);
    FakeDebugOutput traces;
    CControllerIdParser parser(traces, FaultyDocuments(c.fault));
    EXPECT_EQ(parser.Init(files.StaticFile()), c.result) << c.content;
    EXPECT_EQ(traces.Messages(), c.messages) << c.content;
    std::vector<CtrlInfo> list;
    EXPECT_EQ(parser.GetInformation(list), E_FAIL);
  }
}

TEST(ControllerIdParserTest, AnotherRootIsAnEmptyList) {
  const ConfigFiles files;
  files.WriteStaticFile(kDeclaration + std::string("<Identities>") + kFull + "</Identities>");
  FakeDebugOutput traces;
  CControllerIdParser parser(traces);
  std::vector<CtrlInfo> list;
  ASSERT_EQ(parser.Init(files.StaticFile()), S_OK);
  EXPECT_EQ(parser.GetInformation(list), S_FALSE);
  EXPECT_TRUE(list.empty());
  EXPECT_TRUE(traces.Messages().empty());
}

TEST(ControllerIdParserTest, GoesOnAfterAFailureAsFarAsItCan) {
  struct Case {
    XmlFault fault;
    HRESULT result;
    std::size_t records;
    Messages messages;
  };
  const std::wstring read = L"LanSeek. CControllerIdParser::GetInformation. ";
  const Case cases[] = {
      {{At::Root, L"ControllerIdentities"},
       E_FAIL,
       0,
       {read + L"raw_selectSingleNode ControllerIdentities failed"}},
      {{At::SelectAll, L"ControllerIdentity"},
       E_FAIL,
       0,
       {read + L"Failed to get static controllers. raw_selectNodes ControllerIdentity failed"}},
      {{At::Item, L"ControllerIdentity"},
       E_FAIL,
       0,
       {read + L"Failed to get static controller. get_item failed"}},
      {{At::Select, L"SystemName"}, S_OK, 1, {read + L"raw_selectSingleNode SystemName failed"}},
      {{At::Select, L"HostName"},
       S_OK,
       1,
       {L"CControllerIdParser::GetInformation. raw_selectSingleNode HostName failed"}},
      {{At::Text, L"HostName"}, S_OK, 1, {read + L"get_text HostName failed"}},
      {{At::Select, L"ControllerLevel"}, E_FAIL, 1, {read + L"raw_selectSingleNode ControllerLevel failed"}},
      {{At::Text, L"ControllerLevel"}, E_FAIL, 1, {read + L"get_text ControllerLevel failed"}},
      {{At::Text, L"SystemName", E_OUTOFMEMORY}, E_FAIL, 0, {}},
  };
  const ConfigFiles files;
  files.WriteControllers(kFull);
  for (const Case& c : cases) {
    const std::string what(c.fault.name.begin(), c.fault.name.end());
    FakeDebugOutput traces;
    CControllerIdParser parser(traces, FaultyDocuments(c.fault));
    std::vector<CtrlInfo> list;
    ASSERT_EQ(parser.Init(files.StaticFile()), S_OK) << what;
    EXPECT_EQ(parser.GetInformation(list), c.result) << what;
    EXPECT_EQ(list.size(), c.records) << what;
    EXPECT_EQ(traces.Messages(), c.messages) << what;
  }
}

TEST(ControllerIdParserTest, AFailedLookUpOfTheCompatibilityRevisionIsNotAMissingOne) {
  const ConfigFiles files;
  files.WriteControllers(kFull);
  FakeDebugOutput traces;
  const XmlFault fault{At::Select, L"KelAPICompatibilityRevision"};
  CControllerIdParser parser(traces, FaultyDocuments(fault));
  std::vector<CtrlInfo> list;
  ASSERT_EQ(parser.Init(files.StaticFile()), S_OK);
  ASSERT_EQ(parser.GetInformation(list), S_OK);
  EXPECT_EQ(Versions(list.front()), "5.15.1.?");
}

}  // namespace
}  // namespace kellanseek::test

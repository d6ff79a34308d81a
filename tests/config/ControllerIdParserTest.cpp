#include "config/ControllerIdParser.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/config/ConfigFiles.h"
#include "tests/config/FaultyXml.h"
#include "tests/support/FakeDebugOutput.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;

using At = XmlFault::At;
using Step = platform::XmlDocument::EncodingStep;
using Messages = std::vector<std::wstring>;

const std::string kFull = ControllerIdentity(
    "ControllerName=N\xE4me;ControllerLocAddr=10.20.1.15;SystemName=System;ReleasePath=/disk0;"
    "SystemIdentity=12-34567;ControllerID=C1;HostName=host;MacAddress=any "
    "text;MajorVersion=5;MinorVersion=15;"
    "Revision=1;KelAPICompatibilityRevision=2;CommPortNumber=5515;ControllerLevel=BootLevel");

/// The results and traces of parsing a file.
struct Parsed {
  explicit Parsed(const ConfigFiles& files, const XmlFault& fault = {}) {
    FakeDebugOutput traces;
    config::CControllerIdParser parser(traces, FaultyDocuments(fault));
    opened = parser.Init(files.StaticFile());
    saidOpening = traces.Messages();
    read = parser.GetInformation(list);
    said = traces.Messages();
  }

  HRESULT opened = E_FAIL;
  HRESULT read = E_FAIL;
  std::vector<CtrlInfo> list;
  Messages saidOpening, said;
};

std::string Versions(const CtrlInfo& record) {
  const auto text = [](std::uint32_t number) {
    return number == controllers::kVersionUnknown ? "?" : std::to_string(number);
  };
  return text(record.versionMajor) + "." + text(record.versionMinor) + "." + text(record.versionRevision) +
         "." + text(record.kelAPICompatibilityRevision);
}

TEST(ControllerIdParserTest, ReadsAllFourteenElements) {
  const ConfigFiles files;
  files.WriteControllers(kFull);
  const Parsed parsed(files);
  ASSERT_EQ(parsed.opened, S_OK);
  ASSERT_EQ(parsed.read, S_OK);
  ASSERT_EQ(parsed.list.size(), 1U);
  const CtrlInfo& record = parsed.list.front();
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
  EXPECT_TRUE(parsed.said.empty());
}

TEST(ControllerIdParserTest, AppliesTheRulesForVersionsAndLevels) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "?.?.?.?"},
      {"MinorVersion=3;Revision=2", "?.?.?.?"},
      {"MajorVersion=0;MinorVersion=3;Revision=2", "?.?.?.?"},
      {"MajorVersion=-1;MinorVersion=3;Revision=2", "?.?.?.?"},
      {"MajorVersion=6;Revision=2", "?.?.?.?"},
      {"MajorVersion=6;MinorVersion=1", "?.?.?.?"},
      {"MajorVersion=6;MinorVersion=0;Revision=0", "6.0.0.0"},
      {"MajorVersion=6;MinorVersion=1;Revision=4", "6.1.4.4"},
      {"Revision=4;MinorVersion=1;MajorVersion= 6.5;KelAPICompatibilityRevision", "6.1.4.0"},
      {"MajorVersion=6;MinorVersion=1;Revision=4;KelAPICompatibilityRevision=-1", "6.1.4.?"},
      {"MajorVersion=6;MajorVersion=7;MinorVersion=99999999999;Revision=x", "6.2147483647.0.0"},
  };
  for (const auto& [elements, versions] : cases) {
    const ConfigFiles files;
    files.WriteControllers(ControllerIdentity("ControllerLevel=bootlevel;" + std::string(elements)));
    const Parsed parsed(files);
    ASSERT_EQ(parsed.opened, S_OK);
    ASSERT_EQ(parsed.read, S_OK);
    ASSERT_EQ(parsed.list.size(), 1U) << "also without an address";
    EXPECT_EQ(Versions(parsed.list.front()), versions) << elements;
    EXPECT_EQ(parsed.list.front().ctrlLevel, SystemLevel);
  }
}

TEST(ControllerIdParserTest, TracesRejectionsWithItsOwnMessages) {
  struct Case {
    std::string content;
    XmlFault fault;
    HRESULT result;
    Messages messages;
  };
  const std::wstring rejected = L"LanSeek. CControllerIdParser::Init. Static controller file rejected";
  const std::string good = kDeclaration + std::string("<ControllerIdentities/>");
  const auto stepFails = [](Step step) { return XmlFault{At::Encoding, L"", E_UNEXPECTED, step}; };
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
      {good, stepFails(Step::FirstChild), E_UNEXPECTED, {rejected + L". get_firstChild failed"}},
      {good, stepFails(Step::Attributes), E_UNEXPECTED, {rejected + L". Attributes failure."}},
      {good,
       stepFails(Step::EncodingAttribute),
       E_UNEXPECTED,
       {rejected + L". Failed to get encoding type."}},
      {good, stepFails(Step::Text), E_INVALIDARG, {rejected + L" due to invalid encoding type."}},
      {good, {At::Create, L"", E_UNEXPECTED}, E_UNEXPECTED, {}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteStaticFile(c.content);
    const Parsed parsed(files, c.fault);
    EXPECT_EQ(parsed.opened, c.result) << c.content;
    EXPECT_EQ(parsed.saidOpening, c.messages) << c.content;
    EXPECT_EQ(parsed.read, E_FAIL);
  }
}

TEST(ControllerIdParserTest, AnotherRootElementYieldsAnEmptyList) {
  const ConfigFiles files;
  files.WriteStaticFile(kDeclaration + In("Identities", kFull));
  const Parsed parsed(files);
  ASSERT_EQ(parsed.opened, S_OK);
  EXPECT_EQ(parsed.read, S_FALSE);
  EXPECT_TRUE(parsed.list.empty());
  EXPECT_TRUE(parsed.said.empty());
}

TEST(ControllerIdParserTest, ContinuesAfterFailuresWherePossible) {
  struct Case {
    XmlFault fault;
    HRESULT result;
    const char* versions;  ///< Of the resulting record; null if there is none.
    Messages messages;
  };
  const char* const all = "5.15.1.2";
  const std::wstring read = L"LanSeek. CControllerIdParser::GetInformation. ";
  const std::wstring single = read + L"raw_selectSingleNode ";
  const Case cases[] = {
      {{At::Root, L"ControllerIdentities"}, E_FAIL, nullptr, {single + L"ControllerIdentities failed"}},
      {{At::SelectAll, L"ControllerIdentity"},
       E_FAIL,
       nullptr,
       {read + L"Failed to get static controllers. raw_selectNodes ControllerIdentity failed"}},
      {{At::Item, L"ControllerIdentity"},
       E_FAIL,
       nullptr,
       {read + L"Failed to get static controller. get_item failed"}},
      {{At::Select, L"SystemName"}, S_OK, all, {single + L"SystemName failed"}},
      {{At::Select, L"HostName"},
       S_OK,
       all,
       {L"CControllerIdParser::GetInformation. raw_selectSingleNode HostName failed"}},
      {{At::Text, L"HostName"}, S_OK, all, {read + L"get_text HostName failed"}},
      {{At::Select, L"ControllerLevel"}, E_FAIL, all, {single + L"ControllerLevel failed"}},
      {{At::Text, L"ControllerLevel"}, E_FAIL, all, {read + L"get_text ControllerLevel failed"}},
      {{At::Text, L"SystemName", E_OUTOFMEMORY}, E_FAIL, nullptr, {}},
      // A failed look-up must not count as an absent element.
      {{At::Select, L"KelAPICompatibilityRevision"},
       S_OK,
       "5.15.1.?",
       {single + L"KelAPICompatibilityRevision failed"}},
  };
  const ConfigFiles files;
  files.WriteControllers(kFull);
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.fault.name.begin(), c.fault.name.end()));
    const Parsed parsed(files, c.fault);
    ASSERT_EQ(parsed.opened, S_OK);
    EXPECT_EQ(parsed.read, c.result);
    EXPECT_EQ(parsed.said, c.messages);
    ASSERT_EQ(parsed.list.size(), c.versions == nullptr ? 0U : 1U);
    if (c.versions != nullptr) {
      EXPECT_EQ(Versions(parsed.list.front()), c.versions);
    }
  }
}

}  // namespace
}  // namespace kellanseek::test

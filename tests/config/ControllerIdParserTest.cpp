#include "config/ControllerIdParser.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/config/ConfigFiles.h"
#include "tests/config/FaultyXml.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;

using At = XmlFault::At;
using Step = platform::XmlDocument::EncodingStep;

const std::string kFull = ControllerIdentity(
    "ControllerName=N\xE4me;ControllerLocAddr=10.20.1.15;SystemName=System;ReleasePath=/disk0;"
    "SystemIdentity=12-34567;ControllerID=C1;HostName=host;MacAddress=any "
    "text;MajorVersion=5;MinorVersion=15;"
    "Revision=1;KelAPICompatibilityRevision=2;CommPortNumber=5515;ControllerLevel=BootLevel");

/// The results and traces of parsing a file.
struct Parsed : config::ReadListener {
  explicit Parsed(const ConfigFiles& files, const XmlFault& fault = {}) {
    FakeDebugOutput traces;
    config::CControllerIdParser parser(traces, FaultyDocuments(fault), *this);
    opened = parser.Init(files.StaticFile());
    saidOpening = Said(traces);
    read = parser.GetInformation(list);
    said = Said(traces);
  }
  void NotLoaded(const std::wstring&) override { notLoaded = true; }

  bool notLoaded = false;
  HRESULT opened = E_FAIL;
  HRESULT read = E_FAIL;
  std::vector<CtrlInfo> list;
  std::wstring saidOpening, said;
};

std::string Versions(const CtrlInfo& record) {
  const auto text = [](std::uint32_t number) {
    return number == controllers::kVersionUnknown ? "?" : std::to_string(number);
  };
  return text(record.versionMajor) + "." + text(record.versionMinor) + "." + text(record.versionRevision) +
         "." + text(record.kelAPICompatibilityRevision);
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
    std::wstring said;
  };
  const std::wstring init = L"LanSeek. CControllerIdParser::Init. ";
  const std::wstring rejected = init + L"Static controller file rejected";
  const std::wstring unread = rejected + L". Failed to get encoding type.";
  const std::wstring invalid = rejected + L" due to invalid encoding type.";
  const std::string good = kDeclaration + std::string("<ControllerIdentities/>");
  const auto fails = [](Step step) { return XmlFault{At::Encoding, L"", E_UNEXPECTED, step}; };
  const Case cases[] = {
      {"<ControllerIdentities/>", {}, E_FAIL, init + L"Config file rejected. Failed to get encoding type."},
      {"<?xml version='1.0' encoding='ISO-8859-15'?><ControllerIdentities/>", {}, E_INVALIDARG, invalid},
      {"", {}, E_INVALIDARG, L""},
      {good, fails(Step::FirstChild), E_UNEXPECTED, rejected + L". get_firstChild failed"},
      {good, fails(Step::Attributes), E_UNEXPECTED, rejected + L". Attributes failure."},
      {good, fails(Step::EncodingAttribute), E_UNEXPECTED, unread},
      {good, fails(Step::Text), E_INVALIDARG, invalid},
      {good, {At::Create, L"", E_UNEXPECTED}, E_UNEXPECTED, L""},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteStaticFile(c.content);
    const Parsed parsed(files, c.fault);
    EXPECT_EQ(parsed.opened, c.result) << c.content;
    EXPECT_EQ(parsed.saidOpening, c.said) << c.content;
    EXPECT_EQ(parsed.notLoaded, c.said.empty()) << c.content;
    EXPECT_EQ(parsed.read, E_FAIL);
  }
}

TEST(ControllerIdParserTest, ContinuesAfterFailuresWherePossible) {
  struct Case {
    XmlFault fault;
    HRESULT result;
    const char* versions;                   ///< Of the resulting record; null if there is none.
    std::optional<std::wstring> said = {};  ///< Where it is not the usual message.
  };
  const char* const all = "5.15.1.2";
  const std::wstring read = L"LanSeek. CControllerIdParser::GetInformation. ";
  const std::wstring noList =
      read + L"Failed to get static controllers. raw_selectNodes ControllerIdentity failed";
  const std::wstring noItem = read + L"Failed to get static controller. get_item failed";
  const std::wstring noHost = L"CControllerIdParser::GetInformation. raw_selectSingleNode HostName failed";
  const Case cases[] = {
      {{At::Root, L"ControllerIdentities"}, E_FAIL, nullptr},
      {{At::SelectAll, L"ControllerIdentity"}, E_FAIL, nullptr, noList},
      {{At::Item, L"ControllerIdentity"}, E_FAIL, nullptr, noItem},
      {{At::Select, L"SystemName"}, S_OK, all},
      {{At::Select, L"HostName"}, S_OK, all, noHost},
      {{At::Text, L"HostName"}, S_OK, all},
      {{At::Select, L"ControllerLevel"}, E_FAIL, all},
      {{At::Text, L"ControllerLevel"}, E_FAIL, all},
      {{At::Text, L"SystemName", E_OUTOFMEMORY}, E_FAIL, nullptr, L""},
      // A failed look-up must not count as an absent element.
      {{At::Select, L"KelAPICompatibilityRevision"}, S_OK, "5.15.1.?"},
  };
  const ConfigFiles files;
  files.WriteControllers(kFull);
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.fault.name.begin(), c.fault.name.end()));
    const Parsed parsed(files, c.fault);
    ASSERT_EQ(parsed.opened, S_OK);
    EXPECT_EQ(parsed.read, c.result);
    EXPECT_EQ(parsed.said, c.said.value_or(Usual(read, c.fault)));
    ASSERT_EQ(parsed.list.size(), c.versions == nullptr ? 0U : 1U);
    if (c.versions != nullptr) {
      EXPECT_EQ(Versions(parsed.list.front()), c.versions);
    }
  }
}

}  // namespace
}  // namespace kellanseek::test

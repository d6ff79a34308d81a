#include "configcheck/ConfigCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "config/Configuration.h"
#include "config/HostNetworks.h"
#include "configcheck/DefaultConfiguration.h"
#include "configcheck/NearName.h"
#include "platform/CodePage.h"
#include "tests/config/ConfigFiles.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeNetworkAddresses.h"
#include "tests/support/Wine.h"

namespace kellanseek::test {
namespace {

using config::CKelLanSeekConfigSettings;

using configcheck::CheckConfiguration;
using configcheck::ConfigReport;

/// "file:line: text" of every finding.
std::vector<std::string> Findings(const ConfigReport& report) {
  std::vector<std::string> findings;
  for (const configcheck::ConfigRemark& each : report.remarks) {
    if (!each.finding) continue;
    const std::wstring name = each.file.substr(each.file.find_last_of(L"/\\") + 1);
    findings.push_back(platform::ToNarrow(name) + ":" + std::to_string(each.line) + ": " +
                       platform::ToNarrow(each.text));
  }
  return findings;
}

/// Matches the findings with the expected ones, "LINE: WORDS": a finding on that line that contains the
/// words.
::testing::AssertionResult AreThese(const std::vector<std::string>& findings, const std::string& file,
                                    const std::vector<std::string>& expected) {
  const auto matches = [&](const std::string& finding, const std::string& pattern) {
    const std::size_t words = pattern.find(' ') + 1;
    return finding.starts_with(file + ":" + pattern.substr(0, words)) &&
           finding.find(pattern.substr(words)) != std::string::npos;
  };
  if (std::equal(findings.begin(), findings.end(), expected.begin(), expected.end(), matches)) {
    return ::testing::AssertionSuccess();
  }
  auto failure = ::testing::AssertionFailure() << "found:\n";
  for (const std::string& each : findings) failure << "  " << each << "\n";
  return failure;
}

const std::string kScanFile = "lanseekconf.xml";
const std::string kStaticFile = "controllerid.xml";

/// Every finding must name its element.
void ExpectElementsNamed(const std::vector<std::string>& findings) {
  static const std::regex element("Element \"|[A-Z][a-z]+[A-Z]|Retries|IPNumber");
  for (const std::string& each : findings) EXPECT_TRUE(std::regex_search(each, element)) << each;
}

/// The networks of a host with these addresses, each with the mask 255.0.0.0; its loopback is none of them.
std::vector<platform::AddressRow> Host(const std::vector<std::string_view>& addresses) {
  FakeNetworkAddresses host;
  host.AddInterface(1, {});
  platform::InterfaceRow loopback;
  loopback.adminStatus = platform::kInterfaceUp;
  loopback.type = platform::kLoopbackInterface;
  host.SetInterface(2, loopback);
  host.AddAddress(2, "9.0.0.1", "255.0.0.0");
  for (const auto each : addresses) host.AddAddress(1, each, "255.0.0.0");
  return config::UsableNetworks(host);
}

/// Expects these findings for a scan file with `inside` below its root, from line 2, on a host with these
/// addresses.
void ExpectOnHost(const char* what, const std::string& inside, const std::vector<std::string_view>& addresses,
                  const std::vector<std::string>& findings) {
  const ConfigFiles files;
  files.WriteSettings(inside);
  const ConfigReport report = CheckConfiguration(files.Directory().Wide(), Host(addresses));
  EXPECT_TRUE(AreThese(Findings(report), kScanFile, findings)) << what;
  ExpectElementsNamed(Findings(report));
  EXPECT_EQ(report.Clean(), findings.empty()) << what;
  EXPECT_FALSE(report.unreadable) << what;
}

void ExpectInScanFile(const char* what, const std::string& inside, const std::vector<std::string>& findings) {
  ExpectOnHost(what, inside, {}, findings);
}

TEST(ConfigCheckTest, ReportsScanFileElementsWithoutTheIntendedEffect) {
  const auto expect = ExpectInScanFile;
  const auto numbers = CommunicationSettings;
  expect("nothing", "", {});
  expect("misspelt", numbers("RequestPrt=1;retries=2;Colour=red"),
         {"5: \"Colour\" is unknown here and is ignored.", "3: Did you mean \"RequestPort\"?",
          "4: Did you mean \"Retries\"?"});
  expect("at another place", Elements("Retries=1"), {"2: It belongs elsewhere"});
  expect("misspelt at another place", Elements("Retrys=1"),
         {"2: Did you mean \"Retries\", which belongs elsewhere"});
  expect("twice", numbers("Retries=1;Retries=2"), {"4: only the first counts"});
  expect("an element in a text", numbers("Retries=1<b>2</b>"), {"3: \"b\", whose text is read as part"});
  expect("the same ports", numbers("RequestPort=5513"), {"2: cannot be told apart"});
  expect("swapped ports", numbers("RequestPort=5513;ResponsePort=5512"),
         {"2: look swapped: 5513, 5512 and 5514 are"});
  expect("numbers that are read as others",
         numbers("RequestPort=0x1588;ResponsePort=70000;NonLocalUpdatesEnabled=true;Retries;"
                 "NonLocalRetries=99999999999"),
         {"3: RequestPort is \"0x1588\", which is not a plain 32-bit decimal number; it is read as 0.",
          "4: ResponsePort is 70000, which is not a valid port; sockets use its low 16 bits, 4464",
          "5: \"true\", which is not a plain 32-bit decimal number; it is read as 0. This switches it off",
          "6: Retries is empty and is read as 0.", "7: is read as 2147483647"});
  expect("flag as another number", Elements("DetectInterfaceChanges=5"), {"2: counts as 1"});
  expect("negative", numbers("RefreshInterval=-1;NonLocalRefreshInterval=-1;RefreshTimeout=-1;Retries=-1"),
         {"3: no refresh is ever broadcast", "4: not asked periodically",
          "5: not asked again and are never lost", "6: for ever and are never lost"});
  expect("out of range", numbers("RefreshInterval=0;NonLocalRefreshInterval=86401;RefreshTimeout=0"),
         {"3: counts as 1 second", "4: outside the sensible range (1 to 86400)", "5: no time to answer"});
  expect("the least",
         numbers("RefreshInterval=1;NonLocalRefreshInterval=1;RefreshTimeout=1;NonLocalRefreshTimeout=1;"
                 "Retries=0;NonLocalRetries=0"),
         {});
  expect("too long", numbers("RefreshTimeout=61"),
         {"3: outside the sensible range (1 to 60)", "2: RefreshTimeout is longer"});
  expect("another kind", Elements("FakeRemoteVCAs=rc"), {"2: exactly \"RC\""});
}

TEST(ConfigCheckTest, ReportsIneffectiveInterfaceSelections) {
  const auto expect = ExpectInScanFile;
  const std::string ten = SubNet("10.0.0.0", "255.0.0.0");
  expect("both selections", In("UseInterfaces", SubNet("x", "y")) + In("ExcludeInterfaces", ten),
         {"2: UseInterfaces is ignored"});
  expect("bad subnets", In("UseInterfaces", SubNet("10.0.0.999", "255.0.0.0") + Elements("SubNet")),
         {"3: SubNet with IPNumber", "7: SubNet has no IPNumber", "2: switches broadcast discovery off"});
  expect("mask with a gap", In("ExcludeInterfaces", SubNet("10.0.0.0", "255.0.255.0")), {"3: has a gap"});
  expect("octal address", In("ExcludeInterfaces", SubNet("010.0.0.0", "255.0.0.0")),
         {"3: which means 8.0.0.0"});
  for (const char* list : {"UseInterfaces", "ExcludeInterfaces"})
    expect(list, In(list, ten) + In(list, ten), {"8: appears more than once; only the first counts"});
  ExpectOnHost("selection without discovery",
               CommunicationSettings("DynamicDetectionEnabled=0") + In("UseInterfaces", ten), {"10.1.1.1"},
               {"5: has no effect because DynamicDetectionEnabled is 0"});
}

TEST(ConfigCheckTest, ComparesInterfaceListsWithTheHost) {
  const auto expect = [](const char* list, const std::vector<std::string_view>& addresses,
                         const std::vector<std::string>& findings) {
    ExpectOnHost(list, In(list, SubNet("10.0.0.0", "255.0.0.0")), addresses, findings);
  };
  const char* const use = "UseInterfaces";
  const char* const exclude = "ExcludeInterfaces";
  expect(use, {"10.0.0.1", "10.0.0.2"}, {});
  expect(use, {"11.0.0.1", "10.0.0.1"}, {});
  expect(use, {"11.0.0.1", "12.0.0.1"},
         {"2: UseInterfaces matches no network of this host, so broadcast discovery finds nothing here. This "
          "host "
          "has 11.0.0.1 with mask 255.0.0.0, 12.0.0.1 with mask 255.0.0.0."});
  expect(exclude, {"11.0.0.1", "10.0.0.1"}, {});
  expect(exclude, {"10.0.0.1", "10.0.0.2"},
         {"2: excludes every network of this host, so broadcast discovery finds nothing"});
  expect(exclude, {"11.0.0.1"}, {"2: matches no network of this host, so it excludes none. This host has"});
}

/// Expects these findings for a static controller file with `inside` below its root, from line 2.
void ExpectInStaticFile(const char* what, bool complete, const std::string& inside,
                        const std::vector<std::string>& expected) {
  const ConfigFiles files;
  files.WriteControllers(inside);
  if (complete) files.WriteSettings(NothingAsked());
  const auto findings = Findings(CheckConfiguration(files.Directory().Wide()));
  EXPECT_TRUE(AreThese(findings, kStaticFile, expected)) << what;
  ExpectElementsNamed(findings);

  // The component must drop exactly the controllers reported as dropped.
  FakeDebugOutput traces;
  CKelLanSeekConfigSettings settings;
  config::LoadConfiguration(files.Directory().Wide(), settings, {traces, L"KelLanSeekImpl"});
  const auto dropped = std::count_if(findings.begin(), findings.end(), [](const std::string& each) {
    return each.find("is dropped") != std::string::npos;
  });
  EXPECT_EQ(traces.Messages().size(), static_cast<std::size_t>(dropped)) << what;
}

TEST(ConfigCheckTest, ReportsWhyStaticControllersAreDropped) {
  const auto expect = ExpectInStaticFile;
  const auto at = [](const std::string& address, const std::string& more = "") {
    return ControllerIdentity("ControllerLocAddr=" + address + ";" + more);
  };
  const std::string whole = "SystemIdentity=S;MajorVersion=6;MinorVersion=0;Revision=1";
  expect("nothing", false, "", {});
  expect("good", true, at("10.0.0.1", whole), {});
  expect("no address", false, ControllerIdentity(""), {"2: it has no ControllerLocAddr"});
  expect("no such address", false, at("plc7"), {"2: \"plc7\" is not an IPv4 address"});
  expect("the same address", false, at("10.0.0.1") + at("10.0.0.1"),
         {"5: the controller of line 2 has the same ControllerLocAddr"});
  expect("the same address in other words", false, at("10.0.0.1") + at("10.1"),
         {"5: means 10.0.0.1", "5: has the ControllerLocAddr of the controller of line 2"});
  expect("an address for many", false, at("224.0.0.1"), {"2: ControllerLocAddr that no controller can have"});
  expect("incomplete", true, at("10.0.0.1") + at("10.0.0.2", "SystemIdentity=S"),
         {"2: it has no SystemIdentity", "5: it has no version (MajorVersion, "});
  expect("the same system", true, at("10.0.0.1", whole) + at("10.0.0.2", whole),
         {"9: the controller of line 2 has the same SystemIdentity"});
  expect("half a version", false, at("10.0.0.1", "MajorVersion=6"), {"2: The version counts as unknown"});
  expect("odd elements", false, at("10.0.0.1", "ControllerLevel=boot;CommPortNumber=99999;SystemNam=x"),
         {"6: Did you mean \"SystemName\"?", "5: not a valid port", "4: counts as \"SystemLevel\""});
  expect("elements of a controller outside of one", false, Elements("SystemName=x"),
         {"2: belongs elsewhere"});
}

TEST(ConfigCheckTest, AListWithoutAValidNetworkMeansThatControllersNeedAnIdentity) {
  const ConfigFiles files;
  files.WriteSettings(In("CommunicationSettings", In("NonLocalUpdatesEnabled", "0")) +
                      In("UseInterfaces", In("SubNet", In("IPNumber", "nonsense"))));
  files.WriteControllers(ControllerIdentity("ControllerLocAddr=10.0.0.1"));
  const auto findings = Findings(CheckConfiguration(files.Directory().Wide(), {}));
  EXPECT_TRUE(AreThese({findings.back()}, kStaticFile, {"2: it has no SystemIdentity"}));
}

TEST(ConfigCheckTest, WhiteSpaceAroundTextIsIgnored) {
  const ConfigFiles files;
  files.WriteControllers(ControllerIdentity("ControllerLocAddr=\n  10.0.0.1\n"));
  files.WriteSettings(In("UseInterfaces", SubNet("192.168.1.0 ", "\n255.255.255.0")));
  FakeDebugOutput traces;
  CKelLanSeekConfigSettings settings;
  const auto accepted =
      config::LoadConfiguration(files.Directory().Wide(), settings, {traces, L"KelLanSeekImpl"});
  ASSERT_EQ(accepted.size(), 1U);
  EXPECT_EQ(accepted.front().ctrlAddress, L"10.0.0.1");
  EXPECT_EQ(settings.DynamicDetectionEnabled, 1);
  EXPECT_EQ(settings.SubNets.size(), 1U);
  const ConfigReport report = CheckConfiguration(files.Directory().Wide());
  EXPECT_TRUE(Findings(report).empty());
  EXPECT_TRUE(std::any_of(report.remarks.begin(), report.remarks.end(), [](const auto& remark) {
    return remark.line == 2 && remark.text.find(L" is accepted.") != std::wstring::npos;
  }));
}

TEST(ConfigCheckTest, DistinguishesRejectedFromUnreadableFiles) {
  struct Case {
    std::string content;
    bool unreadable;
    std::vector<std::string> findings;
  };
  // Wine's parser does not report the line of an error.
  const std::string where = UnderWine() ? "cannot be read" : "line 2";
  const Case cases[] = {
      {"<KelLanSeekConfigurations/>", false, {"1: does not begin with a declaration"}},
      {"<?xml version='1.0' encoding='UTF-8'?><a/>", false, {"1: the encoding \"UTF-8\""}},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><a/>", false, {"0: document element"}},
      {"<?xml version='1.0' encoding='ISO-8859-1'?>\n<a>", true, {"0: " + where}},
      {"", true, {"0: cannot be read"}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteScanFile(c.content);
    const ConfigReport report = CheckConfiguration(files.Directory().Wide());
    EXPECT_TRUE(AreThese(Findings(report), kScanFile, c.findings)) << c.content;
    EXPECT_EQ(report.unreadable, c.unreadable) << c.content;
  }
  const ScratchDirectory empty;
  EXPECT_TRUE(CheckConfiguration(empty.Wide()).Clean()) << "both files are optional";
  EXPECT_TRUE(CheckConfiguration(empty.WideFile("missing")).unreadable);
  empty.Write("file", "");
  EXPECT_TRUE(CheckConfiguration(empty.WideFile("file")).unreadable);
}

TEST(ConfigCheckTest, ListsAtMostAHundredUnknownNames) {
  std::string inside;
  for (int i = 1000; i < 3000; ++i) inside += "<Extra" + std::to_string(i) + "/>\n";
  const ConfigFiles files;
  files.WriteSettings(inside + Elements("Extra1000"));
  const std::vector<std::string> findings = Findings(CheckConfiguration(files.Directory().Wide()));
  ASSERT_EQ(findings.size(), 102U);
  EXPECT_NE(findings[1].find("\"Extra1000\" is unknown here"), std::string::npos) << findings[1];
  EXPECT_NE(findings.back().find("1900 more element names in \"KelLanSeekConfigurations\""),
            std::string::npos)
      << findings.back();
}

TEST(ConfigCheckTest, DefaultFilesSetDefaultsAndNeverOverwrite) {
  const ScratchDirectory scratch;
  std::wstring error;
  ASSERT_TRUE(configcheck::WriteDefaultConfiguration(scratch.Wide(), error));
  EXPECT_TRUE(CheckConfiguration(scratch.Wide()).Clean());
  FakeDebugOutput traces;
  CKelLanSeekConfigSettings settings;
  EXPECT_TRUE(config::LoadConfiguration(scratch.Wide(), settings, {traces, L"KelLanSeekImpl"}).empty());
  EXPECT_EQ(Differences(settings), "");
  EXPECT_TRUE(traces.Messages().empty());

  scratch.Write("lanseekconf.xml", "mine");
  EXPECT_FALSE(configcheck::WriteDefaultConfiguration(scratch.Wide(), error));
  EXPECT_NE(error.find(L"already exists"), std::wstring::npos);
  EXPECT_EQ(scratch.Read("lanseekconf.xml"), "mine");
  EXPECT_TRUE(configcheck::WriteDefaultConfiguration(scratch.WideFile("missing/below"), error));
  EXPECT_EQ(scratch.Read("missing/below/lanseekconf.xml"), configcheck::DefaultScanConfiguration());
  EXPECT_FALSE(configcheck::WriteDefaultConfiguration(scratch.WideFile("lanseekconf.xml/below"), error));
  EXPECT_NE(error.find(L"below was not created: "), std::wstring::npos) << platform::ToNarrow(error);
}

TEST(ConfigCheckTest, SuggestsTheNearestName) {
  const std::vector<std::wstring_view> names = {L"RequestPort", L"ResponsePort", L"Retries",
                                                L"RefreshInterval"};
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"requestport", L"RequestPort"},
                                                             {L"ReqeustPort", L"RequestPort"},
                                                             {L"ResponsePrt", L"ResponsePort"},
                                                             {L"Retrys", L"Retries"},
                                                             {L"RefreshIntervall", L"RefreshInterval"},
                                                             {L"Port", L""},
                                                             {L"Colour", L""},
                                                             {L"", L""},
                                                             {L"x", L""}};
  for (const auto& [name, meant] : cases) EXPECT_EQ(configcheck::NearName(name, names), meant);
}

}  // namespace
}  // namespace kellanseek::test

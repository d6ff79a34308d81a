#include "config/ConfigCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "config/Configuration.h"
#include "config/NearName.h"
#include "platform/CodePage.h"
#include "tests/config/ConfigFiles.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/Wine.h"

namespace kellanseek::test {
namespace {

using config::CheckConfiguration;
using config::ConfigReport;

/// "file:line: text" of every finding.
std::vector<std::string> Findings(const ConfigReport& report) {
  std::vector<std::string> findings;
  for (const config::ConfigRemark& each : report.remarks) {
    if (!each.finding) continue;
    const std::wstring name = each.file.substr(each.file.find_last_of(L"/\\") + 1);
    findings.push_back(platform::ToNarrow(name) + ":" + std::to_string(each.line) + ": " +
                       platform::ToNarrow(each.text));
  }
  return findings;
}

/// Whether each finding is the expected one: the same place, and the words somewhere in it. A "|" parts the
/// two.
::testing::AssertionResult AreThese(const std::vector<std::string>& findings,
                                    const std::vector<std::string>& expected) {
  const auto matches = [](const std::string& finding, const std::string& pattern) {
    const std::size_t bar = pattern.find('|');
    return finding.starts_with(pattern.substr(0, bar)) &&
           finding.find(pattern.substr(bar + 1)) != std::string::npos;
  };
  if (std::equal(findings.begin(), findings.end(), expected.begin(), expected.end(), matches)) {
    return ::testing::AssertionSuccess();
  }
  auto failure = ::testing::AssertionFailure() << "found:\n";
  for (const std::string& each : findings) failure << "  " << each << "\n";
  return failure;
}

std::string In(const std::string& container, const std::string& inside) {
  return "<" + container + ">\n" + inside + "\n</" + container + ">\n";
}

std::string SubNet(const std::string& address, const std::string& mask) {
  return In("SubNet", "<IPNumber>" + address + "</IPNumber>\n<SubNetMask>" + mask + "</SubNetMask>");
}

TEST(ConfigCheckTest, FindsWhatTheScanFileDoesNotMean) {
  struct Case {
    const char* what;
    std::string inside;  ///< Begins on line 2, behind the root.
    std::vector<std::string> findings;
  };
  const std::string file = "lanseekconf.xml:";
  const auto numbers = [](const std::string& inside) { return In("CommunicationSettings", inside); };
  const Case cases[] = {
      {"nothing", "", {}},
      {"misspelt",
       numbers("<RequestPrt>1</RequestPrt>\n<retries>2</retries>\n<Colour>red</Colour>"),
       {file + "5: |\"Colour\" is not known here and is ignored.", file + "3: |Did you mean \"RequestPort\"?",
        file + "4: |Did you mean \"Retries\"?"}},
      {"at another place", "<Retries>1</Retries>", {file + "2: |It belongs at another place"}},
      {"twice", numbers("<Retries>1</Retries>\n<Retries>2</Retries>"), {file + "4: |only the first counts"}},
      {"hexadecimal port",
       numbers("<RequestPort>0x1588</RequestPort>"),
       {file + "3: |\"0x1588\", which is not a plain decimal number of 32 bits; it reads as 0."}},
      {"port too high", numbers("<ResponsePort>70000</ResponsePort>"), {file + "3: |low 16 bits, 4464"}},
      {"the same ports", numbers("<RequestPort>5513</RequestPort>"), {file + "2: |cannot be told apart"}},
      {"flag as a word",
       numbers("<NonLocalUpdatesEnabled>true</NonLocalUpdatesEnabled>"),
       {file +
        "3: |\"true\", which is not a plain decimal number of 32 bits; it reads as 0. This switches it off"}},
      {"flag as another number",
       "<DetectInterfaceChanges>5</DetectInterfaceChanges>",
       {file + "2: |counts as 1"}},
      {"empty", numbers("<Retries/>"), {file + "3: |Retries is empty and reads as 0."}},
      {"clamped",
       numbers("<NonLocalRetries>99999999999</NonLocalRetries>"),
       {file + "3: |reads as 2147483647"}},
      {"negative retries", numbers("<Retries>-1</Retries>"), {file + "3: |works as 0"}},
      {"no interval",
       numbers("<RefreshInterval>0</RefreshInterval>"),
       {file + "3: |works as 1 second", file + "2: |RefreshTimeout is longer"}},
      {"no time", numbers("<RefreshTimeout>0</RefreshTimeout>"), {file + "3: |no time for an answer"}},
      {"a year",
       numbers("<NonLocalRefreshInterval>31536000</NonLocalRefreshInterval>"),
       {file + "3: |sensible range"}},
      {"another kind", "<FakeRemoteVCAs>rc</FakeRemoteVCAs>", {file + "2: |only exactly \"RC\""}},
      {"both selections",
       In("UseInterfaces", SubNet("x", "y")) + In("ExcludeInterfaces", SubNet("10.0.0.0", "255.0.0.0")),
       {file + "2: |UseInterfaces is ignored"}},
      {"bad subnets",
       In("UseInterfaces", SubNet("10.0.0.999", "255.0.0.0") + "<SubNet/>"),
       {file + "3: |removed as bad", file + "7: |has no IPNumber",
        file + "2: |switches broadcast discovery off"}},
      {"mask with a gap",
       In("ExcludeInterfaces", SubNet("10.0.0.0", "255.0.255.0")),
       {file + "3: |has a gap"}},
      {"octal address",
       In("ExcludeInterfaces", SubNet("010.0.0.0", "255.0.0.0")),
       {file + "3: |which means 8.0.0.0"}},
      {"selection without discovery",
       numbers("<DynamicDetectionEnabled>0</DynamicDetectionEnabled>") +
           In("UseInterfaces", SubNet("10.0.0.0", "255.0.0.0")),
       {file + "5: |has no effect because DynamicDetectionEnabled is 0"}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteScanFile("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><KelLanSeekConfigurations>\n" +
                        c.inside + "</KelLanSeekConfigurations>");
    const ConfigReport report = CheckConfiguration(files.Directory().Wide());
    EXPECT_TRUE(AreThese(Findings(report), c.findings)) << c.what;
    EXPECT_EQ(report.Clean(), c.findings.empty()) << c.what;
    EXPECT_FALSE(report.unreadable) << c.what;
  }
}

TEST(ConfigCheckTest, FindsWhyStaticControllersAreDropped) {
  struct Case {
    const char* what;
    bool complete;
    std::string inside;  ///< Begins on line 2, behind the root.
    std::vector<std::string> findings;
  };
  const std::string file = "controllerid.xml:";
  const auto controller = [](const std::string& address, const std::string& more = "") {
    return In("ControllerIdentity", "<ControllerLocAddr>" + address + "</ControllerLocAddr>" + more);
  };
  const std::string version =
      "<MajorVersion>6</MajorVersion><MinorVersion>0</MinorVersion><Revision>1</Revision>";
  const Case cases[] = {
      {"nothing", false, "", {}},
      {"good", true, controller("10.0.0.1", "<SystemIdentity>S</SystemIdentity>" + version), {}},
      {"no address", false, In("ControllerIdentity", ""), {file + "2: |it has no ControllerLocAddr"}},
      {"no such address", false, controller("plc7"), {file + "2: |\"plc7\" is no IPv4 address"}},
      {"the same address",
       false,
       controller("10.0.0.1") + controller("10.0.0.1"),
       {file + "5: |the controller of line 2 has the same address"}},
      {"the same address in other words",
       false,
       controller("10.0.0.1") + controller("10.1"),
       {file + "5: |means 10.0.0.1", file + "5: |at the same address as the controller of line 2"}},
      {"an address for many", false, controller("224.0.0.1"), {file + "2: |no controller can have"}},
      {"incomplete",
       true,
       controller("10.0.0.1") + controller("10.0.0.2", "<SystemIdentity>S</SystemIdentity>"),
       {file + "2: |it has no SystemIdentity", file + "5: |it has no version"}},
      {"the same system",
       true,
       controller("10.0.0.1", "<SystemIdentity>S</SystemIdentity>" + version) +
           controller("10.0.0.2", "<SystemIdentity>S</SystemIdentity>" + version),
       {file + "5: |the controller of line 2 has the same SystemIdentity"}},
      {"half a version",
       false,
       controller("10.0.0.1", "<MajorVersion>6</MajorVersion>"),
       {file + "2: |The version counts as not known"}},
      {"odd elements",
       false,
       controller("10.0.0.1",
                  "\n<ControllerLevel>boot</ControllerLevel>\n<CommPortNumber>99999</CommPortNumber>\n"
                  "<SystemNam>x</SystemNam>"),
       {file + "6: |Did you mean \"SystemName\"?", file + "5: |no port",
        file + "4: |counts as \"SystemLevel\""}},
      {"elements of a controller outside of one",
       false,
       "<SystemName>x</SystemName>",
       {file + "2: |another place"}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteStaticFile("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><ControllerIdentities>\n" +
                          c.inside + "</ControllerIdentities>");
    if (c.complete) {
      files.WriteSettings(
          "<CommunicationSettings><DynamicDetectionEnabled>0</DynamicDetectionEnabled>"
          "<NonLocalUpdatesEnabled>0</NonLocalUpdatesEnabled></CommunicationSettings>");
    }
    const ConfigReport report = CheckConfiguration(files.Directory().Wide());
    EXPECT_TRUE(AreThese(Findings(report), c.findings)) << c.what;

    // What is said to be dropped is what the component drops.
    FakeDebugOutput traces;
    CKelLanSeekConfigSettings settings;
    config::LoadConfiguration(files.Directory().Wide(), settings, {traces, L"KelLanSeekImpl"});
    const auto findings = Findings(report);
    const auto dropped = std::count_if(findings.begin(), findings.end(), [](const std::string& each) {
      return each.find("is dropped") != std::string::npos;
    });
    EXPECT_EQ(traces.Messages().size(), static_cast<std::size_t>(dropped)) << c.what;
  }
}

TEST(ConfigCheckTest, FindsWhiteSpaceThatTheXmlLibraryKeeps) {
  const ConfigFiles files;
  files.WriteControllers(
      "<ControllerIdentity>\n<ControllerLocAddr>10.0.0.1 </ControllerLocAddr></ControllerIdentity>");
  FakeDebugOutput traces;
  CKelLanSeekConfigSettings settings;
  const auto taken =
      config::LoadConfiguration(files.Directory().Wide(), settings, {traces, L"KelLanSeekImpl"});
  const auto findings = Findings(CheckConfiguration(files.Directory().Wide()));
  if (taken.size() == 1) {
    EXPECT_TRUE(AreThese(findings, {})) << "a library that trims texts";
  } else {
    const std::string file = "controllerid.xml:";
    EXPECT_TRUE(AreThese(findings, {file + "3: |white space at its ends", file + "2: |is no IPv4 address"}));
  }
}

TEST(ConfigCheckTest, TellsAFileThatIsRejectedFromOneThatCannotBeRead) {
  struct Case {
    std::string content;
    bool unreadable;
    std::vector<std::string> findings;
  };
  // Wine's parser does not say where it stopped.
  const std::string where = UnderWine() ? "cannot be read" : "line 2";
  const Case cases[] = {
      {"<KelLanSeekConfigurations/>", false, {"lanseekconf.xml:1: |does not begin with a declaration"}},
      {"<?xml version='1.0' encoding='UTF-8'?><a/>", false, {"lanseekconf.xml:1: |the encoding \"UTF-8\""}},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><a/>", false, {"lanseekconf.xml:0: |document element"}},
      {"<?xml version='1.0' encoding='ISO-8859-1'?>\n<a>", true, {"lanseekconf.xml:0: |" + where}},
      {"", true, {"lanseekconf.xml:0: |cannot be read"}},
  };
  for (const Case& c : cases) {
    const ConfigFiles files;
    files.WriteScanFile(c.content);
    const ConfigReport report = CheckConfiguration(files.Directory().Wide());
    EXPECT_TRUE(AreThese(Findings(report), c.findings)) << c.content;
    EXPECT_EQ(report.unreadable, c.unreadable) << c.content;
  }
  const ScratchDirectory empty;
  EXPECT_TRUE(CheckConfiguration(empty.Wide()).Clean()) << "both files are optional";
  EXPECT_TRUE(CheckConfiguration(empty.WideFile("missing")).unreadable);
  empty.Write("file", "");
  EXPECT_TRUE(CheckConfiguration(empty.WideFile("file")).unreadable);
}

TEST(ConfigCheckTest, AFileFullOfUnknownNamesIsToldInAHundred) {
  std::string inside;
  for (int i = 1000; i < 3000; ++i) inside += "<Extra" + std::to_string(i) + "/>\n";
  const ConfigFiles files;
  files.WriteSettings(inside + "<Extra1000/>");
  const std::vector<std::string> findings = Findings(CheckConfiguration(files.Directory().Wide()));
  ASSERT_EQ(findings.size(), 102U);
  EXPECT_NE(findings[1].find("\"Extra1000\" is not known here"), std::string::npos) << findings[1];
  EXPECT_NE(findings.back().find("1900 more names"), std::string::npos) << findings.back();
}

TEST(ConfigCheckTest, DefaultFilesSetDefaultsAndReplaceNothing) {
  const ScratchDirectory scratch;
  std::wstring error;
  ASSERT_TRUE(config::WriteDefaultConfiguration(scratch.Wide(), error));
  EXPECT_TRUE(AreThese(Findings(CheckConfiguration(scratch.Wide())), {}));
  FakeDebugOutput traces;
  CKelLanSeekConfigSettings settings;
  EXPECT_TRUE(config::LoadConfiguration(scratch.Wide(), settings, {traces, L"KelLanSeekImpl"}).empty());
  EXPECT_EQ(Differences(settings), "");
  EXPECT_TRUE(traces.Messages().empty());

  scratch.Write("lanseekconf.xml", "mine");
  EXPECT_FALSE(config::WriteDefaultConfiguration(scratch.Wide(), error));
  EXPECT_NE(error.find(L"already there"), std::wstring::npos);
  EXPECT_EQ(scratch.Read("lanseekconf.xml"), "mine");
  EXPECT_FALSE(config::WriteDefaultConfiguration(scratch.WideFile("missing"), error));
}

TEST(ConfigCheckTest, KnowsWhichNameWasMeant) {
  const std::vector<std::wstring_view> names = {L"RequestPort", L"ResponsePort", L"Retries",
                                                L"RefreshInterval"};
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"requestport", L"RequestPort"},
      {L"ReqeustPort", L"RequestPort"},
      {L"ResponsePrt", L"ResponsePort"},
      {L"Retrys", L"Retries"},
      {L"RefreshIntervall", L"RefreshInterval"},
      {L"Port", L""},
      {L"Colour", L""},
      {L"", L""},
      {L"x", L""},
  };
  for (const auto& [name, meant] : cases) EXPECT_EQ(config::NearName(name, names), meant);
}

}  // namespace
}  // namespace kellanseek::test

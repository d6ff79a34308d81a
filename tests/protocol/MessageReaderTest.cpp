#include "protocol/MessageReader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "protocol/MessageWriter.h"
#include "tests/support/FakeDebugOutput.h"

namespace kellanseek::test {
namespace {

using protocol::AddressText;
using protocol::MessageReader;

class MessageReaderTest : public ::testing::Test {
 protected:
  bool Parse(std::string_view text, std::size_t length) {
    pattern.ResetHeard();
    ownAddress.Assign("10.1.1.1");
    MessageReader::Message message{0, pattern, &ownAddress, {}, false};
    const bool taken = reader.ParseMessage(text, length, message);
    type = message.type;
    target = message.targetAddress.View();
    hasTarget = message.hasTarget;
    return taken;
  }
  bool Parse(std::string_view text) { return Parse(text, text.size()); }

  /// A datagram of type 1 with these fields, its length filled in.
  static std::string WithFields(const std::string& fields) {
    char header[24];
    const std::size_t length = 8 + 4 + 2 + fields.size();
    std::snprintf(header, sizeof header, "Lanseek;%03zx;1;", length);
    return header + fields;
  }

  /// What the record has by now.
  std::vector<std::wstring> Texts() const {
    return {pattern.ctrlName, pattern.ctrlID,      pattern.systemName,
            pattern.systemID, pattern.releasePath, pattern.macAddress};
  }
  std::vector<std::uint32_t> Numbers() const {
    return {pattern.versionMajor, pattern.versionMinor, pattern.versionRevision,
            pattern.kelAPICompatibilityRevision, pattern.commPortNumber};
  }

  FakeDebugOutput traces;
  MessageReader reader{diagnostics::Tracer(traces, L"dynamicinfo")};
  CtrlInfo pattern;
  AddressText ownAddress;
  std::uint32_t type = 0;
  std::string target;
  bool hasTarget = false;
};

TEST_F(MessageReaderTest, TakesTheWholeIdentity) {
  ASSERT_TRUE(
      Parse("Lanseek;76;1;1:Cell7;2:ctrl-0042;3:Line2;4:{7A1C-22};5:/hd0a/Line2;7:6;8:10;9:00-80-f4-0a-11-2c;"
            "b:0;c:0;f:2;10:5;11:1;"));
  EXPECT_EQ(type, 1U);
  EXPECT_EQ(Texts(), (std::vector<std::wstring>{L"Cell7", L"ctrl-0042", L"Line2", L"{7A1C-22}",
                                                L"/hd0a/Line2", L"00-80-f4-0a-11-2c"}));
  EXPECT_EQ(Numbers(), (std::vector<std::uint32_t>{6, 10, 2, 5, 0}));
  EXPECT_EQ(pattern.ctrlLevel, SystemLevel);
  EXPECT_EQ(pattern.ctrlType, RC);
  EXPECT_EQ(ownAddress.View(), "10.1.1.1");
}

TEST_F(MessageReaderTest, ScansTheHeaderAsTheCLibraryDoes) {
  using namespace std::literals;
  const std::pair<std::string_view, std::uint32_t> taken[] = {
      {"Lanseek;0d;5;", 5},         {"Lanseek;0D;7;", 7},
      {"Lanseek; 0e;5;", 5},        {"Lanseek;\t+e;5;", 5},
      {"Lanseek;0x0f;5;", 5},       {"Lanseek;0c;5", 5},
      {"Lanseek;0e;1f;", 0x1f},     {"Lanseek;10;1;;;;", 1},
      {"Lanseek;0f;5 x;", 5},       {"Lanseek;0f;-1;;", 0xFFFFFFFFU},
      {"Lanseek;15;-ffffffff;", 1}, {"Lanseek;16;-fffffffff;", 0xFFFFFFFFU}};
  for (const auto& [text, expected] : taken) {
    EXPECT_TRUE(Parse(text)) << text;
    EXPECT_EQ(type, expected) << text;
  }
  for (const std::string_view text :
       {"Lanseek;17;123456789abcd"sv, "Lanseek;18;123456789abcdef"sv, "lanseek;0d;5;"sv, "Lanseek0d;5;"sv,
        "Lanseek;;5;"sv, "Lanseek;0d"sv, "Lanseek;0d;"sv, "Lanseek;0d;;"sv, "Lanseek;0d 5;"sv,
        "Lanseek;0x;5;"sv, "Lanseek;-0d;5;"sv, "Lanseek;10000000d;5;"sv, "Lanseek;ffffffffffffffffffff;5;"sv,
        ""sv, "\0\0\0"sv, "Lanseek;\0;5;"sv}) {
    EXPECT_FALSE(Parse(text)) << text;
  }
}

TEST_F(MessageReaderTest, TracesAClaimedLengthThatIsNotTheReceivedOne) {
  using namespace std::literals;
  EXPECT_FALSE(Parse("Lanseek;0e;5;"));
  EXPECT_FALSE(Parse("Lanseek;0d;5;\0\0"sv));
  EXPECT_FALSE(Parse("lanseek;0e;5;"));
  EXPECT_FALSE(Parse("Lanseek;18;1;1:a\0;2:b;;;"sv)) << "an embedded NUL that the length counts";
  EXPECT_EQ(traces.Messages(), (std::vector<std::wstring>{
                                   L"LanSeek: Message length mismatch. Received 13, claimed 14, strlen 13",
                                   L"LanSeek: Message length mismatch. Received 15, claimed 13, strlen 13",
                                   L"LanSeek: Message length mismatch. Received 24, claimed 24, strlen 16"}));
}

TEST_F(MessageReaderTest, SkipsMalformedFieldsAndKeepsTheOthers) {
  ASSERT_TRUE(Parse(
      WithFields("1:;2: ;zz:x;:y;3;4x:no;0:a;6:b;d:c;12:e;ffffffffff:f;100000001:g; 5: /p;1:Line 2 cell;"
                 "0x9:mac;7:junk;8: 12abc;f:-1;b:99999999999;")));
  EXPECT_EQ(Texts(), (std::vector<std::wstring>{L"Line 2 cell", L"", L"", L"", L" /p", L"mac"}));
  EXPECT_EQ(Numbers(), (std::vector<std::uint32_t>{0, 12, 0xFFFFFFFF, kVersionUnknown, 0x7FFFFFFF}));
}

TEST_F(MessageReaderTest, TakesValuesWholeAndTheLastOfATagTwice) {
  const std::string longName(600, 'n');
  ASSERT_TRUE(Parse(WithFields("1:first;1:" + longName + ":with: colons;2:caf\xe9 \x80;")));
  EXPECT_EQ(pattern.ctrlName, std::wstring(600, L'n') + L":with: colons");
  EXPECT_EQ(pattern.ctrlID, L"caf\u00e9 \u20ac");
}

TEST_F(MessageReaderTest, ReadsLevelAndKind) {
  struct Case {
    const char* fields;
    KelCtrlLevel level;
    KelCtrlType kind;
  };
  for (const Case& c : {Case{"c:1;11:3;", BootLevel, RemoteVC}, Case{"c:0;11:2;", SystemLevel, VC},
                        Case{"c:2;11:4;", SystemLevel, RC}, Case{"c:1;c:x;11:0;", SystemLevel, RC},
                        Case{"c: +1z;11:3;11:-1;", BootLevel, RemoteVC}}) {
    SCOPED_TRACE(c.fields);
    ASSERT_TRUE(Parse(WithFields(c.fields)));
    EXPECT_EQ(pattern.ctrlLevel, c.level);
    EXPECT_EQ(pattern.ctrlType, c.kind);
  }
}

TEST_F(MessageReaderTest, AddressesLongerThanCanBeGenuineDropTheDatagram) {
  ASSERT_TRUE(Parse(WithFields("a:1234567890123456789;e:abcdefghijklmnopqrs;")));
  EXPECT_TRUE(hasTarget);
  EXPECT_EQ(target, "1234567890123456789");
  EXPECT_EQ(ownAddress.View(), "abcdefghijklmnopqrs");
  EXPECT_FALSE(Parse(WithFields("1:x;a:12345678901234567890;")));
  EXPECT_FALSE(Parse(WithFields("1:x;e:12345678901234567890;")));

  pattern.ResetHeard();
  MessageReader::Message forwarded{0, pattern, nullptr, {}, false};
  const std::string text = WithFields("e:12345678901234567890;1:kept;");
  EXPECT_TRUE(reader.ParseMessage(text, text.size(), forwarded));
  EXPECT_EQ(pattern.ctrlName, L"kept");
}

TEST_F(MessageReaderTest, SurvivesAThousandBytesOfAnything) {
  for (const char filler : {';', ':', ' ', '0', 'a', '\0', '\xff', '-'}) {
    const std::string text = "Lanseek;3e8;1;" + std::string(1000 - 14, filler);
    EXPECT_EQ(Parse(text), filler != '\0') << static_cast<int>(filler);
    EXPECT_EQ(pattern.ctrlName, L"");
  }
}

TEST(MessageWriter, BuildsRequestsByteForByte) {
  EXPECT_EQ(protocol::BuildRequest(protocol::FullRequestMsg), "Lanseek;0d;5;");
  EXPECT_EQ(protocol::BuildRequest(protocol::RefreshRequestMsg), "Lanseek;0d;7;");
  EXPECT_EQ(protocol::BuildTargetedRequest("192.168.1.10", ""), "Lanseek;1c;6;a:192.168.1.10;");
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", ""), "Lanseek;18;6;a:10.0.0.7;");
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", "12-34567"), "Lanseek;23;6;a:10.0.0.7;4:12-34567;");
  EXPECT_EQ(protocol::BuildTargetedRequest(std::string(300, '1'), "").size(), 13U + 2 + 100 + 1);
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", std::string(228, 's')).size(), 255U);
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", std::string(229, 's')), "");
}

}  // namespace
}  // namespace kellanseek::test

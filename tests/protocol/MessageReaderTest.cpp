#include "protocol/MessageReader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "protocol/Fields.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::test {
namespace {

using protocol::MessageType;
using Outcome = protocol::ParseResult::Outcome;

class MessageReaderTest : public ::testing::Test {
 protected:
  bool Parse(std::string_view text) {
    return protocol::ParseMessage(text, text.size(), message).outcome == Outcome::Accepted;
  }

  /// A datagram of type 1 with these fields, its length filled in.
  static std::string WithFields(const std::string& fields) {
    char header[24];
    const std::size_t length = 8 + 4 + 2 + fields.size();
    std::snprintf(header, sizeof header, "Lanseek;%03zx;1;", length);
    return header + fields;
  }

  /// What the message has by now.
  std::vector<std::wstring> Texts() const {
    return {identity.ctrlName.Wide(), identity.ctrlID.Wide(),      identity.systemName.Wide(),
            identity.systemID,        identity.releasePath.Wide(), identity.macAddress};
  }
  std::vector<std::uint32_t> Numbers() const {
    return {identity.versionMajor, identity.versionMinor, identity.versionRevision,
            identity.kelAPICompatibilityRevision, identity.commPortNumber};
  }

  protocol::Message message;
  const controllers::Identity& identity = message.identity;
};

TEST_F(MessageReaderTest, TakesTheWholeIdentity) {
  ASSERT_TRUE(
      Parse("Lanseek;76;1;1:Cell7;2:ctrl-0042;3:Line2;4:{7A1C-22};5:/hd0a/Line2;7:6;8:10;9:00-80-f4-0a-11-2c;"
            "b:0;c:0;f:2;10:5;11:1;"));
  EXPECT_EQ(message.type, MessageType::CtrlInfoMsg);
  EXPECT_EQ(Texts(), (std::vector<std::wstring>{L"Cell7", L"ctrl-0042", L"Line2", L"{7A1C-22}",
                                                L"/hd0a/Line2", L"00-80-f4-0a-11-2c"}));
  EXPECT_EQ(Numbers(), (std::vector<std::uint32_t>{6, 10, 2, 5, 0}));
  EXPECT_EQ(identity.ctrlLevel, SystemLevel);
  EXPECT_EQ(identity.ctrlType, RC);
  EXPECT_FALSE(message.ownAddress || message.target);
}

TEST_F(MessageReaderTest, ScansTheHeaderAsTheCLibraryDoes) {
  using namespace std::literals;
  const std::pair<std::string_view, std::uint32_t> taken[] = {
      {"Lanseek;0d;5;", 5},         {"Lanseek;0D;7;", 7},
      {"Lanseek; 0e;5;", 5},        {"Lanseek;\t+e;5;", 5},
      {"Lanseek;0x0f;5;", 5},       {"Lanseek;0c;5", 5},
      {"Lanseek;0e;1f;", 0x1f},     {"Lanseek;10;1;;;;", 1},
      {"Lanseek;0f;5 x;", 5},       {"Lanseek;0f;-1;;", 0xFFFFFFFFU},
      {"Lanseek;15;-ffffffff;", 1}, {"Lanseek;16;-fffffffff;", 0xFFFFFFFFU},
      {"Lanseek;10;1:x;;", 1}};
  for (const auto& [text, expected] : taken) {
    EXPECT_TRUE(Parse(text)) << text;
    EXPECT_TRUE(message.identity.ctrlName.empty()) << text << ": the type is no field";
    EXPECT_EQ(message.type, static_cast<MessageType>(expected)) << text;
  }
  for (const std::string_view text :
       {"Lanseek;17;123456789abcd"sv, "Lanseek;18;123456789abcdef"sv, "lanseek;0d;5;"sv, "Lanseek0d;5;"sv,
        "Lanseek;;5;"sv, "Lanseek;0d"sv, "Lanseek;0d;"sv, "Lanseek;0d;;"sv, "Lanseek;0d 5;"sv,
        "Lanseek;0x;5;"sv, "Lanseek;-0d;5;"sv, "Lanseek;10000000d;5;"sv, "Lanseek;ffffffffffffffffffff;5;"sv,
        ""sv, "\0\0\0"sv, "Lanseek;\0;5;"sv}) {
    EXPECT_FALSE(Parse(text)) << text;
  }
}

TEST_F(MessageReaderTest, ReportsAClaimedLengthThatIsNotTheReceivedOne) {
  using namespace std::literals;
  struct Case {
    std::string_view text;
    std::uint32_t claimed;
    std::size_t textLength;
  };
  for (const Case& c : {Case{"Lanseek;0e;5;", 14, 13}, Case{"Lanseek;0d;5;\0\0"sv, 13, 13},
                        // An embedded NUL that the length counts.
                        Case{"Lanseek;18;1;1:a\0;2:b;;;"sv, 24, 16}}) {
    const protocol::ParseResult result = protocol::ParseMessage(c.text, c.text.size(), message);
    EXPECT_EQ(result.outcome, Outcome::LengthMismatch) << c.text;
    EXPECT_EQ(result.claimedLength, c.claimed);
    EXPECT_EQ(result.textLength, c.textLength);
  }
  EXPECT_EQ(protocol::ParseMessage("lanseek;0e;5;", 13, message).outcome, Outcome::Dropped);
}

TEST_F(MessageReaderTest, SkipsMalformedFieldsAndKeepsTheOthers) {
  ASSERT_TRUE(Parse(
      WithFields("1:;2: ;zz:x;:y;3;4x:no;0:a;6:b;d:c;12:e;ffffffffff:f;100000001:g; 5: /p;1:Line 2 cell;"
                 "0x9:mac;7:junk;8: 12abc;f:-1;b:99999999999;")));
  EXPECT_EQ(Texts(), (std::vector<std::wstring>{L"Line 2 cell", L"", L"", L"", L" /p", L"mac"}));
  EXPECT_EQ(Numbers(),
            (std::vector<std::uint32_t>{0, 12, 0xFFFFFFFF, controllers::kVersionUnknown, 0x7FFFFFFF}));
}

TEST_F(MessageReaderTest, TakesValuesWholeAndTheLastOfATagTwice) {
  const std::string longName(600, 'n');
  ASSERT_TRUE(Parse(WithFields("1:first;1:" + longName + ":with: colons;2:caf\xe9 \x80;")));
  EXPECT_EQ(identity.ctrlName, std::wstring(600, L'n') + L":with: colons");
  EXPECT_EQ(identity.ctrlID, L"caf\u00e9 \u20ac");
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
    EXPECT_EQ(identity.ctrlLevel, c.level);
    EXPECT_EQ(identity.ctrlType, c.kind);
  }
}

TEST_F(MessageReaderTest, ReportsAddressesLongerThanCanBeGenuine) {
  ASSERT_TRUE(Parse(WithFields("a:1234567890123456789;e:abcdefghijklmnopqrs;")));
  EXPECT_EQ(message.target.value().View(), "1234567890123456789");
  EXPECT_EQ(message.ownAddress.value().View(), "abcdefghijklmnopqrs");
  EXPECT_FALSE(message.ownAddressTooLong);
  EXPECT_TRUE(Parse(WithFields("e:12345678901234567890;e:10.1.1.1;1:read on;")));
  EXPECT_TRUE(message.ownAddressTooLong);
  EXPECT_EQ(identity.ctrlName, L"read on");
  EXPECT_FALSE(Parse(WithFields("1:x;a:12345678901234567890;")));
  ASSERT_TRUE(Parse(WithFields("")));
  EXPECT_FALSE(message.ownAddress || message.target || message.ownAddressTooLong) << "of the last message";
}

TEST(MessageWriter, BuildsRequestsByteForByte) {
  EXPECT_EQ(protocol::BuildRequest(MessageType::FullRequestMsg), "Lanseek;0d;5;");
  EXPECT_EQ(protocol::BuildRequest(MessageType::RefreshRequestMsg), "Lanseek;0d;7;");
  EXPECT_EQ(protocol::BuildTargetedRequest("192.168.1.10", ""), "Lanseek;1c;6;a:192.168.1.10;");
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", ""), "Lanseek;18;6;a:10.0.0.7;");
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", "12-34567"), "Lanseek;23;6;a:10.0.0.7;4:12-34567;");
  EXPECT_EQ(protocol::BuildTargetedRequest(std::string(300, '1'), "").size(), 13U + 2 + 100 + 1);
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", std::string(228, 's')).size(), 255U);
  EXPECT_EQ(protocol::BuildTargetedRequest("10.0.0.7", std::string(229, 's')), "");
}

TEST(MessageWriter, ALengthHasAsManyDigitsAsItIsGiven) {
  using Digits = protocol::MessageWriter::LengthDigits;
  struct Case {
    Digits digits;
    std::size_t filler;
    std::string start;
    std::size_t length;
  };
  // "Lanseek;NN;1;1:" and ";" are 16 bytes.
  const Case cases[] = {{Digits::TwoOrThree, 1, "Lanseek;11;1;1:", 17},
                        {Digits::TwoOrThree, 239, "Lanseek;ff;1;1:", 255},
                        {Digits::TwoOrThree, 240, "Lanseek;101;1;1:", 257},
                        {Digits::TwoOrThree, 4078, "Lanseek;fff;1;1:", 4095},
                        {Digits::TwoOrThree, 4079, "", 0},
                        {Digits::Two, 239, "Lanseek;ff;1;1:", 255},
                        {Digits::Two, 240, "", 0},
                        {Digits::Three, 1, "Lanseek;012;1;1:", 18},
                        {Digits::Three, 4079, "", 0}};
  for (const auto& [digits, filler, start, length] : cases) {
    protocol::MessageWriter writer(digits, MessageType::CtrlInfoMsg);
    const std::string text = writer.Fields("1:" + std::string(filler, 'n') + ";").Take();
    EXPECT_EQ(text.size(), length) << filler;
    EXPECT_EQ(text.substr(0, start.size()), start) << filler;
  }
}

}  // namespace
}  // namespace kellanseek::test

#include "tools/kelsim/Datagram.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "protocol/MessageReader.h"
#include "protocol/MessageWriter.h"
#include "tools/kelsim/Controller.h"
#include "tools/kelsim/Text.h"

namespace kellanseek::kelsim {
namespace {

/// Parses a datagram with the component's own reader.
struct Taken {
  explicit Taken(const std::string& datagram)
      : accepted(protocol::ParseMessage(datagram, datagram.size(), message).outcome ==
                 protocol::ParseResult::Outcome::Accepted) {}
  protocol::Message message;
  const Identity& pattern = message.identity;
  bool accepted;
};

TEST(Datagram, LengthHasTwoDigitsOrThree) {
  struct Case {
    std::size_t text;
    std::string start;
    std::size_t length;
  };
  // "Lanseek;NN;1;1:" and ";" are 16 bytes.
  const Case cases[] = {{1, "Lanseek;11;1;1:", 17},
                        {239, "Lanseek;ff;1;1:", 255},
                        {240, "Lanseek;101;1;1:", 257},
                        {983, "Lanseek;3e8;1;1:", 1000},
                        {984, "", 0}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    const std::string text =
        DatagramWriter(MessageType::Identity).Text(Tag::Name, std::string(one.text, 'n')).Take();
    EXPECT_EQ(text.size(), one.length);
    EXPECT_EQ(text.substr(0, one.start.size()), one.start);
    EXPECT_EQ(Taken(text).accepted, one.length != 0);
  }
}

TEST(Datagram, TheComponentUnderstandsAnIdentity) {
  Controller controller = NewController(4660);
  controller.name = FieldText("Zelle Süd");
  controller.address = platform::ParseIpv4("10.1.2.3");
  const Taken taken(BuildDatagram(controller, MessageType::Identity));
  ASSERT_TRUE(taken.accepted);
  EXPECT_EQ(taken.message.type, protocol::MessageType::CtrlInfoMsg);
  const Identity& p = taken.pattern;
  EXPECT_EQ((std::vector{p.ctrlName, p.ctrlID, p.systemName, p.systemID, p.releasePath, p.macAddress}),
            (std::vector<std::wstring>{L"Zelle Süd", L"ctrl-4660", L"Line466", L"{7A1C-4660}",
                                       L"/hd0a/Line466", L"02-7a-00-00-12-34"}));
  EXPECT_EQ((std::vector{p.versionMajor, p.versionMinor, p.versionRevision, p.kelAPICompatibilityRevision}),
            (std::vector<std::uint32_t>{6, 10, 2, 5}));
  EXPECT_EQ(p.ctrlLevel, SystemLevel);
  EXPECT_EQ(p.ctrlType, RC);
  EXPECT_EQ(taken.message.ownAddress.value().View(), "10.1.2.3");
  controller.tellsAddress = false;
  EXPECT_FALSE(Taken(BuildDatagram(controller, MessageType::Identity)).message.ownAddress)
      << "at its host's address it leaves the address out";
}

TEST(Datagram, ShortMessagesCarryWhatTheRecordIsFoundBy) {
  Controller controller = NewController(7);
  controller.address = platform::ParseIpv4("10.1.2.3");
  for (const MessageType type : {MessageType::Presence, MessageType::Restart, MessageType::PowerDown}) {
    for (const bool tellsAddress : {true, false}) {
      controller.tellsAddress = tellsAddress;
      const Taken taken(BuildDatagram(controller, type));
      ASSERT_TRUE(taken.accepted);
      EXPECT_EQ(static_cast<std::uint32_t>(taken.message.type), static_cast<std::uint32_t>(type));
      EXPECT_EQ(taken.pattern.systemID, L"{7A1C-0007}");
      EXPECT_EQ(taken.pattern.macAddress.empty(), type != MessageType::Presence);
      EXPECT_EQ(taken.message.ownAddress.has_value(), tellsAddress);
    }
  }
}

TEST(Datagram, TheLongestIdentityFits) {
  Controller controller = NewController(4'000'000'000U);
  const std::string longest(100, 'x');
  for (std::string Controller::*text : {&Controller::name, &Controller::systemName, &Controller::systemId,
                                        &Controller::releasePath, &Controller::macAddress}) {
    controller.*text = FieldText(longest);
  }
  controller.address = platform::ParseIpv4("255.255.255.254");
  EXPECT_TRUE(Taken(BuildDatagram(controller, MessageType::Identity)).accepted);
}

TEST(Datagram, ReadsTheRequestsOfTheComponent) {
  for (const auto& [built, type] :
       {std::pair{protocol::MessageType::FullRequestMsg, MessageType::FullRequest},
        std::pair{protocol::MessageType::RefreshRequestMsg, MessageType::RefreshRequest}}) {
    const std::string request(protocol::BuildRequest(built));
    ASSERT_TRUE(ReadRequest(request));
    EXPECT_EQ(ReadRequest(request)->type, type);
  }
  const std::string text = protocol::BuildTargetedRequest("192.168.1.10", "{7A}");
  const auto targeted = ReadRequest(text);
  ASSERT_TRUE(targeted);
  EXPECT_EQ(targeted->type, MessageType::TargetedRequest);
  EXPECT_EQ(targeted->target, platform::ParseIpv4("192.168.1.10"));
  EXPECT_EQ(targeted->systemId, "{7A}");
}

TEST(Datagram, WhatIsNoRequestIsNotRead) {
  for (const std::string_view text :
       {"", "Lanseek;", "Lanseek;0d", "Lanseek;0d;", "Lanseek;0e;5;", "lanseek;0d;5;", "Lanseek;0d;1;",
        "Lanseek;0d;8;", "Lanseek;-d;5;", "Lanseek; d;5;", "Lanseek;;5;", "Lanseek;0c;5",
        "Lanseek;10000000d;5;", "Lanseek;0d;x;"}) {
    EXPECT_FALSE(ReadRequest(text)) << text;
  }
  EXPECT_TRUE(ReadRequest("Lanseek;0D;7;")) << "digits in capitals";
  EXPECT_EQ(ReadRequest("Lanseek;14;6;a:1.2.3")->target, platform::kNoAddress) << "an unterminated field";
  EXPECT_EQ(ReadRequest("Lanseek;15;6;zz:1;:;;")->target, platform::kNoAddress) << "meaningless fields";
}

}  // namespace
}  // namespace kellanseek::kelsim

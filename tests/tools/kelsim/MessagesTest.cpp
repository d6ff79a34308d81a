#include "tools/kelsim/Request.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocol/MessageReader.h"
#include "tools/kelsim/Controller.h"
#include "tools/kelsim/Text.h"

namespace kellanseek::kelsim {
namespace {

/// A datagram as the component's own reader takes it.
protocol::Message Taken(const std::string& datagram) {
  protocol::Message message;
  EXPECT_EQ(protocol::ParseMessage(datagram, datagram.size(), message).outcome,
            protocol::ParseResult::Outcome::Accepted);
  return message;
}

TEST(Messages, TheComponentUnderstandsAnIdentity) {
  Controller controller = NewController(4660);
  controller.name = FieldText("Zelle Süd");
  controller.address = platform::ParseIpv4("10.1.2.3");
  const protocol::Message taken = Taken(BuildDatagram(controller, MessageType::CtrlInfoMsg));
  EXPECT_EQ(taken.type, protocol::MessageType::CtrlInfoMsg);
  const controllers::Identity& p = taken.identity;
  EXPECT_EQ((std::vector{p.ctrlName.Wide(), p.ctrlID.Wide(), p.systemName.Wide(), p.systemID,
                         p.releasePath.Wide(), p.macAddress}),
            (std::vector<std::wstring>{L"Zelle Süd", L"ctrl-4660", L"Line466", L"{7A1C-4660}",
                                       L"/hd0a/Line466", L"02-7a-00-00-12-34"}));
  EXPECT_EQ((std::vector{p.versionMajor, p.versionMinor, p.versionRevision, p.kelAPICompatibilityRevision}),
            (std::vector<std::uint32_t>{6, 10, 2, 5}));
  EXPECT_EQ(p.ctrlLevel, SystemLevel);
  EXPECT_EQ(p.ctrlType, RC);
  EXPECT_EQ(taken.ownAddress.value().View(), "10.1.2.3");
  controller.tellsAddress = false;
  EXPECT_FALSE(Taken(BuildDatagram(controller, MessageType::CtrlInfoMsg)).ownAddress)
      << "at its host's address it leaves the address out";
}

TEST(Messages, OtherDatagramsAreNoRequests) {
  for (const std::string_view text : {"", "Lanseek;0d", "Lanseek;0e;5;", "Lanseek;0d;1;", "Lanseek;0d;4;",
                                      "Lanseek;0d;8;", "Lanseek;24;6;a:12345678901234567890;"}) {
    EXPECT_FALSE(ReadRequest(text)) << text;
  }
  EXPECT_EQ(ReadRequest("Lanseek;15;6;zz:1;:;;")->target, platform::kNoAddress) << "meaningless fields";
}

}  // namespace
}  // namespace kellanseek::kelsim

#include "tests/support/EngineHarness.h"

#include "protocol/MessageWriter.h"

namespace kellanseek::test {

using controllers::CtrlInfo;
using controllers::CtrlTable;

std::string EngineHarness::Datagram(std::uint32_t type, std::string_view fields) {
  using protocol::MessageWriter;
  return MessageWriter(MessageWriter::LengthDigits::TwoOrThree, static_cast<protocol::MessageType>(type))
      .Fields(fields)
      .Take();
}

void EngineHarness::Receive(std::string_view datagram, std::string_view source, engine::MsgSource from,
                            std::optional<controllers::InterfaceIndex> interfaceIndex) {
  protocol::Message message;
  const platform::Ipv4 interfaceAddress = interfaceIndex ? interfaces[*interfaceIndex].address : 0;
  dispatcher.HandleMessage(datagram, datagram.size(), platform::ParseIpv4(source),
                           {from, interfaceIndex, interfaceAddress}, message);
  engineLock.ReleaseAll();
}

void EngineHarness::Forward(std::uint32_t type, std::string_view fields) {
  protocol::Message message;
  const std::string datagram = Datagram(type, fields);
  dispatcher.HandleMessage(datagram, datagram.size(), std::nullopt, {}, message);
}

std::uint32_t EngineHarness::Add(CtrlInfo record, std::int32_t ticks, std::int32_t requests) {
  CtrlTable::Access access(table);
  record.lanSeekID = access.IssueLanSeekID();
  const CtrlTable::Record added = access.Add(record);
  access.ChangeSchedule(added)->Arm(ticks, requests);
  return added->lanSeekID;
}

CtrlInfo EngineHarness::Get(std::uint32_t lanSeekID) {
  const CtrlTable::Access access(table);
  const CtrlTable::Record found = access.Find(lanSeekID);
  return found ? *found : CtrlInfo();
}

std::vector<CtrlInfo> EngineHarness::All() {
  std::vector<CtrlInfo> all;
  CtrlTable::Access(table).ForEach([&](CtrlTable::Record record) { all.push_back(*record); });
  return all;
}

}  // namespace kellanseek::test

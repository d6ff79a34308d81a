#include "doctor/Watch.h"

#include <algorithm>
#include <chrono>
#include <concepts>
#include <system_error>

#include "client/Text.h"
#include "protocol/MessageReader.h"

namespace kellanseek::kelseek {
namespace {

constexpr std::size_t kMostSightings = 1000;
constexpr std::size_t kMostCaptureBytes = std::size_t{64} << 20;
constexpr std::chrono::milliseconds kStopPoll{50};

/// A number in the byte order of capture files that begin with the magic number written the same way.
template <std::unsigned_integral Number>
void Append(std::string& bytes, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i)
    bytes.push_back(static_cast<char>(static_cast<std::uint64_t>(number) >> 8 * i & 0xFF));
}

std::string CaptureHeader() {
  constexpr std::uint32_t kMagic = 0xA1B2C3D4;
  constexpr std::uint32_t kLongestRecord = 65535;
  std::string header;
  Append(header, kMagic);
  Append(header, std::uint16_t{2});  // the version of the format, 2.4
  Append(header, std::uint16_t{4});
  Append(header, std::uint64_t{0});  // times are in UTC, of unknown accuracy
  Append(header, kLongestRecord);
  Append(header, platform::kCaptureLinkType);
  return header;
}

}  // namespace

void Watch::Start(std::vector<std::uint16_t> ports, std::uint16_t responsePort, bool keep) {
  if (!tap_) return;
  ports_ = std::move(ports);
  responsePort_ = responsePort;
  keep_ = keep;
  if (keep_) capture_ = CaptureHeader();
  try {
    thread_ = std::jthread([this](const std::stop_token& stop) { Run(stop); });
  } catch (const std::system_error& error) {
    facts_.isWatched = false;
    facts_.whyNot = std::string("The system refused a thread: ") + error.what();
  }
}

WireFacts Watch::Stop() {
  thread_.request_stop();
  if (thread_.joinable()) thread_.join();
  return facts_;
}

void Watch::Run(const std::stop_token& stop) {
  platform::WireDatagram datagram;
  while (!stop.stop_requested()) {
    if (!tap_->Next(kStopPoll, datagram)) continue;
    if (!IsWanted(datagram.sourcePort) && !IsWanted(datagram.destinationPort)) continue;
    if (keep_) Keep(datagram);
    if (!datagram.isOutgoing && datagram.destinationPort == responsePort_) Note(datagram);
  }
}

bool Watch::IsWanted(std::uint16_t port) const {
  return std::find(ports_.begin(), ports_.end(), port) != ports_.end();
}

void Watch::Keep(const platform::WireDatagram& datagram) {
  if (capture_.size() + datagram.captured.size() > kMostCaptureBytes) return;
  using std::chrono::microseconds;
  const auto since = std::chrono::duration_cast<microseconds>(datagram.time.time_since_epoch()).count();
  constexpr std::int64_t kPerSecond = 1'000'000;
  const auto size = static_cast<std::uint32_t>(datagram.captured.size());
  Append(capture_, static_cast<std::uint32_t>(since / kPerSecond));
  Append(capture_, static_cast<std::uint32_t>(since % kPerSecond));
  Append(capture_, size);
  Append(capture_, size);
  capture_.append(datagram.captured);
}

void Watch::Note(const platform::WireDatagram& datagram) {
  using protocol::MessageType;
  protocol::Message message;
  const auto parsed = protocol::ParseMessage(datagram.payload, datagram.payload.size(), message);
  if (parsed.outcome != protocol::ParseResult::Outcome::Accepted) return;
  const bool isFull = message.type == MessageType::CtrlInfoMsg;
  // The component forgets a controller that leaves.
  if (message.type == MessageType::CtrlRestartMsg || message.type == MessageType::CtrlPowerDownMsg)
    std::erase_if(facts_.sightings, [&](const Sighting& each) { return each.source == datagram.source; });
  if (!isFull && message.type != MessageType::CtrlAliveMsg) return;
  NoteMac(message, datagram.source);
  const std::string systemId = ToUtf8(message.identity.systemID);
  const bool isComplete = isFull && !systemId.empty() && !message.identity.macAddress.empty();
  for (Sighting& each : facts_.sightings) {
    if (each.interfaceIndex != datagram.interfaceIndex || each.source != datagram.source ||
        each.destination != datagram.destination || each.systemId != systemId)
      continue;
    ++each.count;
    each.isComplete |= isComplete;
    return;
  }
  if (facts_.sightings.size() < kMostSightings)
    facts_.sightings.push_back(
        {datagram.interfaceIndex, datagram.source, datagram.destination, systemId, isComplete, 1});
}

void Watch::NoteMac(const protocol::Message& message, platform::Ipv4 source) {
  const controllers::Identity& identity = message.identity;
  // The virtual controllers of a host share its MAC address.
  if (identity.ctrlType != RC || identity.macAddress.empty() || macOwners_.size() >= kMostSightings) return;
  const std::string mac = ToUtf8(identity.macAddress);
  const MacOwner owner{
      ToUtf8(identity.ctrlName.Wide()),
      message.ownAddress ? std::string(message.ownAddress->View()) : platform::FormatIpv4(source),
      ToUtf8(identity.systemID)};
  MacOwner& first = macOwners_.try_emplace(mac, owner).first->second;
  if (!first.isAlone || first.address == owner.address || first.systemId == owner.systemId) return;
  first.isAlone = false;
  const auto inWords = [](const MacOwner& each) {
    return (each.name.empty() ? "a controller" : each.name) + " (" + each.address + ", " + each.systemId +
           ")";
  };
  facts_.sharedMacs.push_back({mac, inWords(first), inWords(owner)});
}

}  // namespace kellanseek::kelseek

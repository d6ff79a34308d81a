#include "client/Scanner.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "client/SocketLibrary.h"
#include "client/Text.h"
#include "platform/HostProbe.h"
#include "platform/UdpSocket.h"
#include "protocol/MessageReader.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::kelseek {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// The longest wait for an answer before the next look at the schedule.
constexpr milliseconds kStep{50};
constexpr milliseconds kProgressStep{200};

std::optional<std::uint32_t> Reported(std::uint32_t number, std::uint32_t unreported) {
  return number == unreported ? std::nullopt : std::optional(number);
}

class Scanning {
 public:
  Scanning(Session& session, ScanSchedule schedule, std::uint16_t port)
      : session_(session), schedule_(std::move(schedule)), port_(port) {
    platform::SocketError error = 0;
    // It may not send broadcasts, so an address that is one by surprise asks nobody.
    socket_ = platform::SystemUdpNetwork().CreateSocket(error);
    if (socket_) error = socket_->Bind(0, 0, 0);
    if (!socket_ || error != 0)
      throw CommandError(kComponentFailed, "the system gives no socket: " + platform::TextOfError(error));
    receiver_ = platform::SystemUdpNetwork().CreateReceiver({socket_.get()}, protocol::kMaxDatagram);
  }

  ScanResult Run(std::chrono::duration<double> wait, const std::function<void(const ScanResult&)>& progress) {
    Clock::time_point end = Clock::now() + std::chrono::duration_cast<Clock::duration>(wait);
    Clock::time_point report = Clock::now();
    while (!session_.stop.TryWait() && Clock::now() < end) {
      if (!schedule_.Done()) {
        Ask();
        end = Clock::now() + std::chrono::duration_cast<Clock::duration>(wait);
      }
      Listen(std::clamp(std::chrono::ceil<milliseconds>(end - Clock::now()), milliseconds(0), kStep));
      if (Clock::now() < report) continue;
      report = Clock::now() + kProgressStep;
      progress(result_);
    }
    result_.stopped = session_.stop.TryWait();
    return std::move(result_);
  }

 private:
  ScanSchedule::Time Now() const {
    return std::chrono::duration_cast<ScanSchedule::Time>(Clock::now() - begin_);
  }

  /// Sends what is due.
  void Ask() {
    while (!schedule_.Done() && schedule_.UntilNext(Now()).count() == 0) {
      const platform::SocketError error = socket_->TrySendTo(question_, schedule_.Next(), port_);
      if (error == platform::kNoRoom) return;
      if (error != 0) {
        ++result_.notSent;
        result_.error = error;
      }
      schedule_.Advance(Now());
      result_.asked = schedule_.Asked();
    }
  }

  /// Takes what has come, or waits for the first until the next question is due.
  void Listen(milliseconds longest) {
    if (!schedule_.Done())
      longest = std::min(longest, std::chrono::ceil<milliseconds>(schedule_.UntilNext(Now())));
    // With no room to send, the next question is due already.
    const platform::Received got = receiver_->ReceiveOne(session_.stop, std::max(longest, milliseconds(1)));
    if (got.outcome == platform::Received::Outcome::WaitFailed)
      throw CommandError(kComponentFailed, "waiting for answers failed: " + platform::TextOfError(got.error));
    if (got.outcome != platform::Received::Outcome::Datagram || !got.sourceIsIpv4) return;
    const auto parsed = protocol::ParseMessage({got.text.data(), got.text.size()}, got.text.size(), message_);
    if (parsed.outcome != protocol::ParseResult::Outcome::Accepted) return;
    auto controller = ControllerOf(message_, got.source);
    if (!controller || !seen_.emplace(controller->address, controller->identity).second) return;
    result_.controllers.push_back(*std::move(controller));
  }

  Session& session_;
  ScanSchedule schedule_;
  const std::uint16_t port_;
  const SocketLibrary library_;
  std::unique_ptr<platform::UdpSocket> socket_;
  std::unique_ptr<platform::DatagramReceiver> receiver_;
  const std::string question_ = protocol::BuildRequest(protocol::MessageType::FullRequestMsg);
  const Clock::time_point begin_ = Clock::now();
  protocol::Message message_;
  std::set<std::pair<std::string, std::string>> seen_;
  ScanResult result_;
};

}  // namespace

std::optional<client::Controller> ControllerOf(const protocol::Message& message, platform::Ipv4 source) {
  if (message.type != protocol::MessageType::CtrlInfoMsg) return std::nullopt;
  const auto& identity = message.identity;
  client::Controller controller;
  controller.kind = static_cast<client::Kind>(identity.ctrlType);
  controller.availability = client::Availability::Available;
  controller.level = static_cast<client::Level>(identity.ctrlLevel);
  controller.name = ToUtf8(identity.ctrlName.Wide());
  controller.address = platform::FormatIpv4(source);
  controller.identity = ToUtf8(identity.systemID);
  controller.mac = ToUtf8(identity.macAddress);
  controller.system_name = ToUtf8(identity.systemName.Wide());
  controller.release_path = ToUtf8(identity.releasePath.Wide());
  controller.controller_id = ToUtf8(identity.ctrlID.Wide());
  controller.api_revision = Reported(identity.kelAPICompatibilityRevision, controllers::kVersionUnknown);
  controller.port = Reported(identity.commPortNumber, 0);
  const auto major = Reported(identity.versionMajor, controllers::kVersionUnknown);
  const auto minor = Reported(identity.versionMinor, controllers::kVersionUnknown);
  if (major && minor)
    controller.version = {*major, *minor, Reported(identity.versionRevision, controllers::kVersionUnknown)};
  return controller;
}

ScanResult Scan(Session& session, ScanSchedule schedule, std::uint16_t port,
                std::chrono::duration<double> wait, const std::function<void(const ScanResult&)>& progress) {
  return Scanning(session, std::move(schedule), port).Run(wait, progress);
}

}  // namespace kellanseek::kelseek

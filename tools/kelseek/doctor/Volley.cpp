#include "doctor/Volley.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "doctor/Sockets.h"
#include "protocol/Message.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::kelseek {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kRounds = 5;
/// So many questions leave before the next look at the answers, which paces them to 2000 a second.
constexpr std::size_t kSlice = 10;
constexpr milliseconds kPause{5};

/// Answers name no question. So each round has a socket of its own, to which they return.
class Volley {
 public:
  Volley(const std::vector<Target>& targets, std::uint16_t port, milliseconds timeout, platform::Event& never)
      : targets_(targets), port_(port), timeout_(timeout), never_(never), tries_(targets.size()) {
    std::vector<platform::UdpSocket*> all;
    for (std::size_t i = 0; i < targets.size(); ++i) byAddress_.emplace(targets[i].address, i);
    for (auto& socket : sockets_) {
      socket = OpenSocket(0, 0, 0);
      if (!socket) return;
      all.push_back(socket.get());
    }
    receiver_ = platform::SystemUdpNetwork().CreateReceiver(std::move(all), protocol::kMaxDatagram);
  }

  std::vector<Answers> Run() {
    if (receiver_) {
      AskAll();
      const auto end = Clock::now() + timeout_;
      while (left_ > 0 && Clock::now() < end) Hear(end);
    }
    std::vector<Answers> answers;
    for (std::size_t i = 0; i < targets_.size(); ++i) answers.push_back(Result(i));
    return answers;
  }

 private:
  struct Try {
    Clock::time_point sent;
    bool isSent = false;
    bool isAnswered = false;
    milliseconds delay{0};
  };

  void AskAll() {
    const std::string question = protocol::BuildRequest(protocol::MessageType::RefreshRequestMsg);
    std::size_t sent = 0;
    for (std::size_t i = 0; i < targets_.size(); ++i) {
      for (std::size_t round = 0; round < kRounds; ++round) {
        Try& one = tries_[i][round];
        one.sent = Clock::now();
        // Without waiting: questions to hosts that are off fill the buffer until their addresses are given
        // up.
        one.isSent = sockets_[round]->TrySendTo(question, targets_[i].address, port_) == 0;
        if (one.isSent) ++left_;
        if (++sent % kSlice == 0) HearFor(kPause);
      }
    }
  }

  void HearFor(milliseconds span) {
    const auto end = Clock::now() + span;
    while (Clock::now() < end) Hear(end);
  }

  void Hear(Clock::time_point end) {
    const auto wait = std::max(std::chrono::ceil<milliseconds>(end - Clock::now()), milliseconds(0));
    const platform::Received got = receiver_->ReceiveOne(never_, wait);
    if (got.outcome != platform::Received::Outcome::Datagram || got.sourcePort != port_ ||
        !std::string_view(got.text.data(), got.text.size()).starts_with(protocol::kMagic))
      return;
    const auto target = byAddress_.find(got.source);
    if (target == byAddress_.end()) return;
    Try& one = tries_[target->second][got.socket];
    const auto delay = std::chrono::duration_cast<milliseconds>(Clock::now() - one.sent);
    if (!one.isSent || one.isAnswered || delay > timeout_) return;
    one.isAnswered = true;
    one.delay = delay;
    --left_;
  }

  Answers Result(std::size_t index) const {
    Answers answers{targets_[index].who, targets_[index].address};
    std::vector<milliseconds> delays;
    for (const Try& one : tries_[index]) {
      if (one.isSent) ++answers.asked;
      if (one.isAnswered) delays.push_back(one.delay);
    }
    answers.answered = static_cast<unsigned>(delays.size());
    if (delays.empty()) return answers;
    std::sort(delays.begin(), delays.end());
    answers.median = delays[delays.size() / 2];
    answers.slowest = delays.back();
    return answers;
  }

  const std::vector<Target>& targets_;
  const std::uint16_t port_;
  const milliseconds timeout_;
  platform::Event& never_;
  std::unordered_map<platform::Ipv4, std::size_t> byAddress_;
  std::array<std::unique_ptr<platform::UdpSocket>, kRounds> sockets_;
  std::unique_ptr<platform::DatagramReceiver> receiver_;
  std::vector<std::array<Try, kRounds>> tries_;
  std::size_t left_ = 0;  ///< Questions that wait for their answers.
};

}  // namespace

std::vector<Answers> AskFiveTimes(const std::vector<Target>& targets, std::uint16_t port,
                                  std::chrono::milliseconds timeout, platform::Event& never) {
  if (targets.empty()) return {};
  return Volley(targets, port, timeout, never).Run();
}

}  // namespace kellanseek::kelseek

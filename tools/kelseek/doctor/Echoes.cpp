#include "doctor/Echoes.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include "doctor/ReportReader.h"
#include "doctor/Sockets.h"
#include "platform/Event.h"

namespace kellanseek::kelseek {
namespace {

using Clock = std::chrono::steady_clock;
using Json = nlohmann::json;
using Outcome = Echo::Outcome;
using std::chrono::milliseconds;

/// So many networks at once, because each takes sockets, of which a process has not many.
constexpr std::size_t kAtOnce = 8;
/// No discovery message, so that nobody on the network takes it for one.
constexpr std::string_view kText = "kelseek doctor: is this heard?";

struct Trial {
  Echo echo;
  platform::Ipv4 broadcast = 0;
  std::unique_ptr<platform::UdpSocket> listener;
  std::unique_ptr<platform::UdpSocket> sender;
};

Trial Prepare(const Json& network, std::uint16_t port) {
  const platform::Ipv4 address = AddressOf(network);
  const platform::Ipv4 mask = platform::ParseIpv4(TextOf(network, "mask"));
  Trial trial{{address, port, Outcome::NotHeard, 0},
              address | ~mask,
              OpenSocket(address, mask, port),
              OpenSocket(address, mask, 0)};
  if (!trial.listener || !trial.sender) trial.echo.outcome = Outcome::NoSocket;
  return trial;
}

/// Takes what arrives until every trial is heard that could be sent, or the time is over.
void Listen(platform::DatagramReceiver& receiver, const std::vector<Trial*>& trials, milliseconds patience) {
  platform::Event never(platform::Event::Kind::ManualReset);
  const auto isOpen = [](const Trial* each) { return each->echo.outcome == Outcome::NotHeard; };
  const Clock::time_point end = Clock::now() + patience;
  while (std::any_of(trials.begin(), trials.end(), isOpen)) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    if (left.count() <= 0) return;
    const platform::Received got = receiver.ReceiveOne(never, left);
    if (got.outcome == platform::Received::Outcome::WaitFailed) {
      for (Trial* const each : trials)
        if (isOpen(each)) each->echo.outcome = Outcome::NoSocket;
      return;
    }
    if (got.outcome != platform::Received::Outcome::Datagram) continue;
    Echo& echo = trials[got.socket]->echo;
    if (got.source == echo.address && std::string_view(got.text.data(), got.text.size()) == kText)
      echo.outcome = Outcome::Heard;
  }
}

void Try(std::vector<Trial>& all, milliseconds patience) {
  std::vector<Trial*> trials;
  std::vector<platform::UdpSocket*> listeners;
  for (Trial& each : all) {
    if (each.echo.outcome == Outcome::NoSocket) continue;
    trials.push_back(&each);
    listeners.push_back(each.listener.get());
  }
  if (trials.empty()) return;
  const auto receiver = platform::SystemUdpNetwork().CreateReceiver(listeners, kText.size() + 1);
  for (Trial* const each : trials) {
    each->echo.error = each->sender->SendTo(kText, each->broadcast, each->echo.port);
    if (each->echo.error != 0) each->echo.outcome = Outcome::NotSent;
  }
  Listen(*receiver, trials, patience);
}

}  // namespace

std::vector<Echo> TryEchoes(const Json& report, milliseconds patience, std::size_t most) {
  std::vector<const Json*> networks = BroadcastNetworks(report);
  networks.resize(std::min(networks.size(), most));
  std::vector<Echo> echoes;
  for (std::size_t begin = 0; begin < networks.size(); begin += kAtOnce) {
    std::vector<Trial> trials;
    for (std::size_t i = begin; i < std::min(networks.size(), begin + kAtOnce); ++i)
      for (const char* const port : {"ResponsePort", "RequestPort"})
        trials.push_back(Prepare(*networks[i], static_cast<std::uint16_t>(SettingOf(report, port))));
    Try(trials, patience);
    for (const Trial& each : trials) echoes.push_back(each.echo);
  }
  return echoes;
}

}  // namespace kellanseek::kelseek

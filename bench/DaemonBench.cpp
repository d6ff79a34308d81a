#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "config/Settings.h"
#include "daemon/VCDaemon.h"
#include "network/HostInterfaces.h"
#include "platform/UdpSocket.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeNetworkAddresses.h"

namespace kellanseek::bench {
namespace {

/// Sends through a system socket, to the discard port of this host.
class SystemAnswers : public network::AnswerSender {
 public:
  SystemAnswers() {
    platform::SocketError error = 0;
    socket_ = platform::SystemUdpNetwork().CreateSocket(error);
    if (!socket_ || socket_->Bind(0, 0, 0) != 0) throw std::runtime_error("no socket to answer from");
  }
  platform::SocketError Answer(controllers::InterfaceIndex, std::string_view datagram,
                               platform::Ipv4& destination) override {
    constexpr std::uint16_t kDiscardPort = 9;
    destination = platform::ParseIpv4("127.0.0.1");
    ++sent;
    return socket_->SendTo(datagram, destination, kDiscardPort);
  }

  std::uint64_t sent = 0;

 private:
  std::unique_ptr<platform::UdpSocket> socket_;
};

/// A full request on each of two interfaces, and the pass in which the answers of all controllers are due.
void AnswerForPublished(benchmark::State& state) {
  constexpr auto kFullRequest = protocol::MessageType::FullRequestMsg;
  constexpr std::int32_t kLongestDelay = 3200;
  test::FakeNetworkAddresses addresses;
  addresses.AddInterface(1, {2, 0, 0, 0, 0, 1});
  addresses.AddAddress(1, "192.168.1.5", "255.255.255.0");
  addresses.AddInterface(2, {2, 0, 0, 0, 0, 2});
  addresses.AddAddress(2, "10.0.0.5", "255.255.255.0");
  const config::CKelLanSeekConfigSettings settings;
  test::FakeDebugOutput traces;
  SystemAnswers answers;
  daemon::CrVCDaemon daemon([] { return 0U; }, traces);
  {
    controllers::CtrlTable table;
    controllers::CtrlTable::Access access(table);
    daemon.RefreshAfterReInit(access,
                              network::HostInterfaces(addresses, settings, traces).SetupLanseekInterfaces());
  }
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    controllers::CtrlInfo record;
    record.ctrlType = VC;
    record.lanSeekID = static_cast<std::uint32_t>(11 + i);
    record.ctrlName = L"Soft" + std::to_wstring(i);
    record.systemID = L"SOFT-" + std::to_wstring(i);
    daemon.AddRemoteVC(record);
  }
  daemon.Step(answers, 0);
  answers.sent = 0;
  for (auto _ : state) {
    for (const std::uint32_t each : {0U, 1U})
      daemon.QueueMessageForRemoteVC(kFullRequest, controllers::InterfaceIndex{each}, 0);
    daemon.Step(answers, 0);
    daemon.Step(answers, kLongestDelay);
  }
  if (answers.sent != state.iterations() * static_cast<std::uint64_t>(state.range(0)) * 2) {
    state.SkipWithError("not every controller was answered for on both interfaces");
  }
}
BENCHMARK(AnswerForPublished)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kellanseek::bench

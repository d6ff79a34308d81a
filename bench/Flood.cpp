// What hostile datagrams at the full rate of the network do to a client and its component; see bench/flood.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/Plant.h"
#include "bench/Workstation.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::bench {
namespace {

using protocol::MessageType;
using protocol::MessageWriter;
using std::chrono::milliseconds;

constexpr std::uint16_t kRequestPort = 5512;
constexpr std::uint16_t kResponsePort = 5513;
constexpr const char* kBroadcast = "10.77.255.255";
constexpr std::uint32_t kRealControllers = 10;

double Milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

long ResidentKiB() {
  std::ifstream file("/proc/self/statm");
  long total = 0;
  long resident = 0;
  file >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

struct Kind {
  const char* name;
  std::uint16_t port;
  std::function<std::string(std::uint32_t number, std::mt19937& random)> datagram;
};

std::string Notice(MessageType type, std::uint32_t controller) {
  return MessageWriter(MessageWriter::LengthDigits::TwoOrThree, type)
      .Fields("4:{F-" + std::to_string(controller) + "};11:1;")
      .Take();
}

/// Each of a different controller, with its address in tag e. The longest keys make the greatest records.
std::string ForgedIdentity(std::uint32_t number, std::size_t furtherCharacters = 0) {
  const std::string text = std::to_string(number);
  return MessageWriter(MessageWriter::LengthDigits::TwoOrThree, MessageType::CtrlInfoMsg)
      .Fields("1:forged" + text + ";4:{F-" + text + std::string(furtherCharacters, 'x') + "};9:f-" + text +
              ";e:10." + std::to_string(100 + number / 62500) + "." + std::to_string(number / 250 % 250) +
              "." + std::to_string(1 + number % 250) + ";7:6;8:1;11:1;")
      .Take();
}

std::string Garbage(std::mt19937& random) {
  std::string bytes(random() % 1400, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
  return random() % 2 == 0 ? bytes : "Lanseek;" + bytes;
}

const std::array kKinds = {
    Kind{"random_bytes", kResponsePort, [](std::uint32_t, std::mt19937& random) { return Garbage(random); }},
    Kind{"forged_long_keys", kResponsePort,
         [](std::uint32_t number, std::mt19937&) { return ForgedIdentity(number, 880); }},
    Kind{"forged_identities", kResponsePort,
         [](std::uint32_t number, std::mt19937&) { return ForgedIdentity(number); }},
    Kind{"forged_requests", kRequestPort,
         [](std::uint32_t number, std::mt19937&) {
           return number % 3 == 0 ? protocol::BuildTargetedRequest("10.77.0.1", "{5A-soft}")
                                  : protocol::BuildRequest(number % 3 == 1 ? MessageType::FullRequestMsg
                                                                           : MessageType::RefreshRequestMsg);
         }},
    Kind{"forged_restarts", kResponsePort,
         [](std::uint32_t number, std::mt19937&) { return Notice(MessageType::CtrlRestartMsg, number); }},
};

/// Ten controllers that announce themselves ten times a second until the end.
class RealControllers {
 public:
  explicit RealControllers(const std::string& plant)
      : thread_([this, plant] {
          const PlantSocket socket(plant, kBroadcast, kResponsePort);
          while (!stop_) {
            for (std::uint32_t i = 0; i < kRealControllers; ++i) socket.Send(IdentityDatagram(i));
            std::this_thread::sleep_for(milliseconds(100));
          }
        }) {}
  ~RealControllers() {
    stop_ = true;
    thread_.join();
  }
  RealControllers(const RealControllers&) = delete;
  RealControllers& operator=(const RealControllers&) = delete;

 private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

/// What a client sees while a flood lasts.
struct Outcome {
  std::uint64_t sent = 0;
  double longestCallMs = 0;
  long grownKiB = 0;
  std::uint32_t known = 0;
  std::uint32_t realListed = 0;
};

std::uint32_t RealListed(Workstation& workstation) {
  std::uint32_t listed = 0;
  for (std::uint32_t i = 0; i < kRealControllers; ++i) {
    const std::wstring systemID = L"{7A1C-0000" + std::to_wstring(i) + L"}";
    ULONG id = 0;
    listed += workstation.seek->GetCtrlFromSystemID(KelBstr(systemID).Get(), &id) == S_OK ? 1U : 0U;
  }
  return listed;
}

Outcome Endure(Workstation& workstation, const std::string& plant, const Kind& kind,
               std::chrono::seconds duration) {
  Outcome outcome;
  // Made beforehand, so that the network and not the sender sets the rate, nor its memory counts.
  std::mt19937 random(1);
  std::vector<std::string> datagrams;
  for (std::uint32_t i = 0; i < 120000; ++i) datagrams.push_back(kind.datagram(i, random));
  const long residentBefore = ResidentKiB();
  const auto end = Clock::now() + duration;
  std::thread flooder([&] {
    const PlantSocket socket(plant, kBroadcast, kind.port);
    while (Clock::now() < end)
      for (int i = 0; i < 64; ++i)
        outcome.sent += socket.Send(datagrams[outcome.sent % datagrams.size()]) ? 1U : 0U;
  });
  const auto measure = [&](auto call) {
    const auto begin = Clock::now();
    call();
    outcome.longestCallMs = std::max(outcome.longestCallMs, Milliseconds(Clock::now() - begin));
  };
  while (Clock::now() < end) {
    std::uint32_t first = 0;
    measure([&] { first = workstation.FirstId(); });
    KelBstr name;
    measure([&] { workstation.identity->GetCtrlName(first, name.Put()); });
    outcome.grownKiB = std::max(outcome.grownKiB, ResidentKiB() - residentBefore);
    std::this_thread::sleep_for(milliseconds(2));
  }
  flooder.join();
  outcome.known = workstation.Known();
  outcome.realListed = RealListed(workstation);
  return outcome;
}

void Run(const std::string& module, const std::string& plant, std::chrono::seconds duration) {
  Workstation workstation(module);
  const RealControllers real(plant);
  if (!workstation.WaitUntilKnown(kRealControllers, milliseconds(5000)))
    throw std::runtime_error("the real controllers are not found");
  for (const Kind& kind : kKinds) {
    const Outcome outcome = Endure(workstation, plant, kind, duration);
    std::printf(
        "{\"flood\": \"%s\", \"sentPerSecond\": %.0f, \"longestCallMs\": %.2f, \"grownKiB\": %ld, "
        "\"known\": %u, "
        "\"realListed\": %u}\n",
        kind.name, static_cast<double>(outcome.sent) / static_cast<double>(duration.count()),
        outcome.longestCallMs, outcome.grownKiB, outcome.known, outcome.realListed);
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace kellanseek::bench

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: kellanseek_flood MODULE PLANT-NAMESPACE SECONDS\n");
    return 2;
  }
  try {
    kellanseek::bench::Run(argv[1], argv[2], std::chrono::seconds(std::strtol(argv[3], nullptr, 10)));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kellanseek_flood: %s\n", error.what());
    return 1;
  }
  return 0;
}

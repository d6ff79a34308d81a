#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/Environment.h"
#include "platform/HostProbe.h"
#include "platform/NetworkAddresses.h"
#include "platform/Signals.h"
#include "platform/Terminal.h"
#include "text/Utf8.h"
#include "tools/kelsim/AddressPlan.h"
#include "tools/kelsim/HelloLog.h"
#include "tools/kelsim/Options.h"
#include "tools/kelsim/Script.h"
#include "tools/kelsim/Simulation.h"
#include "tools/kelsim/Text.h"

namespace kellanseek::kelsim {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

bool IsUsable(const platform::AddressRow& row) {
  const auto found = platform::SystemNetworkAddresses().Interface(row.interfaceIndex);
  return found && found->adminStatus == platform::kInterfaceUp && found->type != platform::kLoopbackInterface;
}

/// The addresses of this host that the controllers may send from, at least one.
std::vector<Place> UsablePlaces(const Options& options) {
  const auto rows = platform::SystemNetworkAddresses().Addresses();
  if (!rows) throw std::runtime_error("the system cannot list this host's addresses");
  std::optional<std::uint32_t> index;
  if (options.interfaceName) {
    index = platform::InterfaceIndexOfName(text::FromUtf8(*options.interfaceName));
    if (!index) throw std::runtime_error("there is no interface " + *options.interfaceName);
  }
  std::vector<Place> places;
  for (const platform::AddressRow& row : *rows) {
    const bool wanted = options.address ? row.address == *options.address
                        : index         ? row.interfaceIndex == *index
                                        : IsUsable(row);
    if (wanted) places.push_back({row.address, row.mask});
  }
  if (!places.empty()) return places;
  if (options.address)
    throw std::runtime_error("this host has no address " + platform::FormatIpv4(*options.address));
  throw std::runtime_error(
      index ? "the interface " + *options.interfaceName + " has no IPv4 address"
            : "no interface except the loopback has an IPv4 address; use --address or --listen");
}

std::vector<Place> FindPlaces(const Options& options) {
  if (options.hello) return UsablePlaces(options);
  if (options.listen.empty()) return {UsablePlaces(options).front()};
  std::vector<Place> places;
  for (const platform::Ipv4 address : options.listen) places.push_back({address});
  const auto more = options.count - static_cast<std::uint32_t>(places.size());
  const auto from = ConsecutiveAddresses(options.listen.back(), more + 1);
  for (std::uint32_t i = 1; i <= more; ++i) places.push_back({from[i]});
  return places;
}

std::vector<platform::Ipv4> PlanAddresses(const Options& options, const std::vector<Place>& places) {
  if (options.listen.empty() && !options.ownAddress && !options.hello) {
    if (options.baseAddress) return ConsecutiveAddresses(*options.baseAddress, options.count);
    return AddressesInSubnet(places[0].address, places[0].mask, options.first - 1, options.count);
  }
  std::vector<platform::Ipv4> addresses;
  addresses.reserve(places.size());
  for (const Place& place : places) addresses.push_back(place.address);
  return addresses;
}

std::vector<Controller> MakeControllers(const Options& options,
                                        const std::vector<platform::Ipv4>& addresses) {
  std::vector<Controller> controllers;
  controllers.reserve(addresses.size());
  for (const platform::Ipv4 address : addresses) {
    const auto index = static_cast<std::uint32_t>(controllers.size());
    Controller controller = NewController(options.first + index);
    controller.address = address;
    controller.tellsAddress = options.listen.empty() && !options.ownAddress;
    controller.speaker = options.listen.empty() ? 0 : index;
    controller.lossPercent = options.lossPercent;
    controllers.push_back(std::move(controller));
  }
  return controllers;
}

std::vector<Controller> MakeHellos(const Options& options, const std::vector<Place>& places) {
  std::vector<Controller> controllers;
  for (const Place& place : places) {
    const auto index = static_cast<std::uint32_t>(controllers.size());
    controllers.push_back(HelloController(platform::HostName(), place.address, options.first + index));
    controllers.back().speaker = index;
    controllers.back().lossPercent = options.lossPercent;
  }
  return controllers;
}

std::string ReadFile(const std::string& name) {
  const std::filesystem::path path(std::u8string(name.begin(), name.end()));
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file || std::filesystem::is_directory(path)) throw std::runtime_error(name + " cannot be read");
  return text;
}

Script ReadScript(const Options& options) {
  const bool movable = options.listen.empty() && !options.ownAddress;
  Script script({options.first, options.first + options.count - 1, movable});
  if (options.script) script.AddText(*options.script, ReadFile(*options.script));
  for (const std::string& line : options.events) script.AddLine("--event \"" + line + '"', line);
  return script;
}

void PrintStart(const Plant& plant, const std::vector<Place>& places) {
  const auto& controllers = plant.Controllers();
  std::printf("%zu controllers, %s at %s to %s at %s, sending from %s\n", controllers.size(),
              controllers.front().name.c_str(), platform::FormatIpv4(controllers.front().address).c_str(),
              controllers.back().name.c_str(), platform::FormatIpv4(controllers.back().address).c_str(),
              places.size() > 1 ? "their own addresses" : platform::FormatIpv4(places[0].address).c_str());
  std::fflush(stdout);
}

void PrintHello(const Plant& plant) {
  std::printf("\"%s\" at", plant.Controllers().front().name.c_str());
  for (const Controller& each : plant.Controllers())
    std::printf(" %s", platform::FormatIpv4(each.address).c_str());
  std::printf("; on the other host, start: kelseek doctor --hello %s\n",
              platform::FormatIpv4(plant.Controllers().front().address).c_str());
  std::fflush(stdout);
}

void PrintSummary(const Simulation::Tally& tally, std::uint64_t lost) {
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  std::printf("received %llu requests; sent %llu datagrams, dropped %llu on purpose, failed to send %llu\n",
              number(tally.requests), number(tally.sent), number(lost), number(tally.failed));
}

void RunPlant(const Options& options, const Script& script, platform::Event& stop) {
  const std::vector<Place> places = FindPlaces(options);
  const bool broadcasts = options.listen.empty();
  Plant plant(
      options.hello ? MakeHellos(options, places) : MakeControllers(options, PlanAddresses(options, places)),
      {options.delayMilliseconds, options.seed, broadcasts});
  for (const LifeEvent& event : script.Events()) plant.Schedule(event);
  Speakers speakers(platform::SystemUdpNetwork(), places,
                    {options.requestPort, options.responsePort, options.nonLocalPort}, broadcasts);
  std::optional<RandomLife> life;
  if (options.lifeSeconds > 0) {
    const Moment period(static_cast<Moment::rep>(options.lifeSeconds * 1000));
    life.emplace(options.first, options.count, period, options.seed);
  }
  std::optional<HelloLog> hello;
  if (options.hello) hello.emplace(options.first, places.size());
  if (!options.quiet) options.hello ? PrintHello(plant) : PrintStart(plant, places);
  const Simulation::Tally tally =
      Simulation(plant, speakers, life, hello, options.quiet).Run(stop, options.announce);
  if (!options.quiet) PrintSummary(tally, plant.Lost());
}

int Run(int count, const char* const* arguments) {
  platform::UseUtf8Output();
  int exitCode = 0;
  const auto options = ReadOptions(platform::ArgumentsInUtf8(count, arguments), exitCode);
  if (!options) return exitCode;
  const Script script = ReadScript(*options);
  for (const std::string& fault : script.Faults()) std::fprintf(stderr, "kelsim: %s\n", fault.c_str());
  if (!script.Faults().empty()) return kWrongUse;
  platform::Event stop(platform::Event::Kind::ManualReset);
  const platform::StopSignals signals(stop);
  RunPlant(*options, script, stop);
  return 0;
}

}  // namespace
}  // namespace kellanseek::kelsim

int main(int count, char** arguments) {
  try {
    return kellanseek::kelsim::Run(count, arguments);
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "kelsim: %s\n", error.what());
    return kellanseek::kelsim::kWrongUse;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kelsim: %s\n", error.what());
    return kellanseek::kelsim::kFailed;
  }
}

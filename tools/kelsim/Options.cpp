#include "tools/kelsim/Options.h"

#include <algorithm>
#include <stdexcept>

#include <CLI/CLI.hpp>

#include "tools/kelsim/Text.h"

namespace kellanseek::kelsim {
namespace {

constexpr int kWrongUse = 2;
constexpr std::uint32_t kMostControllers = 100'000;
constexpr std::uint32_t kMostDelay = 60'000;
constexpr std::uint32_t kHelloDelay = 50;

/// Option values as written, before their conversion.
struct Written {
  std::string interfaceName, address, baseAddress, script;
  std::vector<std::string> listen;
  bool silentStart = false;
  const CLI::Option* delay = nullptr;
};

std::string AddressFault(const std::string& text) {
  try {
    DottedAddress(text);
    return {};
  } catch (const std::invalid_argument& fault) {
    return fault.what();
  }
}

const CLI::Validator kAddress(AddressFault, "A.B.C.D");

void AddPlace(CLI::App& app, CLI::Option* count, Written& written, Options& options) {
  CLI::Option* const interfaceName = app.add_option("--interface", written.interfaceName,
                                                    "Send on this interface (default: the first that is up)")
                                         ->type_name("NAME");
  CLI::Option* const address =
      app.add_option("--address", written.address, "Send from this address of this host")
          ->type_name("ADDRESS")
          ->check(kAddress);
  CLI::Option* const listen =
      app.add_option("--listen", written.listen,
                     "One controller at each of these addresses of this host, answering polls only; with a "
                     "larger --count the others take the addresses after the last")
          ->type_name("ADDRESS")
          ->check(kAddress)
          ->expected(1)
          ->take_all();
  CLI::Option* const base =
      app.add_option("--base-address", written.baseAddress,
                     "Address of the first controller (default: the address after this host's in its subnet)")
          ->type_name("ADDRESS")
          ->check(kAddress);
  CLI::Option* const own =
      app.add_flag("--own-address", options.ownAddress, "One controller, at the address of this host");
  CLI::Option* const hello = app.add_flag("--hello", options.hello,
                                          "One controller at each address of this host, which names it and "
                                          "says whose broadcasts it hears: the other "
                                          "end of kelseek doctor --hello");
  hello->excludes(listen, base, own, count);
  interfaceName->excludes(address, listen);
  address->excludes(listen);
  base->excludes(listen, own);
  own->excludes(listen);
}

void AddPorts(CLI::App& app, Options& options) {
  app.add_option("--request-port", options.requestPort, "UDP port for requests")
      ->type_name("PORT")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  app.add_option("--response-port", options.responsePort, "UDP port for broadcast answers")
      ->type_name("PORT")
      ->capture_default_str();
  app.add_option("--non-local-port", options.nonLocalPort, "UDP port for polls; 0: no polls")
      ->type_name("PORT")
      ->capture_default_str();
}

void AddBehaviour(CLI::App& app, Written& written, Options& options) {
  written.delay = app.add_option("--delay-ms", options.delayMilliseconds,
                                 "Longest random delay of an answer, in milliseconds; with --hello 50")
                      ->type_name("MAX")
                      ->check(CLI::Range(kMostDelay))
                      ->capture_default_str();
  app.add_option("--seed", options.seed, "Seed of all random choices")->type_name("N")->capture_default_str();
  app.add_option("--loss", options.lossPercent, "Percentage of all datagrams that get lost")
      ->type_name("PERCENT")
      ->check(CLI::Range(100U))
      ->capture_default_str();
  app.add_option("--script", written.script,
                 "File of events, one per line: TIME ACTION CONTROLLER [ARGUMENT]")
      ->type_name("FILE");
  app.add_option("--event", options.events, "A single event; may be repeated")
      ->type_name("LINE")
      ->expected(1)
      ->take_all();
  app.add_option("--life", options.lifeSeconds, "Interval of random events, in seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.01, 1e6).description("0.01 to 1000000"));
  app.add_flag("--no-announce", written.silentStart, "Do not announce the controllers at the start");
  app.add_flag("--quiet,-q", options.quiet, "Print nothing but errors");
}

std::optional<std::string> IfGiven(const std::string& text) {
  if (text.empty()) return std::nullopt;
  return text;
}

std::optional<platform::Ipv4> AddressIfGiven(const std::string& text) {
  if (text.empty()) return std::nullopt;
  return DottedAddress(text);
}

void TakeCount(const CLI::Option& given, Options& options) {
  const auto listening = static_cast<std::uint32_t>(options.listen.size());
  if (given.count() == 0 && (listening != 0 || options.ownAddress)) options.count = std::max(1U, listening);
  if (options.ownAddress && options.count != 1) {
    throw CLI::ValidationError(
        "--own-address",
        "only one controller fits at this host's own address, not --count " + std::to_string(options.count));
  }
  if (options.count < listening) throw CLI::ValidationError("--count", "--listen names more addresses");
}

/// The definitions of the options, and what parsing them fills in.
struct CommandLine {
  Options options;
  Written written;
  CLI::App app{"A simulated plant: many controllers that answer discovery requests, until Ctrl-C.", "kelsim"};
  CLI::Option* count = nullptr;

  CommandLine() {
    count = app.add_option("--count", options.count, "Number of controllers")
                ->type_name("N")
                ->check(CLI::Range(1U, kMostControllers))
                ->capture_default_str();
    app.add_option(
           "--first", options.first,
           "Number of the first controller; names, identities and MAC addresses derive from the numbers")
        ->type_name("N")
        ->check(CLI::Range(1U, 1'000'000'000U))
        ->capture_default_str();
    AddPlace(app, count, written, options);
    AddPorts(app, options);
    AddBehaviour(app, written, options);
  }
};

}  // namespace

void DescribeOptions(const std::function<void(const CLI::App&)>& reader) { reader(CommandLine().app); }

std::optional<Options> ReadOptions(const std::vector<std::string>& arguments, int& exitCode) {
  CommandLine line;
  Options& options = line.options;
  const Written& written = line.written;
  try {
    line.app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    options.interfaceName = IfGiven(written.interfaceName);
    options.address = AddressIfGiven(written.address);
    options.baseAddress = AddressIfGiven(written.baseAddress);
    options.script = IfGiven(written.script);
    for (const std::string& text : written.listen) options.listen.push_back(DottedAddress(text));
    options.announce = !written.silentStart;
    // Somebody waits for the answer.
    if (options.hello && written.delay->count() == 0) options.delayMilliseconds = kHelloDelay;
    TakeCount(*line.count, options);
    if (options.hello && (options.script || !options.events.empty() || options.lifeSeconds > 0))
      throw CLI::ValidationError("--hello", "no events happen to it");
    return options;
  } catch (const CLI::ParseError& error) {
    exitCode = line.app.exit(error) == 0 ? 0 : kWrongUse;
    return std::nullopt;
  }
}

}  // namespace kellanseek::kelsim

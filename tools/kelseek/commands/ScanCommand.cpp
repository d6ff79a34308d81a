#include <algorithm>
#include <cstdint>
#include <iostream>
#include <string>

#include "client/Scanner.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "commands/DiscoveryCommands.h"
#include "config/Configuration.h"
#include "output/Listing.h"
#include "platform/DebugOutput.h"
#include "platform/HostProbe.h"
#include "platform/RegistryStore.h"
#include "platform/Terminal.h"

namespace kellanseek::kelseek {
namespace {

constexpr double kUsualWait = 2;

struct ScanOptions : SearchOptions {
  std::string network;
  std::uint32_t rate = 200;
  std::uint16_t port = 0;  ///< 0: that of the configuration.
  bool yes = false;
};

/// The port at which controllers are asked by address, as a component would use it.
std::uint16_t ConfiguredPort() {
  config::CKelLanSeekConfigSettings settings;
  std::wstring directory;
  if (config::ConfiguredDirectory(platform::SystemRegistryStore(), directory) == S_OK)
    config::LoadConfiguration(directory, settings, {platform::ProcessDebugOutput(), L"kelseek"});
  return static_cast<std::uint16_t>(settings.NonLocalPort);
}

/// One line on standard error that tells how far the scan is, if somebody sees it.
class Progress {
 public:
  explicit Progress(std::uint64_t all) : all_(std::to_string(all)), shown_(platform::ErrorsAreSeen()) {}
  ~Progress() { Show(std::string()); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void operator()(const ScanResult& result) {
    Show("asked " + std::to_string(result.asked) + " of " + all_ + ", " +
         std::to_string(result.controllers.size()) + " found");
  }

 private:
  void Show(const std::string& text) {
    if (!shown_) return;
    const std::size_t width = text.size();
    std::cerr << '\r' << text << std::string(last_ > width ? last_ - width : 0, ' ')
              << (text.empty() ? "\r" : "") << std::flush;
    last_ = width;
  }

  const std::string all_;
  const bool shown_;
  std::size_t last_ = 0;
};

void Warn(const ScanResult& result) {
  if (result.notSent == 0) return;
  std::cerr << "kelseek: " << Count(result.notSent, "address", "addresses")
            << " could not be asked: " << Printable(platform::TextOfError(result.error)) << '\n';
}

int RunScan(Session& session, const ScanOptions& options) {
  const Selection selection(options.selection);
  const ScanRange range = ReadScanRange(options.network, options.yes);
  const std::uint16_t port = options.port != 0 ? options.port : ConfiguredPort();
  TimeSpan scanning(session, std::nullopt);
  ScanResult result;
  {
    Progress progress(range.Size());
    result = Scan(session, ScanSchedule(range, options.rate), port,
                  std::chrono::duration<double>(options.wait.value_or(kUsualWait)),
                  [&progress](const ScanResult& now) { progress(now); });
  }
  Listing listing;
  listing.waited.seconds = scanning.Elapsed();
  listing.waited.complete = !result.stopped;
  if (result.stopped) listing.waited.until = "until it was stopped";
  listing.asked = result.asked;
  listing.controllers = std::move(result.controllers);
  selection.Sort(listing.controllers);
  Print(listing, options.format, session.colours);
  Warn(result);
  return listing.controllers.empty() ? kNothingFound : kFound;
}

}  // namespace

void AddScanCommand(CLI::App& app, Session& session) {
  AddCommand<ScanOptions>(
      app, session, "scan", "Ask every address of a network, one after the other",
      [](CLI::App& command, ScanOptions& options) {
        command.add_option("network", options.network, "A network like 10.1.0.0/24")
            ->type_name("NETWORK")
            ->required();
        command.add_option("--rate", options.rate, "Addresses asked in a second")
            ->type_name("NUMBER")
            ->check(CLI::Range(1, 10000))
            ->capture_default_str();
        command
            .add_option("--port", options.port,
                        "UDP port of the controllers (default: NonLocalPort of the settings)")
            ->type_name("PORT")
            ->check(CLI::Range(1, 65535));
        command.add_flag("--yes", options.yes, "Also networks of more than 65536 addresses, up to /8");
        BindSearchOptions(command, options, "Time for the answers after the last question (default: 2)");
        BindFormat(command, options);
        BindSort(command, options.selection);
      },
      [&session](const ScanOptions& options) { return RunScan(session, options); });
}

}  // namespace kellanseek::kelseek

#include "commands/ConfigCommands.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <string>

#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "config/Configuration.h"
#include "config/HostNetworks.h"
#include "configcheck/ConfigCheck.h"
#include "configcheck/DefaultConfiguration.h"
#include "platform/Files.h"
#include "platform/NetworkAddresses.h"
#include "platform/RegistryStore.h"

namespace kellanseek::kelseek {
namespace {

constexpr int kUnreadable = 2;

struct CheckOptions {
  std::string directory;
};

struct InitOptions {
  std::string directory;
  bool use = false;
};

/// Components read the registry later, with another working directory, so a relative path would be wrong.
std::wstring Absolute(const std::string& directory) {
  const std::filesystem::path path(std::u8string(directory.begin(), directory.end()));
  const std::u8string absolute = (std::filesystem::absolute(path) / "").parent_path().u8string();
  return FromUtf8(std::string(absolute.begin(), absolute.end()));
}

std::wstring DirectoryToCheck(const CheckOptions& options) {
  if (!options.directory.empty()) return FromUtf8(options.directory);
  platform::RegistryStore& registry = platform::SystemRegistryStore();
  std::wstring configured;
  const HRESULT result = config::ConfiguredDirectory(registry, configured);
  if (FAILED(result)) {
    throw CommandError(kWrongUse, "the configuration directory of this host cannot be read: " +
                                      Printable(registry.LastErrorText()) + " (" + CodeText(result) + ")");
  }
  if (result != S_OK) {
    throw CommandError(
        kWrongUse,
        "no configuration directory is set on this host; name one, or set it with init-config --use");
  }
  return configured;
}

std::string Line(const configcheck::ConfigRemark& remark, bool colours) {
  std::string line = Printable(remark.file);
  if (remark.line != 0) line += ":" + std::to_string(remark.line);
  const std::string text = Printable(remark.text);
  if (!remark.finding) return line + ": " + text;
  return line + ": " + (colours ? "\x1b[33mfinding:\x1b[0m " : "finding: ") + text;
}

int Check(const CheckOptions& options, bool colours) {
  const configcheck::ConfigReport report = configcheck::CheckConfiguration(
      DirectoryToCheck(options), config::UsableNetworks(platform::SystemNetworkAddresses()));
  std::size_t findings = 0;
  for (const configcheck::ConfigRemark& remark : report.remarks) {
    std::cout << Line(remark, colours) << '\n';
    if (remark.finding) ++findings;
  }
  if (report.unreadable) return kUnreadable;
  std::cout << (findings == 0 ? "clean" : Count(findings, "finding")) << '\n';
  return report.Clean() ? kFound : kNothingFound;
}

int Init(const InitOptions& options) {
  const std::wstring directory = Absolute(options.directory);
  const std::wstring files[] = {config::ScanConfigurationFile(directory),
                                config::StaticControllerFile(directory)};
  const bool complete = std::all_of(std::begin(files), std::end(files), [](const std::wstring& file) {
    return platform::KindOfPath(file) == platform::PathKind::Other;
  });
  std::wstring error;
  if (options.use && complete) {
    std::cout << "Unchanged: ";
  } else if (configcheck::WriteDefaultConfiguration(directory, error)) {
    std::cout << "Written: ";
  } else {
    throw CommandError(kComponentFailed, Printable(error));
  }
  std::cout << Printable(files[0]) << ", " << Printable(files[1]) << '\n';
  if (!options.use) return kFound;
  platform::RegistryStore& registry = platform::SystemRegistryStore();
  const HRESULT result = config::SetConfiguredDirectory(registry, directory);
  if (FAILED(result)) {
    throw CommandError(kComponentFailed, "the directory cannot be stored in the registry: " +
                                             Printable(registry.LastErrorText()) + " (" + CodeText(result) +
                                             ")");
  }
  std::cout << "Components created from now on read " << Printable(directory) << ".\n";
  return kFound;
}

}  // namespace

void AddConfigCommands(CLI::App& app, Session& session) {
  AddCommand<CheckOptions>(
      app, session, "check-config",
      "Report how the component reads its two files on this host. Exit 0: clean, 1: findings, 2: unreadable",
      [](CLI::App& command, CheckOptions& options) {
        command
            .add_option("directory", options.directory,
                        "Directory of the files (default: this host's configuration directory)")
            ->type_name("DIR");
      },
      [&session](const CheckOptions& options) { return Check(options, session.colours); });
  AddCommand<InitOptions>(
      app, session, "init-config", "Write both files with every setting at its default and a comment on each",
      [](CLI::App& command, InitOptions& options) {
        command
            .add_option(
                "directory", options.directory,
                "Directory to write to; created if necessary, and existing files are never overwritten")
            ->type_name("DIR")
            ->required();
        command.add_flag(
            "--use", options.use,
            "Also make it this host's configuration directory; both files may then exist already");
      },
      [](const InitOptions& options) { return Init(options); });
}

}  // namespace kellanseek::kelseek

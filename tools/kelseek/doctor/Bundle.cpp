#include "doctor/Bundle.h"

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

#include "client/Session.h"
#include "client/Text.h"
#include "doctor/ReportReader.h"
#include "doctor/Tar.h"
#include "platform/Files.h"
#include "platform/HostProbe.h"
#include "platform/NetworkAddresses.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;

/// Larger files are no configuration.
constexpr std::uintmax_t kMostConfigurationBytes = std::uintmax_t{16} << 20;

std::string InterfaceLines() {
  platform::NetworkAddresses& system = platform::SystemNetworkAddresses();
  const auto addresses = system.Addresses();
  std::string text;
  for (const platform::InterfaceDetails& each : system.Details()) {
    text += std::to_string(each.index) + " " + ToUtf8(each.name) + (each.isUp ? " up" : " down") +
            (each.hasCarrier ? "" : " no-carrier") + (each.isLoopback ? " loopback" : "") +
            (each.isPointToPoint ? " point-to-point" : "") + (each.hasIpv6 ? " ipv6" : "") + "\n";
    for (const platform::AddressRow& row : addresses.value_or(std::vector<platform::AddressRow>())) {
      if (row.interfaceIndex == each.index)
        text += "  " + platform::FormatIpv4(row.address) + " mask " + platform::FormatIpv4(row.mask) + "\n";
    }
  }
  return text;
}

std::optional<std::string> ContentOf(const std::string& name) {
  const std::filesystem::path path(std::u8string(name.begin(), name.end()));
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error) ||
      std::filesystem::file_size(path, error) > kMostConfigurationBytes || error)
    return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::array<char, 64> text{};
  const std::tm* const utc = std::gmtime(&now);
  if (utc != nullptr) std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", utc);
  return text.data();
}

}  // namespace

Bundle::Bundle(const Json& report, std::string findings, std::string findingsJson, Evidence evidence) {
  files_.push_back({"README.txt", "this list", {}});
  Add("findings.txt", "what the doctor found", std::move(findings));
  Add("findings.json", "the same for programs", std::move(findingsJson));
  Add("report.json", "what the component says of itself, with every controller that it knows",
      report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  AddConfiguration(MemberOf(report, "configuration"));
  Add("interfaces.txt", "the network interfaces and addresses of this host", InterfaceLines());
  Add("routes.txt", "its routes", platform::RouteLines());
  Add("neighbours.txt", "the hosts nearby whose hardware addresses it knows", platform::NeighbourLines());
  AddEvidence(std::move(evidence));
  files_.front().content = Readme(report);
}

void Bundle::Add(std::string name, std::string what, std::string content) {
  files_.push_back({std::move(name), std::move(what), std::move(content)});
}

void Bundle::AddConfiguration(const Json& configuration) {
  const struct {
    const char* member;
    const char* name;
    const char* what;
  } files[] = {{"settingsFile", "configuration/lanseekconf.xml", "the settings"},
               {"controllersFile", "configuration/controllerid.xml", "the configured controllers"}};
  for (const auto& each : files) {
    const std::string path = TextOf(MemberOf(configuration, each.member), "path");
    auto content = path.empty() ? std::nullopt : ContentOf(path);
    if (content) {
      Add(each.name, each.what + (", from " + path), std::move(*content));
    } else {
      missing_ +=
          std::string(each.name) + ": " +
          (path.empty() ? "no configuration directory is set" : path + " is not there or cannot be read") +
          ".\n";
    }
  }
}

void Bundle::AddEvidence(Evidence evidence) {
  if (evidence.whyNoTraces.empty()) {
    Add("traces.log", "the traces of the component while the doctor listened", std::move(evidence.traces));
  } else {
    missing_ += "traces.log: " + evidence.whyNoTraces + "\n";
  }
  if (evidence.whyNoCapture.empty()) {
    Add("capture.pcap",
        "the datagrams on the ports of the search in that time, those of other hosts too, 64 MB at most",
        std::move(evidence.capture));
  } else {
    missing_ += "capture.pcap: it takes the rights of an administrator. " + evidence.whyNoCapture + "\n";
  }
}

std::string Bundle::Readme(const Json& report) const {
  std::string text = "Made by kelseek doctor, component " + TextOf(report, "version") + ", on " +
                     platform::HostName() + " at " + Now() + ".\n\nIn this archive:\n";
  for (const BundleFile& each : files_) text += "  " + each.name + ": " + each.what + "\n";
  text +=
      "Nothing else is in it. It holds names and addresses of hosts and controllers, and the texts of the "
      "configuration.\n";
  if (!missing_.empty()) text += "\nNot in it:\n" + missing_;
  return text;
}

void Bundle::Write(const std::string& file) const {
  Tar tar(std::time(nullptr));
  for (const BundleFile& each : files_) tar.Add(each.name, each.content);
  std::wstring why;
  const HRESULT result = platform::CreateNewFile(FromUtf8(file), tar.Take(), why);
  if (result == S_FALSE) RequireNewFile(file);
  if (result != S_OK)
    throw CommandError(kComponentFailed, Printable(file) + " cannot be written: " + Printable(why));
}

void RequireNewFile(const std::string& file) {
  if (platform::KindOfPath(FromUtf8(file)) != platform::PathKind::Nothing)
    throw CommandError(kWrongUse, Printable(file) + " exists already");
}

}  // namespace kellanseek::kelseek

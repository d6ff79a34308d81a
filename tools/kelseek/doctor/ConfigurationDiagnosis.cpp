#include "doctor/ConfigurationDiagnosis.h"

#include <cstdint>
#include <string>

#include "doctor/ReportReader.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;

constexpr std::int64_t kRequestPort = 5512;
constexpr std::int64_t kResponsePort = 5513;
constexpr std::int64_t kNonLocalPort = 5514;

void File(const Json& file, Findings& findings) {
  if (TextOf(file, "state") != "refused") return;
  findings.push_back({Mark::Fault, "config-refused",
                      "The component refused a configuration file, so it is not in force.",
                      TextOf(file, "path") + ": " + TextOf(file, "remark"),
                      "Correct the file; kelseek check-config shows where."});
}

void Ports(const Json& report, Findings& findings) {
  const std::int64_t request = SettingOf(report, "RequestPort");
  const std::int64_t response = SettingOf(report, "ResponsePort");
  const std::int64_t poll = SettingOf(report, "NonLocalPort");
  const std::string seen = "RequestPort is " + std::to_string(request) + ", ResponsePort " +
                           std::to_string(response) + ", NonLocalPort " + std::to_string(poll) + ".";
  // A report without them says nothing about them.
  if (request == 0 || response == 0) return;
  if (request == response) {
    findings.push_back({Mark::Fault, "ports-same", "Requests and answers have the same UDP port.", seen,
                        "Give them different ones: controllers use " + std::to_string(kRequestPort) +
                            " and " + std::to_string(kResponsePort) + " unless they are set up otherwise.",
                        kAllNetworks});
  } else if (request == kResponsePort && response == kRequestPort) {
    findings.push_back({Mark::Fault, "ports-swapped", "The ports of requests and answers are swapped.", seen,
                        "Exchange RequestPort and ResponsePort in the settings.", kAllNetworks});
  } else if (request != kRequestPort || response != kResponsePort || poll != kNonLocalPort) {
    findings.push_back({Mark::Remark, "ports-changed", "The search uses other UDP ports than usual.", seen,
                        "Take them out of the settings, unless the controllers are set to the same ports."});
  }
}

std::string ModuleInWords(const std::string& module) {
  return module.empty() ? "no component" : "the component " + module;
}

void Registry(const platform::RegistryFiles& files, const std::string& directory, Findings& findings) {
  if (files.passedOver.empty()) return;
  const bool isOtherModule = files.module != files.passedOverModule;
  const std::string what = !isOtherModule ? "."
                           : files.module.empty()
                               ? ": its programs find no component."
                               : ": its programs load another component than those of other users.";
  findings.push_back(
      {Mark::Remark, "registry-other",
       "This user has a registry file of their own, so the one of all users does not count" + what,
       files.read + " is read and not " + files.passedOver + "; it names " + ModuleInWords(files.module) +
           (isOtherModule ? ", the other one " + ModuleInWords(files.passedOverModule) : "") +
           "; the configuration directory is " + (directory.empty() ? "not set" : directory) + ".",
       "Remove the file, or make the same entries in both, unless that is intended."});
}

}  // namespace

void AppendConfigurationFindings(const Facts& facts, Findings& findings) {
  const Json& configuration = MemberOf(facts.report, "configuration");
  const std::string directory = TextOf(configuration, "directory");
  File(MemberOf(configuration, "settingsFile"), findings);
  File(MemberOf(configuration, "controllersFile"), findings);
  if (facts.configUnreadable)
    findings.push_back(
        {Mark::Fault, "config-unreadable", "The configuration cannot be read.", directory,
         "Create it with kelseek init-config, or correct the path or the rights of the files."});
  for (const std::string& each : facts.configFindings)
    findings.push_back({Mark::Remark, "config",
                        "The configuration has something that does not count or makes no sense.", each,
                        "Correct the file unless that is intended."});
  Ports(facts.report, findings);
  Registry(facts.registry, directory, findings);
}

}  // namespace kellanseek::kelseek

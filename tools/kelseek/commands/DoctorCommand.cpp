#include "commands/DoctorCommand.h"

#include <algorithm>
#include <string>
#include <vector>

#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "doctor/Diagnosis.h"
#include "doctor/Examination.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

struct DoctorOptions {
  std::vector<std::string> addresses;
  std::vector<std::string> expected;
  bool json = false;
};

CLI::Validator Address() {
  const auto check = [](const std::string& text) {
    return platform::ParseIpv4(text) == platform::kNoAddress ? text + " is not an IPv4 address"
                                                             : std::string();
  };
  return {check, "ADDRESS"};
}

std::vector<platform::Ipv4> Parsed(const std::vector<std::string>& texts) {
  std::vector<platform::Ipv4> addresses;
  for (const std::string& text : texts) addresses.push_back(platform::ParseIpv4(text));
  return addresses;
}

std::size_t CountOf(const Findings& findings, Mark mark) {
  return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(),
                                                [mark](const Finding& each) { return each.mark == mark; }));
}

std::string TextOf(const Finding& finding, bool colours) {
  const char* const mark = finding.mark == Mark::Fine     ? "fine"
                           : finding.mark == Mark::Remark ? "remark"
                                                          : "FAULT";
  const Colour colour = finding.mark == Mark::Fine     ? Colour::Green
                        : finding.mark == Mark::Remark ? Colour::Yellow
                                                       : Colour::Red;
  constexpr std::size_t kMarkColumns = 8;
  const std::string indent(kMarkColumns, ' ');
  std::string text = Paint(Pad(mark, kMarkColumns), colour, colours) + Printable(finding.what) + "\n";
  if (!finding.seen.empty()) text += indent + "Seen: " + Printable(finding.seen) + "\n";
  if (!finding.todo.empty()) text += indent + "Help: " + Printable(finding.todo) + "\n";
  return text;
}

std::string Summary(const Findings& findings) {
  const std::size_t faults = CountOf(findings, Mark::Fault);
  const std::size_t remarks = CountOf(findings, Mark::Remark);
  const std::string text = faults == 0 ? "No faults" : Count(faults, "fault");
  return text + (remarks == 0 ? "" : ", " + Count(remarks, "remark")) + ".\n";
}

std::string JsonOf(const Findings& findings, const Facts& facts) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Finding& each : findings) {
    const char* const mark = each.mark == Mark::Fine     ? "fine"
                             : each.mark == Mark::Remark ? "remark"
                                                         : "fault";
    list.push_back(
        {{"mark", mark}, {"code", each.code}, {"what", each.what}, {"seen", each.seen}, {"todo", each.todo}});
  }
  const nlohmann::ordered_json document = {{"v", 1}, {"findings", std::move(list)}, {"report", facts.report}};
  return document.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

int Run(Session& session, const DoctorOptions& options) {
  if (!options.json) Write("Looking at this host and listening for one sweep, a few seconds.\n\n");
  const Facts facts = Examine(session, {Parsed(options.addresses), Parsed(options.expected)});
  const Findings findings = Diagnose(facts);
  if (options.json) {
    Write(JsonOf(findings, facts));
  } else {
    for (const Finding& each : findings) Write(TextOf(each, session.colours));
    Write("\n" + Summary(findings));
  }
  return CountOf(findings, Mark::Fault) == 0 ? kFound : kNothingFound;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Session& session) {
  AddCommand<DoctorOptions>(
      app, session, "doctor", "Find out why a controller is missing. Exit 0: no fault, 1: faults",
      [](CLI::App& command, DoctorOptions& options) {
        command.add_option("address", options.addresses, "Addresses to ask directly")
            ->type_name("ADDRESS")
            ->check(Address());
        command
            .add_option("--expect", options.expected, "Address of a controller that broadcasts should find")
            ->type_name("ADDRESS")
            ->check(Address());
        command.add_flag("--json", options.json, "Print JSON, with the component's report");
      },
      [&session](const DoctorOptions& options) { return Run(session, options); });
}

}  // namespace kellanseek::kelseek

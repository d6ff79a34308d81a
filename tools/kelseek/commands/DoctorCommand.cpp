#include "commands/DoctorCommand.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/Text.h"
#include "client/Waiting.h"
#include "commands/Command.h"
#include "doctor/Bundle.h"
#include "doctor/Diagnosis.h"
#include "doctor/Examination.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

struct DoctorOptions {
  std::vector<std::string> addresses;
  std::vector<std::string> expected;
  bool hello = false;
  bool json = false;
  std::string bundle;
  double bundleSeconds = 30;
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
  addresses.reserve(texts.size());
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
  return text + (remarks == 0 ? "" : ", " + Count(remarks, "remark")) + ".\n" +
         (faults == 0 ? "If a controller is missing, name its address: kelseek doctor ADDRESS, and --expect "
                        "ADDRESS if it is on a network of this host.\n"
                      : "");
}

using OrderedJson = nlohmann::ordered_json;

OrderedJson JsonOf(const Findings& findings) {
  OrderedJson list = OrderedJson::array();
  for (const Finding& each : findings) {
    const char* const mark = each.mark == Mark::Fine     ? "fine"
                             : each.mark == Mark::Remark ? "remark"
                                                         : "fault";
    list.push_back(
        {{"mark", mark}, {"code", each.code}, {"what", each.what}, {"seen", each.seen}, {"todo", each.todo}});
  }
  return list;
}

std::string Line(const OrderedJson& document, int indent = -1) {
  return document.dump(indent, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

std::string TextOf(const Findings& findings, bool colours) {
  std::string text;
  for (const Finding& each : findings) text += TextOf(each, colours);
  return text + "\n" + Summary(findings);
}

Bundle MakeBundle(const DoctorOptions& options, const Findings& findings, const Facts& facts,
                  Evidence evidence) {
  Bundle bundle(facts.report, TextOf(findings, false), Line(JsonOf(findings), 2), std::move(evidence));
  bundle.Write(options.bundle);
  return bundle;
}

std::string TextOf(const Bundle& bundle, const std::string& file) {
  std::string text = "\nWritten: " + Printable(file) + ", which contains\n";
  for (const BundleFile& each : bundle.Files())
    text +=
        "  " + each.name + " (" + Count(each.content.size(), "byte") + "): " + Printable(each.what) + "\n";
  return text;
}

OrderedJson JsonOf(const Bundle& bundle, const std::string& file) {
  OrderedJson files = OrderedJson::array();
  for (const BundleFile& each : bundle.Files())
    files.push_back({{"name", each.name}, {"bytes", each.content.size()}});
  return {{"file", file}, {"files", std::move(files)}};
}

void Announce(const DoctorOptions& options) {
  if (options.bundle.empty()) {
    Write("Looking at this host and asking everybody once, which takes a few seconds.\n\n");
  } else {
    Write("Looking at this host and listening for " + SecondsText(options.bundleSeconds) +
          "; Ctrl-C ends that earlier.\n\n");
  }
}

int Run(Session& session, const DoctorOptions& options) {
  Questions questions{Parsed(options.addresses), Parsed(options.expected), options.hello, std::nullopt};
  if (!options.bundle.empty()) {
    RequireNewFile(options.bundle);
    questions.evidenceSeconds = options.bundleSeconds;
  }
  if (!options.json) Announce(options);
  Evidence evidence;
  const Facts facts = Examine(session, questions, evidence);
  const Findings findings = Diagnose(facts);
  OrderedJson document = {{"v", 1}, {"findings", JsonOf(findings)}};
  if (!options.json) Write(TextOf(findings, session.colours));
  if (!options.bundle.empty()) {
    const Bundle bundle = MakeBundle(options, findings, facts, std::move(evidence));
    document["bundle"] = JsonOf(bundle, options.bundle);
    if (!options.json) Write(TextOf(bundle, options.bundle));
  }
  document["report"] = facts.report;
  if (options.json) Write(Line(document));
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
            ->allow_extra_args(false)
            ->check(Address());
        command.add_flag("--hello", options.hello,
                         "Prove the way to kelsim --hello on another host, and back; ADDRESS: of that host");
        CLI::Option* const bundle =
            command
                .add_option(
                    "--bundle", options.bundle,
                    "Write an archive (tar) with everything that helps to find a fault: the report, the "
                    "findings, the configuration, traces, the datagrams seen")
                ->type_name("FILE");
        command.add_option("--bundle-seconds", options.bundleSeconds, "Time to record traces and datagrams")
            ->type_name("SECONDS")
            ->check(Seconds())
            ->needs(bundle)
            ->capture_default_str();
        command.add_flag("--json", options.json, "Print JSON, with the component's report");
      },
      [&session](const DoctorOptions& options) { return Run(session, options); });
}

}  // namespace kellanseek::kelseek

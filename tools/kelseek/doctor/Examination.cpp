#include "doctor/Examination.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include <kellanseek/client.hpp>

#include "client/Component.h"
#include "client/SocketLibrary.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "config/HostNetworks.h"
#include "configcheck/ConfigCheck.h"
#include "doctor/Echoes.h"
#include "doctor/Hello.h"
#include "doctor/ReportReader.h"
#include "doctor/SharedMacs.h"
#include "doctor/Volley.h"
#include "doctor/Watch.h"
#include "platform/NetworkAddresses.h"
#include "platform/Process.h"
#include "platform/TraceCapture.h"
#include "protocol/MessageReader.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;
using std::chrono::milliseconds;

/// Longer than a sweep takes with the default settings.
constexpr double kLongestSweep = 15;
/// Most controllers have answered by then, and the answers to the doctor's own questions come before the
/// sweep ends.
constexpr double kFirstLook = 1.5;
constexpr std::size_t kMostSurveyed = 200;
constexpr milliseconds kSettling{100};
constexpr milliseconds kEchoTime{400};
constexpr milliseconds kAnswerTime{1500};
/// A controller that is too slow for the component must not look like one that is off.
constexpr milliseconds kPatience{9000};
/// So many new controllers in the last second of a sweep are no latecomers: it takes a longer look.
constexpr std::size_t kManyArrivals = 200;
constexpr milliseconds kLongerLook{2000};
/// So many silent configured controllers are asked without being named; more would have the same cause.
constexpr std::size_t kMaxSilentAsked = 8;

std::uint16_t PortOf(const Json& report, const char* setting) {
  return static_cast<std::uint16_t>(SettingOf(report, setting));
}

/// Runs a function on a thread of its own; if the system refuses one, where the result is asked for.
template <typename Function, typename... Arguments>
auto Aside(Function function, Arguments... arguments) {
  try {
    return std::async(std::launch::async, function, arguments...);
  } catch (const std::system_error&) {
    return std::async(std::launch::deferred, function, arguments...);
  }
}

AddressFacts Question(platform::Ipv4 address, std::uint16_t port) {
  AddressFacts facts;
  facts.address = address;
  facts.route = platform::RouteTo(address);
  const std::string question = protocol::BuildRequest(protocol::MessageType::FullRequestMsg);
  const platform::Ipv4 next =
      facts.route.kind == platform::Route::Kind::Gateway ? facts.route.gateway : address;
  facts.reply = platform::Ask(address, port, question, kAnswerTime);
  facts.neighbour = platform::NeighbourStateOf(next);
  if (facts.reply.kind == platform::Reply::Kind::Silent &&
      facts.neighbour != platform::NeighbourState::Silent) {
    facts.reply = platform::Ask(address, port, question, kPatience);
    // The system notices only meanwhile that a neighbour has gone.
    facts.neighbour = platform::NeighbourStateOf(next);
  }
  if (facts.reply.kind != platform::Reply::Kind::Answer) return facts;
  protocol::Message message;
  const std::string& datagram = facts.reply.datagram;
  const auto parsed = protocol::ParseMessage(datagram, datagram.size(), message);
  facts.isDiscoveryMessage = parsed.outcome == protocol::ParseResult::Outcome::Accepted;
  facts.name = ToUtf8(message.identity.ctrlName.Wide());
  facts.systemId = ToUtf8(message.identity.systemID);
  facts.mac = ToUtf8(message.identity.macAddress);
  return facts;
}

/// Asks all addresses at the same time.
std::vector<AddressFacts> AskAll(const std::vector<platform::Ipv4>& addresses, std::uint16_t port) {
  std::vector<std::future<AddressFacts>> running;
  running.reserve(addresses.size());
  for (const platform::Ipv4 address : addresses) running.push_back(Aside(Question, address, port));
  std::vector<AddressFacts> answers;
  answers.reserve(addresses.size());
  for (auto& each : running) answers.push_back(each.get());
  return answers;
}

/// Asks known controllers five times each, while the component listens: those of the first look by a thread
/// of its own, and at the end those that were found since.
class Survey {
 public:
  explicit Survey(platform::Event& never) : never_(never) {}

  void Start(const Json& report) {
    running_ = Aside(AskFiveTimes, Choose(report), PortOf(report, "NonLocalPort"), Timeout(report),
                     std::ref(never_));
  }
  bool IsStarted() const { return running_.valid(); }

  AnswerFacts Finish(const Json& report) {
    AnswerFacts facts;
    facts.timeout = Timeout(report);
    if (running_.valid()) facts.each = running_.get();
    for (const Answers& late :
         AskFiveTimes(Choose(report), PortOf(report, "NonLocalPort"), facts.timeout, never_))
      facts.each.push_back(late);
    facts.leftOut = leftOut_;
    return facts;
  }

 private:
  static milliseconds Timeout(const Json& report) {
    return std::chrono::seconds(std::clamp<std::int64_t>(SettingOf(report, "NonLocalRefreshTimeout"), 1, 10));
  }

  /// Listed controllers of the network that have not been chosen before.
  std::vector<Target> Choose(const Json& report) {
    std::vector<Target> targets;
    leftOut_ = 0;
    if (PortOf(report, "NonLocalPort") == 0) return targets;
    for (const Json& each : ListOf(report, "controllers")) {
      const platform::Ipv4 address = platform::ParseIpv4(TextOf(each, "address"));
      if (!FlagOf(each, "listed") || TextOf(each, "type") != "real" || address == platform::kNoAddress)
        continue;
      if (chosen_.count(address) != 0) continue;
      if (chosen_.size() >= kMostSurveyed) {
        ++leftOut_;
      } else {
        chosen_.insert(address);
        targets.push_back({DescriptionOf(each), address});
      }
    }
    return targets;
  }

  platform::Event& never_;
  std::set<platform::Ipv4> chosen_;
  std::size_t leftOut_ = 0;
  std::future<std::vector<Answers>> running_;
};

std::vector<std::uint16_t> PortsOf(const Json& report) {
  return {PortOf(report, "RequestPort"), PortOf(report, "ResponsePort"), PortOf(report, "NonLocalPort")};
}

/// Without its threads the component never completes a sweep.
bool IsThreadRefused(const Json& report) {
  const Json& all = ListOf(report, "threads");
  return std::any_of(all.begin(), all.end(), [](const Json& each) { return !FlagOf(each, "started", true); });
}

std::size_t ArrivedWithin(milliseconds span, const Json& report) {
  const auto age = [](const Json& each) { return NumberOf(each, "firstHeardMsAgo"); };
  const Json& all = ListOf(report, "controllers");
  return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [&](const Json& each) {
    return age(each) > 0 && age(each) < static_cast<std::uint64_t>(span.count());
  }));
}

/// The component's last report. When controllers still appear in numbers, looks for some time at those that
/// cannot be answers to its request.
void TakeReport(Session& session, const client::Client& client, Facts& facts) {
  facts.report = Json::parse(client.report());
  if (client.sweeps() == 0 || ArrivedWithin(std::chrono::seconds(1), facts.report) < kManyArrivals) return;
  platform::WaitForAny({&session.stop}, kLongerLook);
  facts.report = Json::parse(client.report());
  facts.arrivals = {ArrivedWithin(kLongerLook, facts.report),
                    std::chrono::duration<double>(kLongerLook).count()};
}

/// Lets a component object listen for one sweep, and as long as the evidence is to be collected, and looks at
/// the networks and the known controllers meanwhile.
void Listen(Session& session, const Questions& questions, Facts& facts, Evidence& evidence) {
  const bool keep = questions.evidenceSeconds.has_value();
  // Before the component takes what descriptors there are.
  platform::Event never(platform::Event::Kind::ManualReset);
  const auto traces = keep ? platform::CaptureTraces(evidence.whyNoTraces) : nullptr;
  Watch watch;
  const client::Client client = Connect(session);
  const Json first = Json::parse(client.report());
  watch.Start(PortsOf(first), PortOf(first, "ResponsePort"), keep);
  Survey survey(never);
  SharedMacs macs(client);
  const double least = questions.evidenceSeconds.value_or(0);
  TimeSpan listening(session, std::max(kLongestSweep, least));
  while (listening.Elapsed() < least || (client.sweeps() == 0 && listening.Elapsed() < kLongestSweep)) {
    constexpr milliseconds kPoll{50};
    if (platform::WaitForAny({&session.stop}, kPoll).Signalled(0)) break;
    macs.Look();
    if (survey.IsStarted() || listening.Elapsed() < kFirstLook) continue;
    const Json look = Json::parse(client.report());
    if (IsThreadRefused(look)) break;
    survey.Start(look);
  }
  facts.listened = listening.Elapsed();
  facts.wire = watch.Stop();
  // What was seen last needs a moment to arrive in the list.
  platform::WaitForAny({&never}, kSettling);
  facts.resources = platform::ResourcesOfProcess();
  macs.Look();
  facts.sharedMacs = macs.Found();
  for (const SharedMac& each : facts.wire.sharedMacs) {
    const auto same = [&](const SharedMac& other) { return other.mac == each.mac; };
    if (std::none_of(facts.sharedMacs.begin(), facts.sharedMacs.end(), same))
      facts.sharedMacs.push_back(each);
  }
  TakeReport(session, client, facts);
  facts.answers = survey.Finish(facts.report);
  if (!keep) return;
  evidence.capture = watch.TakeCapture();
  evidence.whyNoCapture = facts.wire.whyNot;
  if (traces) evidence.traces = traces->Read();
}

void LookAtSockets(Facts& facts) {
  const std::uint16_t request = PortOf(facts.report, "RequestPort");
  const std::uint16_t response = PortOf(facts.report, "ResponsePort");
  facts.echoes = TryEchoes(facts.report, kEchoTime, std::numeric_limits<std::size_t>::max());
  for (const std::uint16_t port : {request, response}) {
    PortFacts found{port, platform::HoldersOfUdpPort(port)};
    std::erase_if(found.others, [](const platform::PortHolder& holder) {
      return holder.processId == platform::CurrentProcessId();
    });
    facts.ports.push_back(std::move(found));
  }
}

void LookAtConfiguration(Facts& facts) {
  const std::string directory = TextOf(MemberOf(facts.report, "configuration"), "directory");
  if (directory.empty()) return;
  const configcheck::ConfigReport checked = configcheck::CheckConfiguration(
      FromUtf8(directory), config::UsableNetworks(platform::SystemNetworkAddresses()));
  facts.configUnreadable = checked.unreadable;
  facts.lineOfInterfaces = checked.lineOfInterfaces;
  for (const configcheck::ConfigRemark& remark : checked.remarks) {
    if (!remark.finding) continue;
    const std::string line = remark.line == 0 ? "" : ":" + std::to_string(remark.line);
    facts.configFindings.push_back(ToUtf8(remark.file) + line + ": " + ToUtf8(remark.text));
  }
}

/// The addresses to ask: those named by the user, and those of controllers that should be known and are not.
std::vector<platform::Ipv4> Unexplained(const Questions& questions, const Json& report) {
  std::vector<platform::Ipv4> asked;
  const auto ask = [&](platform::Ipv4 address) {
    if (std::find(asked.begin(), asked.end(), address) == asked.end()) asked.push_back(address);
  };
  if (!questions.hello) asked = questions.addresses;
  for (const platform::Ipv4 address : questions.expected) {
    const bool isKnown = ControllerAt(platform::FormatIpv4(address), report) != nullptr;
    if (!isKnown && NetworkOf(address, report) != nullptr) ask(address);
  }
  const Json& silent = ListOf(MemberOf(report, "table"), "neverHeard");
  for (std::size_t i = 0; i < std::min(silent.size(), kMaxSilentAsked); ++i)
    if (silent[i].is_string()) ask(platform::ParseIpv4(silent[i].get<std::string>()));
  return asked;
}

}  // namespace

AddressFacts AskAddress(platform::Ipv4 address, const Json& report) {
  const SocketLibrary library;
  return Question(address, PortOf(report, "NonLocalPort"));
}

Facts Examine(Session& session, const Questions& questions, Evidence& evidence) {
  const SocketLibrary library;
  Facts facts;
  facts.host = platform::KindOfHost();
  try {
    Listen(session, questions, facts, evidence);
  } catch (const std::exception& error) {
    facts.resources = platform::ResourcesOfProcess();
    if (!IsShortOfFiles(facts.resources)) throw;
    facts.failure = error.what();
    return facts;
  }
  facts.firewall = platform::FirewallFor(PortsOf(facts.report));
  facts.registry = platform::RegistryFilesInUse();
  facts.expected = questions.expected;
  LookAtSockets(facts);
  LookAtConfiguration(facts);
  facts.saidHello = questions.hello;
  if (questions.hello) facts.hello = SayHello(facts.report, questions.addresses);
  const std::vector<platform::Ipv4> asked = Unexplained(questions, facts.report);
  facts.asked = AskAll(asked, PortOf(facts.report, "NonLocalPort"));
  return facts;
}

}  // namespace kellanseek::kelseek

#include "doctor/ReceptionDiagnosis.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "doctor/ReportReader.h"

namespace kellanseek::kelseek {
namespace {

using Json = nlohmann::json;

/// Ticks later than this make controllers seem silent.
constexpr std::uint64_t kLateTick = 2000;
/// So many senders of controllers' messages are worth a word.
constexpr std::size_t kManyFromOne = 20;

class ReceptionDiagnosis {
 public:
  ReceptionDiagnosis(const Facts& facts, Findings& findings)
      : facts_(facts), report_(facts.report), findings_(findings) {}

  void Receiving();

 private:
  void Add(Mark mark, const char* code, std::string what, std::string seen, std::string todo) {
    findings_.push_back({mark, code, std::move(what), std::move(seen), std::move(todo)});
  }

  void FullTable();
  std::string SenderInWords() const;

  const Facts& facts_;
  const Json& report_;
  Findings& findings_;
};

void ReceptionDiagnosis::Receiving() {
  const Json& dropped = MemberOf(MemberOf(report_, "received"), "dropped");
  if (const auto lost = NumberOf(dropped, "bySystem"); lost > 0)
    Add(Mark::Remark, "receive-buffer", std::to_string(lost) + " datagrams were lost on this host.",
        "The system dropped them because a receive buffer was full.",
        "Raise the limit of receive buffers (net.core.rmem_default), or look for a flood on the network.");
  if (const auto other = NumberOf(dropped, "otherSubnet"); other > 0)
    Add(Mark::Remark, "other-subnet",
        std::to_string(other) + " datagrams came over a network that their senders do not belong to.",
        "Their source addresses belong to another network of this host.",
        "Check whether two networks share a switch, and the masks of the controllers.");
  if (NumberOf(dropped, "malformed") > 0) {
    const Json& last = MemberOf(MemberOf(report_, "received"), "lastMalformed");
    Add(Mark::Remark, "malformed",
        std::to_string(NumberOf(dropped, "malformed")) +
            " datagrams on the ports of the search are no discovery messages.",
        "The last came from " + TextOf(last, "from") + ": " + TextOf(last, "text"),
        "Look for a program that uses these ports for something else.");
  }
  FullTable();
  if (const auto late = NumberOf(report_, "longestTickDelayMs"); late > kLateTick)
    Add(Mark::Remark, "late-ticks",
        "This host was too busy, or slept, for " + Seconds(static_cast<double>(late) / 1000) + ".",
        "A tick of the component came that late.",
        "Controllers may have been lost for it; they return by themselves.");
}

/// The host that most of the many controllers' messages came from, if the network was watched.
std::string ReceptionDiagnosis::SenderInWords() const {
  std::map<platform::Ipv4, std::size_t> bySource;
  for (const Sighting& each : facts_.wire.sightings) ++bySource[each.source];
  const auto most = std::max_element(bySource.begin(), bySource.end(),
                                     [](const auto& a, const auto& b) { return a.second < b.second; });
  if (most == bySource.end() || most->second < kManyFromOne) return {};
  return " Most of those looked at were sent by " + platform::FormatIpv4(most->first) + ".";
}

void ReceptionDiagnosis::FullTable() {
  constexpr const char* kFindSender =
      "Look for a program or device that forges controllers, and take it off the network. kelseek doctor, "
      "run "
      "as an administrator, names the sender.";
  const Json& table = MemberOf(report_, "table");
  const auto limit = NumberOf(table, "dynamicLimit");
  if (NumberOf(MemberOf(MemberOf(report_, "received"), "dropped"), "tableFull") > 0)
    return Add(Mark::Fault, "table-full", "The list is full, so more controllers are not taken in.",
               std::to_string(NumberOf(table, "dynamic")) + " of " + std::to_string(limit) + " are known." +
                   SenderInWords(),
               kFindSender);
  if (facts_.arrivals.seconds <= 0 || facts_.arrivals.count == 0) return;
  const double rate = static_cast<double>(facts_.arrivals.count) / facts_.arrivals.seconds;
  // A controller that is never heard again is asked at the next refresh, and again until it is given up.
  const std::int64_t interval = SettingOf(report_, "RefreshInterval");
  const std::int64_t retries = SettingOf(report_, "Retries");
  const auto kept = static_cast<double>(interval + SettingOf(report_, "RefreshTimeout") * (retries + 1));
  // Without end to the requests, none is ever given up.
  const bool fills = interval < 0 || retries < 0 || rate * kept > static_cast<double>(limit);
  const std::string speed = std::to_string(std::llround(rate)) + " a second";
  Add(fills ? Mark::Fault : Mark::Remark, "table-fills",
      fills ? "Controllers that were never there before appear so fast that a program's list gets full."
            : "Controllers that were never there before keep appearing.",
      speed + ", when all had had time to answer. " +
          (fills ? "A program that runs on has " + std::to_string(limit) + " after " +
                       Seconds(static_cast<double>(limit) / rate) + " and takes in no more."
                 : "A list has room for " + std::to_string(limit) + ".") +
          SenderInWords(),
      kFindSender);
}

}  // namespace

void AppendReceptionFindings(const Facts& facts, Findings& findings) {
  ReceptionDiagnosis(facts, findings).Receiving();
}

}  // namespace kellanseek::kelseek

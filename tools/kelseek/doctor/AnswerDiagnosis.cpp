#include "doctor/AnswerDiagnosis.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "doctor/ReportReader.h"

namespace kellanseek::kelseek {
namespace {

/// One lost answer may be chance.
constexpr unsigned kLostToBeNamed = 2;
/// So many silent controllers are named.
constexpr std::size_t kNamed = 5;

std::string InSeconds(std::chrono::milliseconds time) {
  return Seconds(static_cast<double>(time.count()) / 1000);
}

void One(const Answers& answers, std::chrono::milliseconds timeout, Findings& findings) {
  const std::string figures = std::to_string(answers.answered) + " of " + std::to_string(answers.asked) +
                              " answers came, most within " + InSeconds(answers.median) +
                              ", the last after " + InSeconds(answers.slowest) + ".";
  if (answers.asked - answers.answered >= kLostToBeNamed)
    findings.push_back({Mark::Remark, "lossy", answers.who + " loses answers.", figures,
                        "Check its cable, the switches on the way, radio links, and its load."});
  if (answers.median > timeout / 2)
    findings.push_back({Mark::Remark, "slow", answers.who + " answers slowly.",
                        figures + " The component waits " + InSeconds(timeout) + ".",
                        "Check the load of the controller and of the network, or raise RefreshTimeout and "
                        "NonLocalRefreshTimeout in the settings."});
}

}  // namespace

void AppendAnswerFindings(const Facts& facts, Findings& findings) {
  std::vector<const Answers*> silent;
  for (const Answers& each : facts.answers.each) {
    if (each.asked == 0) continue;
    if (each.answered == 0) {
      silent.push_back(&each);
    } else {
      One(each, facts.answers.timeout, findings);
    }
  }
  if (!silent.empty()) {
    std::string names;
    for (std::size_t i = 0; i < std::min(silent.size(), kNamed); ++i)
      names += (i == 0 ? "" : ", ") + silent[i]->who;
    if (silent.size() > kNamed) names += " and " + std::to_string(silent.size() - kNamed) + " more";
    findings.push_back(
        {Mark::Remark, "no-direct-answer", "Known controllers do not answer when asked by their addresses.",
         names + " left five questions to UDP port " +
             std::to_string(SettingOf(facts.report, "NonLocalPort")) + " unanswered.",
         "While broadcasts find them that does no harm. From another network they cannot be "
         "found: look for a firewall on the way, or a host that speaks for them. kelseek doctor "
         "with the address of one waits longer for its answer."});
  }
  if (facts.answers.leftOut > 0)
    findings.push_back({Mark::Fine,
                        "answers-left-out",
                        "The answers of " + std::to_string(facts.answers.each.size()) +
                            " controllers were measured; " + std::to_string(facts.answers.leftOut) +
                            " more are known.",
                        {},
                        {}});
}

}  // namespace kellanseek::kelseek

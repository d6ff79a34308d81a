#include "commands/NothingFound.h"

#include <chrono>
#include <cstddef>
#include <exception>

#include "client/Report.h"
#include "client/SocketLibrary.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "doctor/Diagnosis.h"
#include "doctor/Echoes.h"

namespace kellanseek::kelseek {

std::vector<Echo> QuickEchoes(const nlohmann::json& report) try {
  constexpr std::chrono::milliseconds kPatience{250};
  constexpr std::size_t kNetworks = 8;
  const SocketLibrary library;
  return TryEchoes(report, kPatience, kNetworks);
} catch (const std::exception&) {
  // Short of sockets or memory, or an odd report: the try is only an extra.
  return {};
}

std::string WhyNothingFound(const client::Client& client) {
  if (const std::size_t others = client.controllers().size(); others != 0)
    return Count(others, "other controller") + ".\n";
  const nlohmann::json report = ReportOf(client);
  const std::string cause = report.is_null() ? "" : LikelyCause(report, QuickEchoes(report));
  return (cause.empty() ? "" : "Most likely: " + Printable(cause) + " ") + "kelseek doctor finds out more.\n";
}

}  // namespace kellanseek::kelseek

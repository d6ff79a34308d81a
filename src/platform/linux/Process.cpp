#include "platform/Process.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <string>

namespace kellanseek::platform {
namespace {

/// The state of a process according to /proc.
struct ProcessState {
  bool ended;
  std::uint64_t start;  ///< Clock ticks since the system started.
};

/// Nothing if /proc does not tell.
std::optional<ProcessState> ReadState(std::uint32_t processId) {
  std::ifstream file("/proc/" + std::to_string(processId) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  // The program's name is in parentheses and may itself contain parentheses, spaces and line breaks.
  const std::size_t nameEnd = text.rfind(')');
  if (nameEnd == std::string::npos) return std::nullopt;
  std::istringstream rest(text.substr(nameEnd + 1));
  char state{};
  rest >> state;
  constexpr int kFieldsBetweenStateAndThreads = 16;
  std::string skipped;
  for (int i = 0; i < kFieldsBetweenStateAndThreads; ++i) rest >> skipped;
  std::int64_t threads{};
  std::uint64_t start{};
  if (!(rest >> threads >> skipped >> start)) return std::nullopt;
  // The state is that of the first thread, which may end before the others.
  return ProcessState{(state == 'Z' && threads <= 1) || state == 'X' || state == 'x', start};
}

class Processes : public ProcessTable {
 public:
  std::uint64_t StartStamp(std::uint32_t processId) override {
    const auto state = ReadState(processId);
    return state && !state->ended ? state->start : 0;
  }

  bool IsRunning(std::uint32_t processId, std::uint64_t startStamp) override {
    if (processId == 0 || processId > static_cast<std::uint32_t>(std::numeric_limits<pid_t>::max()))
      return false;
    if (kill(static_cast<pid_t>(processId), 0) != 0 && errno == ESRCH) return false;
    const auto state = ReadState(processId);
    // Another user's process may be hidden from /proc; kill() has then shown at least that the id exists.
    if (!state) return true;
    return !state->ended && (startStamp == 0 || state->start == startStamp);
  }
};

}  // namespace

ProcessTable& SystemProcessTable() {
  static Processes processes;
  return processes;
}

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }

}  // namespace kellanseek::platform

#include "screen/FullScreen.h"

#include <kellanseek/com.h>

#include <algorithm>
#include <chrono>

#include "output/Output.h"
#include "platform/Clock.h"
#include "platform/Terminal.h"
#include "screen/ChangeFeed.h"
#include "screen/Draw.h"
#include "screen/KeyReader.h"
#include "screen/Pacing.h"
#include "screen/Screen.h"

namespace kellanseek::kelseek {
namespace {

using platform::TerminalWake;

// The alternate screen without cursor. Lines do not wrap, in case the terminal has other ideas of widths.
constexpr const char* kEnter = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr const char* kLeave = "\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

constexpr Moment kQuestionInterval{1000};
/// The rest of a key's sequence follows its beginning sooner than a user's next key.
constexpr Moment kKeyRest{50};

Now ReadClocks() {
  constexpr std::uint64_t kTicksPerSecond = 10'000'000;
  constexpr std::uint64_t kSecondsPerDay = 86400;
  const FILETIME local = platform::LocalFileTime();
  const std::uint64_t ticks = std::uint64_t{local.dwHighDateTime} << 32 | local.dwLowDateTime;
  return {Moment(static_cast<Moment::rep>(platform::MonotonicMilliseconds())),
          std::chrono::seconds(static_cast<std::int64_t>(ticks / kTicksPerSecond % kSecondsPerDay))};
}

Moment EndOf(Moment begin, std::optional<double> seconds) {
  return seconds ? begin + std::chrono::ceil<Moment>(std::chrono::duration<double>(*seconds)) : kNever;
}

/// Joins the changes, the terminal and the clock; all else is in Screen and Draw().
class FullScreen {
 public:
  FullScreen(Session& session, client::ChangeStream& changes, const ScreenQuestions& questions,
             std::optional<double> seconds)
      : session_(session),
        questions_(questions),
        end_(EndOf(ReadClocks().moment, seconds)),
        feed_(changes),
        terminal_(kEnter, kLeave) {}

  bool Run() {
    while (!closed_ && !screen_.Ended() && !session_.stop.TryWait()) {
      const Now now = ReadClocks();
      if (now.moment >= end_) break;
      TakeChanges(now);
      if (keys_.Pending() && now.moment >= keysEnd_) Press(keys_.Flush());
      if (now.moment >= nextQuestion_) Ask(now.moment);
      if (now.moment >= pacing_.Due() && !Show(now)) break;
      Wait(now.moment);
    }
    if (!terminal_.Restore() || closed_)
      throw CommandError(kComponentFailed, "the output cannot be written: the terminal is gone");
    return anyFound_;
  }

 private:
  void TakeChanges(const Now& now) {
    const bool wasComplete = screen_.view().complete;
    for (const client::Change& change : feed_.Take()) {
      const bool isMark = change.controller.id == 0;
      if (!isMark && !questions_.wants(change.controller)) continue;
      screen_.Apply(change, now);
      pacing_.Change();
      anyFound_ |= !isMark;
    }
    if (screen_.view().complete != wasComplete) nextQuestion_ = now.moment;
  }

  void Ask(Moment now) {
    nextQuestion_ = now + kQuestionInterval;
    // Not every system reports a new size.
    if (platform::OutputSize() != screen_.view().size) pacing_.Change();
    const std::optional<std::uint32_t> sweeps = questions_.sweeps();
    if (sweeps && screen_.SetSweeps(*sweeps)) pacing_.Change();
    const bool isEmpty = sweeps && screen_.view().complete && screen_.rows().Listed() == 0;
    if (isEmpty && screen_.SetCause(questions_.cause())) pacing_.Change();
  }

  /// Returns false if the terminal takes no output any more.
  bool Show(const Now& now) {
    screen_.Resize(platform::OutputSize());
    screen_.Arrange(now.moment);
    Frame frame = Draw(screen_, now, session_.colours);
    const std::string difference = Difference(shown_, frame);
    shown_ = std::move(frame);
    pacing_.Drawn(now.moment, shown_.stale);
    return difference.empty() || Write(difference);
  }

  void Wait(Moment now) {
    Moment until = std::min({pacing_.Due(), nextQuestion_, end_});
    if (keys_.Pending()) until = std::min(until, keysEnd_);
    const Moment timeout = std::max(until - now, Moment(0));
    // Changes do not hasten a frame that is due anyway.
    const TerminalWake wake = pacing_.Changed() ? terminal_.Wait({&session_.stop}, timeout)
                                                : terminal_.Wait({&session_.stop, &feed_.Arrived()}, timeout);
    if (wake == TerminalWake::Input) ReadKeys();
    if (wake == TerminalWake::Resized) pacing_.Change();
    if (wake == TerminalWake::Closed) closed_ = true;
  }

  void ReadKeys() {
    const std::optional<std::string> typed = terminal_.Read();
    closed_ = !typed;
    if (typed) Press(keys_.Read(*typed));
    keysEnd_ = ReadClocks().moment + kKeyRest;
  }

  void Press(const std::vector<KeyPress>& presses) {
    for (const KeyPress& press : presses) {
      if (press.key == Key::Redraw) shown_ = {};
      screen_.Press(press);
      pacing_.Change();
    }
  }

  Session& session_;
  const ScreenQuestions& questions_;
  const Moment end_;
  ChangeFeed feed_;
  platform::InteractiveTerminal terminal_;
  Screen screen_;
  KeyReader keys_;
  Pacing pacing_;
  Frame shown_;
  Moment nextQuestion_{0};
  Moment keysEnd_{0};  ///< When a beginning of a key's sequence is complete as it is.
  bool anyFound_ = false;
  bool closed_ = false;
};

}  // namespace

bool ShowFullScreen(Session& session, client::ChangeStream& changes, const ScreenQuestions& questions,
                    std::optional<double> seconds) {
  return FullScreen(session, changes, questions, seconds).Run();
}

}  // namespace kellanseek::kelseek

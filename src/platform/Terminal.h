#pragma once

#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Event.h"

namespace kellanseek::platform {

/// Switches standard output to UTF-8 if it is a terminal.
void UseUtf8Output();

/// Occupies the descriptors of standard streams that were closed at the start, so that no file or socket
/// opened later takes their place and receives the program's output. Writing to such a stream keeps failing.
/// Call it before opening anything.
void ReserveClosedStreams();

/// Writes line ends to standard output as they are, where the system would otherwise change them.
void KeepLineEnds();

/// Whether standard output is a terminal that understands escape sequences. Switches them on where necessary.
bool OutputTakesColours();

/// Whether standard error is a terminal, so that somebody sees a line that is overwritten.
bool ErrorsAreSeen();

struct TerminalSize {
  std::size_t columns{};
  std::size_t rows{};
  friend bool operator==(const TerminalSize&, const TerminalSize&) = default;
};

/// The present size of the terminal that standard output is. Both are 0 if it is none or tells no size.
TerminalSize OutputSize();

/// Whether this program may use the whole terminal: it runs in the foreground, standard input and output are
/// terminals, and escape sequences and the size of the output are understood.
bool TerminalIsInteractive();

/// What ended a wait for the terminal.
enum class TerminalWake {
  Event,    ///< One of the events is signalled.
  Input,    ///< Read() returns what was typed.
  Resized,  ///< The size may have changed. Some systems do not report it: ask for the size now and then.
  Closed,   ///< The terminal is gone.
  TimedOut,
};

/// The terminal of standard input and output in the mode for full-screen programs, for the lifetime of the
/// object: typed characters arrive at once, are not shown and mean nothing to the system, except Ctrl-C. Only
/// one may exist, created and used by the main thread.
class InteractiveTerminal {
 public:
  /// Writes `enter`. `leave`, which must be short, is written at the end, also if StopSignals ends the
  /// program at once. Throws std::system_error if TerminalIsInteractive() does not hold any more.
  InteractiveTerminal(std::string_view enter, std::string_view leave);
  /// Like Restore().
  ~InteractiveTerminal();
  InteractiveTerminal(const InteractiveTerminal&) = delete;
  InteractiveTerminal& operator=(const InteractiveTerminal&) = delete;

  /// Waits for the terminal, for one of the events or for the time-out (nullopt: none). If an auto-reset
  /// event ends the wait, it is cleared.
  TerminalWake Wait(std::initializer_list<Event*> events, std::optional<std::chrono::milliseconds> timeout);
  /// What was typed, in UTF-8, where a character may be split between two calls; nullopt if the terminal is
  /// gone. Special keys are escape sequences of the VT100 family. Does not wait.
  std::optional<std::string> Read();
  /// Restores the terminal's mode and writes `leave`, once. Returns false if the terminal is gone.
  bool Restore();

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

/// Does what InteractiveTerminal::Restore() would do, for an end of the program without destructors. Does not
/// wait for a slow terminal. Thread-safe.
void RestoreTerminalAtOnce();

}  // namespace kellanseek::platform

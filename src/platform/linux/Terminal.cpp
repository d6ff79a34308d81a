#include "platform/Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/Environment.h"
#include "platform/Mutex.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/EventNative.h"
#include "platform/linux/PollTimeout.h"

namespace kellanseek::platform {
namespace {

/// Blocks a signal in the calling thread for the lifetime of the object.
class BlockedSignal {
 public:
  explicit BlockedSignal(int number) {
    sigemptyset(&signals_);
    sigaddset(&signals_, number);
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
  }
  ~BlockedSignal() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignal(const BlockedSignal&) = delete;
  BlockedSignal& operator=(const BlockedSignal&) = delete;

  const sigset_t& Set() const { return signals_; }

 private:
  sigset_t signals_{};
  sigset_t before_{};
};

bool SetMode(const termios& mode) {
  // A program that has been moved to the background would be stopped here.
  const BlockedSignal background(SIGTTOU);
  return tcsetattr(STDIN_FILENO, TCSANOW, &mode) == 0;
}

bool WriteAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool OutputTakesBytesNow() {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0;
}

/// How to give the terminal back.
struct Former {
  termios mode{};
  std::string leave;
};

Mutex formerMutex{LockOrder::Terminal};
std::optional<Former> former GUARDED_BY(formerMutex);

/// The two ways to restore the terminal exclude each other: who takes this must restore.
std::optional<Former> TakeFormer() {
  const MutexLock lock(formerMutex);
  return std::exchange(former, std::nullopt);
}

/// Characters arrive one by one and unchanged. Of the keys that send signals only Ctrl-C is left: stopping
/// the program by Ctrl-Z would leave the terminal in this mode.
termios RawMode(termios mode) {
  mode.c_iflag &= ~static_cast<tcflag_t>(BRKINT | ICRNL | INLCR | IGNCR | INPCK | ISTRIP | IXON);
  mode.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | IEXTEN);
  mode.c_lflag |= ISIG;
  for (const int key : {VSUSP, VQUIT}) mode.c_cc[key] = _POSIX_VDISABLE;
  mode.c_cc[VMIN] = 0;
  mode.c_cc[VTIME] = 0;
  return mode;
}

std::system_error Failure() { return {errno, std::generic_category(), "the terminal cannot be used"}; }

}  // namespace

void UseUtf8Output() {}

void ReserveClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // A new descriptor gets the lowest free number, which is that of the stream.
    if (::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) return;
  }
}

void KeepLineEnds() {}

bool OutputTakesColours() {
  return isatty(STDOUT_FILENO) == 1 && EnvironmentVariable("TERM").value_or("dumb") != "dumb";
}

bool ErrorsAreSeen() { return isatty(STDERR_FILENO) == 1; }

TerminalSize OutputSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
  return {size.ws_col, size.ws_row};
}

bool TerminalIsInteractive() {
  const TerminalSize size = OutputSize();
  return OutputTakesColours() && size.columns > 0 && size.rows > 0 && isatty(STDIN_FILENO) == 1 &&
         tcgetpgrp(STDIN_FILENO) == getpgrp();
}

struct InteractiveTerminal::Native {
  /// Only a thread that blocks the signal leaves it to the descriptor. No thread of the component takes it.
  BlockedSignal resize{SIGWINCH};
  Descriptor resized{signalfd(-1, &resize.Set(), SFD_CLOEXEC | SFD_NONBLOCK)};
};

InteractiveTerminal::InteractiveTerminal(std::string_view enter, std::string_view leave)
    : native_(std::make_unique<Native>()) {
  Former before;
  before.leave = leave;
  if (!native_->resized || tcgetattr(STDIN_FILENO, &before.mode) != 0) throw Failure();
  const termios raw = RawMode(before.mode);
  {
    const MutexLock lock(formerMutex);
    former = std::move(before);
  }
  if (SetMode(raw) && WriteAll(enter)) return;
  const int error = errno;
  Restore();
  errno = error;
  throw Failure();
}

InteractiveTerminal::~InteractiveTerminal() { Restore(); }

namespace {

/// What ended a wait in which something is ready; nullopt if there is nothing to tell.
std::optional<TerminalWake> WakeOf(std::initializer_list<Event*> events, const pollfd& input,
                                   const pollfd& resized) {
  // Steady typing must not keep the events from being seen.
  if (std::any_of(events.begin(), events.end(), [](Event* event) { return event->TryWait(); }))
    return TerminalWake::Event;
  if ((input.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) return TerminalWake::Closed;
  if (input.revents != 0) return TerminalWake::Input;
  if (resized.revents == 0) return std::nullopt;
  signalfd_siginfo received{};
  while (read(resized.fd, &received, sizeof received) == sizeof received) continue;
  return TerminalWake::Resized;
}

}  // namespace

TerminalWake InteractiveTerminal::Wait(std::initializer_list<Event*> events,
                                       std::optional<std::chrono::milliseconds> timeout) {
  std::vector<pollfd> ready;
  ready.push_back({STDIN_FILENO, POLLIN, 0});
  ready.push_back({native_->resized.get(), POLLIN, 0});
  for (Event* event : events) ready.push_back({event->native().descriptor.get(), POLLIN, 0});
  const Deadline deadline(timeout);
  for (;;) {
    const timespec left = deadline.Left();
    const int count = ppoll(ready.data(), ready.size(), deadline.Limited() ? &left : nullptr, nullptr);
    if (count == 0) return TerminalWake::TimedOut;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return TerminalWake::Closed;
    if (const auto wake = WakeOf(events, ready[0], ready[1])) return *wake;
  }
}

std::optional<std::string> InteractiveTerminal::Read() {
  std::array<char, 1024> bytes{};
  const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
  if (count < 0 && errno == EINTR) return std::string();
  if (count <= 0) return std::nullopt;
  return std::string(bytes.data(), static_cast<std::size_t>(count));
}

bool InteractiveTerminal::Restore() {
  const std::optional<Former> before = TakeFormer();
  if (!before) return true;
  const bool mode = SetMode(before->mode);
  return WriteAll(before->leave) && mode;
}

void RestoreTerminalAtOnce() {
  const std::optional<Former> before = TakeFormer();
  if (!before) return;
  SetMode(before->mode);
  if (OutputTakesBytesNow()) WriteAll(before->leave);
}

}  // namespace kellanseek::platform

#include "platform/Signals.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Terminal.h"
#include "platform/Thread.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/EventNative.h"

namespace kellanseek::platform {
namespace {

sigset_t EndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
  return signals;
}

}  // namespace

/// The signals are blocked in every thread and read from a descriptor, so that no code of the program runs
/// inside a signal handler.
struct StopSignals::Native {
  explicit Native(Event& stopEvent) : stop(stopEvent) {
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    descriptor = Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    const bool isHeard = descriptor && !thread.Start("signals", [this] { Listen(); });
    // Without a reader, the program could no longer be ended by these signals.
    if (!isHeard) pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  ~Native() {
    quit.Set();
    thread.Join();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  void Listen() {
    for (;;) {
      pollfd ready[] = {{quit.native().descriptor.get(), POLLIN, 0}, {descriptor.get(), POLLIN, 0}};
      if (poll(ready, 2, -1) < 0 && errno != EINTR) return;
      if (ready[0].revents != 0) return;
      signalfd_siginfo received{};
      if (read(descriptor.get(), &received, sizeof received) != sizeof received) continue;
      if (stop.TryWait()) {
        RestoreTerminalAtOnce();
        _exit(128 + static_cast<int>(received.ssi_signo));
      }
      stop.Set();
    }
  }

  Event& stop;
  Event quit{Event::Kind::ManualReset};
  sigset_t before{};
  Descriptor descriptor;
  Thread thread;
};

StopSignals::StopSignals(Event& stop) : native_(std::make_unique<Native>(stop)) {}

StopSignals::~StopSignals() = default;

}  // namespace kellanseek::platform

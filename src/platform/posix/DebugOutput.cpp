#include "platform/DebugOutput.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string>

#include <kellanseek/com.h>

#include "platform/Mutex.h"
#include "platform/posix/Descriptor.h"

namespace kellanseek::platform {
namespace {

constexpr std::string_view kFilePrefix = "file:";

/// Keeps SIGPIPE from the calling thread for its life: a trace that nobody reads any more must not end the
/// process, which is not ours.
class NoBrokenPipeSignal {
 public:
  NoBrokenPipeSignal() {
    sigemptyset(&brokenPipe_);
    sigaddset(&brokenPipe_, SIGPIPE);
    sigset_t pending;
    wasPending_ = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
  }
  ~NoBrokenPipeSignal() {
    const timespec now{};
    if (!wasPending_) sigtimedwait(&brokenPipe_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoBrokenPipeSignal(const NoBrokenPipeSignal&) = delete;
  NoBrokenPipeSignal& operator=(const NoBrokenPipeSignal&) = delete;

 private:
  sigset_t brokenPipe_;
  sigset_t before_;
  bool wasPending_ = false;
};

/// The sink that KELLANSEEK_TRACE names.
class TraceSink : public DebugOutput {
 public:
  TraceSink() {
    // A program with raised privileges lets nobody choose which file it writes.
    const char* named = ::secure_getenv("KELLANSEEK_TRACE");
    const std::string_view sink = named != nullptr ? named : "";
    if (sink == "stderr") {
      descriptor_ = Descriptor(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
    } else if (sink == "syslog") {
      syslog_ = true;
    } else if (sink.starts_with(kFilePrefix)) {
      const std::string path(sink.substr(kFilePrefix.size()));
      descriptor_ =
          Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0644));
    }
  }

  bool Enabled() const override { return syslog_ || descriptor_; }

  void Write(std::wstring_view text) override {
    if (!Enabled()) return;
    const std::string bytes = com::Utf8(text);
    if (syslog_) return WriteToSyslog(bytes);
    const NoBrokenPipeSignal guard;
    std::string_view rest = bytes;
    while (!rest.empty()) {
      const ssize_t written = write(descriptor_.get(), rest.data(), rest.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return;
      rest.remove_prefix(static_cast<std::size_t>(written));
    }
  }

 private:
  /// A log entry is a line; the pieces are kept until one ends it for good.
  void WriteToSyslog(const std::string& bytes) {
    const MutexLock lock(mutex_);
    if (bytes != "\n") {
      for (const char c : bytes) entry_.push_back(c == '\n' ? ' ' : c);
      return;
    }
    ::syslog(LOG_USER | LOG_WARNING, "%s", entry_.c_str());
    entry_.clear();
  }

  Descriptor descriptor_;
  bool syslog_ = false;
  Mutex mutex_;
  std::string entry_ GUARDED_BY(mutex_);
};

}  // namespace

DebugOutput& ProcessDebugOutput() {
  static TraceSink sink;
  return sink;
}

}  // namespace kellanseek::platform

#include "platform/DebugOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>

#include <kellanseek/com.h>

#include "platform/Mutex.h"
#include "platform/linux/Descriptor.h"

namespace kellanseek::platform {
namespace {

constexpr std::string_view kFilePrefix = "file:";

/// Suppresses SIGPIPE in the calling thread: a trace whose reader has gone must not end the process, which is
/// not ours.
class NoBrokenPipeSignal {
 public:
  NoBrokenPipeSignal() {
    sigemptyset(&brokenPipe_);
    sigaddset(&brokenPipe_, SIGPIPE);
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
  static bool IsPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  const bool wasPending_ = IsPending();
  sigset_t brokenPipe_;
  sigset_t before_;
};

/// Writes as much as possible without waiting and drops the rest: the descriptor may be a pipe with a slow
/// reader or a stopped terminal. It is not made non-blocking, because the program shares standard error.
void WriteWithoutWait(int descriptor, std::string_view bytes) {
  const NoBrokenPipeSignal guard;
  while (!bytes.empty()) {
    pollfd ready{descriptor, POLLOUT, 0};
    if (poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0) return;
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

/// "2026-01-31T12:00:00.000Z 4711:4712 ": time, process and thread.
std::string Heading() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm utc{};
  gmtime_r(&now.tv_sec, &utc);
  char date[32];
  const std::size_t length = strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
  char rest[48];
  std::snprintf(rest, sizeof rest, ".%03dZ %d:%d ", static_cast<int>(now.tv_nsec / 1'000'000), getpid(),
                gettid());
  return std::string(date, length) + rest;
}

/// A file that is appended to. At its maximum size it is renamed to PATH.1, replacing an earlier one.
class TraceFile {
 public:
  /// Returns false, with errno set, if the file cannot be opened.
  bool Open(std::string_view path) {
    // An absolute path, because the program may change its current directory.
    std::error_code error;
    path_ = std::filesystem::absolute(path, error).string();
    return !error && Reopen();
  }

  void Write(std::string_view bytes) {
    if (MakeRoom(bytes.size())) WriteWithoutWait(descriptor_.get(), bytes);
  }

 private:
  bool Reopen() {
    // O_NONBLOCK: opening a FIFO without a reader fails instead of waiting for one.
    constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    descriptor_ = Descriptor(open(path_.c_str(), kFlags, 0644));
    return static_cast<bool>(descriptor_);
  }

  bool MakeRoom(std::size_t size) {
    struct stat ours {};
    if (!descriptor_ || fstat(descriptor_.get(), &ours) != 0) return false;
    if (!S_ISREG(ours.st_mode) || ours.st_size + static_cast<off_t>(size) <= kMaxFileBytes) return true;
    struct stat named {};
    const bool isOurs =
        stat(path_.c_str(), &named) == 0 && named.st_dev == ours.st_dev && named.st_ino == ours.st_ino;
    // If the names differ, another process that traces to this file has already renamed it.
    if (isOurs && rename(path_.c_str(), (path_ + ".1").c_str()) != 0) return false;
    return Reopen();
  }

  static constexpr off_t kMaxFileBytes = off_t{10} * 1024 * 1024;

  std::string path_;
  Descriptor descriptor_;
};

/// The sink that KELLANSEEK_TRACE selects. A message arrives in pieces, of which the last is a lone line
/// break. It is written as a whole, so that messages of several threads do not mix.
class TraceSink : public DebugOutput {
 public:
  TraceSink() {
    // In a program with raised privileges the environment must not choose a file to write.
    const char* named = ::secure_getenv("KELLANSEEK_TRACE");
    const std::string_view sink = named != nullptr ? named : "";
    if (sink.empty()) return;
    if (sink == "stderr") {
      standardError_ = Descriptor(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
      if (standardError_) kind_ = Kind::StandardError;
    } else if (sink == "syslog") {
      kind_ = Kind::Syslog;
    } else if (!sink.starts_with(kFilePrefix)) {
      Complain(sink, "is none of stderr, syslog and file:PATH");
    } else if (file_.Open(sink.substr(kFilePrefix.size()))) {
      kind_ = Kind::File;
    } else {
      Complain(sink, std::strerror(errno));
    }
  }

  bool Enabled() const override { return kind_ != Kind::None; }

  void Write(std::wstring_view text) override {
    if (!Enabled()) return;
    const std::string bytes = com::Utf8(text);
    const MutexLock lock(mutex_);
    std::string& message = messages_[gettid()];
    message += bytes;
    if (bytes != "\n") return;
    const std::string whole = Heading() + message;
    messages_.erase(gettid());
    WriteWhole(whole);
  }

 private:
  enum class Kind { None, StandardError, Syslog, File };

  static void Complain(std::string_view sink, const char* reason) {
    WriteWithoutWait(STDERR_FILENO,
                     "KelLanSeek: no traces, KELLANSEEK_TRACE=" + std::string(sink) + ": " + reason + "\n");
  }

  void WriteWhole(std::string message) REQUIRES(mutex_) {
    if (kind_ == Kind::StandardError) return WriteWithoutWait(standardError_.get(), message);
    if (kind_ == Kind::File) return file_.Write(message);
    // A log entry is a single line.
    message.pop_back();
    std::replace(message.begin(), message.end(), '\n', ' ');
    ::syslog(LOG_USER | LOG_WARNING, "%s", message.c_str());
  }

  Kind kind_ = Kind::None;
  Descriptor standardError_;
  Mutex mutex_{LockOrder::Trace};
  TraceFile file_ GUARDED_BY(mutex_);
  /// Incomplete messages by thread. Not thread_local: that would keep the module loaded until the thread
  /// ends.
  std::map<pid_t, std::string> messages_ GUARDED_BY(mutex_);
};

}  // namespace

DebugOutput& ProcessDebugOutput() {
  static TraceSink sink;
  return sink;
}

}  // namespace kellanseek::platform

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>

#include "platform/DebugOutput.h"
#include "platform/Event.h"
#include "platform/Files.h"
#include "platform/GuardedCall.h"
#include "platform/Process.h"
#include "platform/Signals.h"
#include "platform/Thread.h"
#include "platform/UdpSocket.h"
#include "platform/linux/BoundSocket.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/EventNative.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {
namespace {

/// A child process that runs until LetGo() and then stays a zombie.
class Child {
 public:
  enum class FirstThread { Stays, Ends };

  explicit Child(FirstThread firstThread) {
    EXPECT_EQ(pipe(hold_), 0);
    process_ = fork();
    EXPECT_GE(process_, 0);
    if (process_ != 0) {
      close(hold_[0]);
      return;
    }
    close(hold_[1]);
    const auto last = [this] {
      char end = 0;
      _exit(read(hold_[0], &end, 1) == 0 ? 0 : 1);
    };
    if (firstThread == FirstThread::Stays) last();
    std::thread(last).detach();
    syscall(SYS_exit, 0);  // ends this thread only, without unwinding
  }
  void LetGo() {
    close(hold_[1]);
    siginfo_t info{};
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOWAIT), 0);
  }
  void Collect() { EXPECT_EQ(waitpid(process_, nullptr, 0), process_); }
  bool FirstThreadHasEnded() const {
    std::ifstream file("/proc/" + std::to_string(process_) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.find(") Z ") != text.npos;
  }
  std::uint32_t Id() const { return static_cast<std::uint32_t>(process_); }

 private:
  int hold_[2] = {-1, -1};
  pid_t process_ = -1;
};

TEST(LinuxBackendTest, AZombieProcessDoesNotRun) {
  platform::ProcessTable& table = platform::SystemProcessTable();
  Child child(Child::FirstThread::Stays);
  const std::uint64_t stamp = table.StartStamp(child.Id());
  EXPECT_NE(stamp, 0U);
  EXPECT_TRUE(table.IsRunning(child.Id(), 0));
  EXPECT_TRUE(table.IsRunning(child.Id(), stamp));
  child.LetGo();
  EXPECT_EQ(table.StartStamp(child.Id()), 0U);
  EXPECT_FALSE(table.IsRunning(child.Id(), 0));
  EXPECT_FALSE(table.IsRunning(child.Id(), stamp));
  child.Collect();
  EXPECT_FALSE(table.IsRunning(child.Id(), stamp));
}

TEST(LinuxBackendTest, TheSecondSignalEndsTheProgramWithItsNumber) {
  const pid_t child = fork();
  if (child == 0) {
    platform::Event stop(platform::Event::Kind::ManualReset);
    const platform::StopSignals signals(stop);
    kill(getpid(), SIGTERM);
    stop.Wait();
    kill(getpid(), SIGINT);
    for (;;) pause();
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
}

TEST(LinuxBackendTest, MakesMissingDirectoriesAndSaysWhyItCannot) {
  const ScratchDirectory scratch;
  std::wstring why;
  const std::wstring deep = scratch.Wide() + L"/a/b/c";
  for (int attempt = 0; attempt < 2; ++attempt) EXPECT_EQ(platform::MakeDirectory(deep, why), S_OK);
  EXPECT_EQ(platform::KindOfPath(deep), platform::PathKind::Directory);
  EXPECT_EQ(platform::CreateNewFile(deep + L"/file", "text", why), S_OK);
  EXPECT_EQ(platform::MakeDirectory(deep + L"/file/d", why), E_FAIL);
  EXPECT_EQ(why, L"Not a directory");
  EXPECT_EQ(platform::CreateNewFile(deep + L"/missing/file", "text", why), E_FAIL);
  EXPECT_EQ(why, L"No such file or directory");
}

TEST(LinuxBackendTest, ThreadsBearTheBeginningOfALongNameAndBlockTheApplicationsSignals) {
  char name[32] = "";
  sigset_t inThread;
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  platform::Thread thread;
  ASSERT_FALSE(thread.Start("KelNameOfSeventeen", [&] {
    prctl(PR_GET_NAME, name);
    pthread_sigmask(SIG_BLOCK, nullptr, &inThread);
  }));
  thread.Join();
  EXPECT_STREQ(name, "KelNameOfSevent");
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (const int number : {SIGTERM, SIGALRM, SIGUSR1, SIGCHLD, SIGPIPE, SIGRTMIN}) {
    EXPECT_TRUE(sigismember(&inThread, number)) << number;
    EXPECT_EQ(sigismember(&before, number), sigismember(&after, number)) << number;
  }
  EXPECT_FALSE(sigismember(&inThread, SIGSEGV)) << "fault signals must reach the crash handler";
}

TEST(LinuxBackendTest, WaitingOnADescriptorClosedByTheProgramFails) {
  platform::UdpNetwork& network = platform::SystemUdpNetwork();
  platform::SocketError error = 0;
  const auto socket = network.CreateSocket(error);
  ASSERT_NE(socket, nullptr);
  const int own = static_cast<platform::BoundSocket&>(*socket).Sources().front().descriptor;
  const auto receiver = network.CreateReceiver({socket.get()}, 1000);
  platform::Event stop(platform::Event::Kind::ManualReset);
  const auto receive = [&] { return receiver->ReceiveOne(stop, std::chrono::milliseconds(0)); };
  using Outcome = platform::Received::Outcome;
  for (const int descriptor : {own, stop.native().descriptor.get()}) {
    const int kept = dup(descriptor);
    close(descriptor);
    EXPECT_EQ(receive().outcome, Outcome::WaitFailed);
    EXPECT_EQ(receive().error, EBADF);
    dup2(kept, descriptor);
    close(kept);
    EXPECT_EQ(receive().outcome, Outcome::Nothing);
  }
}

TEST(LinuxBackendTest, WaitsGoOnBelowALoweredLimitOfDescriptors) {
  platform::Event first(platform::Event::Kind::ManualReset);
  platform::Event second(platform::Event::Kind::ManualReset);
  platform::Event running(platform::Event::Kind::ManualReset);
  platform::Event go(platform::Event::Kind::ManualReset);
  // Started before, because a sanitizer needs descriptors when a thread starts.
  platform::Thread setter;
  ASSERT_FALSE(setter.Start("Setter", [&] {
    running.Set();
    go.Wait();
    second.Set();
  }));
  running.Wait();
  rlimit usual{};
  getrlimit(RLIMIT_NOFILE, &usual);
  const rlimit none{0, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto wait = [&](int milliseconds) {
    return platform::WaitForAny({&first, &second}, std::chrono::milliseconds(milliseconds));
  };
  const std::clock_t before = std::clock();
  EXPECT_EQ(wait(200).outcome, platform::WaitResult::Outcome::TimedOut);
  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10) << "processor time";
  go.Set();
  EXPECT_TRUE(wait(20000).Signalled(1));
  setrlimit(RLIMIT_NOFILE, &usual);
}

TEST(LinuxBackendTest, ThreadCancellationPassesThroughQuietly) {
  bool wentOn = false;
  platform::Thread thread;
  ASSERT_FALSE(thread.Start("ending", [&] {
    const auto sink = [] { platform::RunGuarded([] { pthread_exit(nullptr); }); };
    platform::RunStep(sink, [](std::string_view) {});
    wentOn = true;
  }));
  thread.Join();
  EXPECT_FALSE(wentOn);
}

TEST(LinuxBackendTest, AProcessWhoseFirstThreadHasEndedStillRuns) {
  platform::ProcessTable& table = platform::SystemProcessTable();
  Child child(Child::FirstThread::Ends);
  while (!child.FirstThreadHasEnded()) sched_yield();
  const std::uint64_t stamp = table.StartStamp(child.Id());
  EXPECT_NE(stamp, 0U);
  EXPECT_TRUE(table.IsRunning(child.Id(), stamp));
  child.LetGo();
  EXPECT_FALSE(table.IsRunning(child.Id(), stamp));
  child.Collect();
}

TEST(LinuxBackendTest, AnyProgramNameIsParsed) {
  char before[16];
  ASSERT_EQ(prctl(PR_GET_NAME, before), 0);
  platform::ProcessTable& table = platform::SystemProcessTable();
  const std::uint64_t stamp = table.StartStamp(platform::CurrentProcessId());
  for (const char* name : {"a) Z 1 (b", ")", "(", " ", "x\ny", ""}) {
    ASSERT_EQ(prctl(PR_SET_NAME, name), 0);
    EXPECT_EQ(table.StartStamp(platform::CurrentProcessId()), stamp) << name;
    EXPECT_TRUE(table.IsRunning(platform::CurrentProcessId(), stamp)) << name;
  }
  prctl(PR_SET_NAME, before);
}

/// Run by the following tests in child processes. Another thread writes a message in the middle of the first.
TEST(LinuxBackendTest, TracesToTheConfiguredSink) {
  const auto write = [](const wchar_t* text) { platform::ProcessDebugOutput().Write(text); };
  write(L"wo");
  std::thread([&] {
    write(L"other");
    write(L"\n");
  }).join();
  write(L"rd");
  write(L"\n");
  write(L"last");
  write(L"\n");
}

/// All messages must be present, each whole and preceded by its time, process and thread.
bool HasAll(const std::string& trace) {
  static const std::regex kAll(
      R"((\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z) (\d+):(\d+) other\n\S+Z \2:(?!\3 )\2 word\n\S+ \S+ last\n)");
  std::smatch match;
  tm utc{};
  return std::regex_match(trace, match, kAll) &&
         strptime(match.str(1).c_str(), "%Y-%m-%dT%H:%M:%S", &utc) != nullptr &&
         std::abs(timegm(&utc) - time(nullptr)) < 60;
}

constexpr uid_t kNobody = 65534;

/// Runs `program`, this one or a copy, as that user with traces to `sink`. Returns its exit code.
int TraceIn(const std::string& program, uid_t user, const std::string& sink, int errors = STDERR_FILENO) {
  const std::string trace = "KELLANSEEK_TRACE=" + sink;
  const pid_t child = fork();
  if (child == 0) {
    const char* const arguments[] = {program.c_str(),
                                     "--gtest_filter=LinuxBackendTest.TracesToTheConfiguredSink",
                                     "--gtest_brief=1", nullptr};
    const char* const environment[] = {trace.c_str(), nullptr};
    dup2(errors, STDERR_FILENO);
    if (user != geteuid() && setresuid(user, user, user) != 0) _exit(98);
    execve(program.c_str(), const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
    _exit(99);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(LinuxBackendTest, AClosedTracePipeDoesNotEndTheProcess) {
  int closed[2];
  ASSERT_EQ(pipe(closed), 0);
  close(closed[0]);
  EXPECT_EQ(TraceIn("/proc/self/exe", geteuid(), "stderr", closed[1]), 0);
  close(closed[1]);
}

/// The output of TracesToTheConfiguredSink on standard error.
std::string ErrorsWithTraceTo(const ScratchDirectory& scratch, const std::string& sink) {
  scratch.Write("errors", "");
  const int errors = open(scratch.File("errors").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  EXPECT_EQ(TraceIn("/proc/self/exe", geteuid(), sink, errors), 0);
  close(errors);
  return scratch.Read("errors");
}

TEST(LinuxBackendTest, WritesWholeMessagesOrReportsAnInvalidSink) {
  const ScratchDirectory scratch;
  EXPECT_PRED1(HasAll, ErrorsWithTraceTo(scratch, "stderr"));
  EXPECT_EQ(ErrorsWithTraceTo(scratch, ""), "");
  EXPECT_EQ(ErrorsWithTraceTo(scratch, "Stderr"),
            "KelLanSeek: no traces, KELLANSEEK_TRACE=Stderr: is none of stderr, syslog and file:PATH\n");
  const std::string fifo = "file:" + scratch.File("fifo");
  ASSERT_EQ(mkfifo(scratch.File("fifo").c_str(), 0600), 0);
  EXPECT_EQ(ErrorsWithTraceTo(scratch, fifo),
            "KelLanSeek: no traces, KELLANSEEK_TRACE=" + fifo + ": No such device or address\n");
}

TEST(LinuxBackendTest, ATraceNeverWaitsForItsReader) {
  int full[2];
  ASSERT_EQ(pipe2(full, O_NONBLOCK), 0);
  std::size_t held = 0;
  for (char byte = 'x'; write(full[1], &byte, 1) == 1;) ++held;
  ASSERT_EQ(fcntl(full[1], F_SETFL, 0), 0) << "as a program's standard error is";
  EXPECT_EQ(TraceIn("/proc/self/exe", geteuid(), "stderr", full[1]), 0);
  std::string content(held + 100, '\0');
  EXPECT_EQ(read(full[0], content.data(), content.size()), static_cast<ssize_t>(held));
  close(full[0]);
  close(full[1]);
}

TEST(LinuxBackendTest, ASignalEndsAWaitForDatagramsWithoutAnError) {
  const auto receiver = platform::SystemUdpNetwork().CreateReceiver({}, 100);
  platform::Event stop(platform::Event::Kind::ManualReset);
  struct sigaction action = {}, before = {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, &before);
  // Again and again, as the first may come before the wait.
  const itimerval often{{0, 20000}, {0, 20000}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  const platform::Received received = receiver->ReceiveOne(stop, std::chrono::seconds(10));
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_EQ(received.outcome, platform::Received::Outcome::Nothing);
}

TEST(LinuxBackendTest, ADescriptorThatTakesAnotherClosesItsOwn) {
  const auto open = [] { return platform::Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)); };
  platform::Descriptor descriptor = open();
  const int former = descriptor.get();
  descriptor = open();
  EXPECT_EQ(fcntl(former, F_GETFD), -1);
  EXPECT_NE(fcntl(descriptor.get(), F_GETFD), -1);
}

TEST(LinuxBackendTest, ATraceFileIsRenamedAtItsSizeLimit) {
  constexpr std::uintmax_t kGreatest = 10 * 1024 * 1024;
  const ScratchDirectory scratch;
  for (const std::string content : {"", "first"}) {
    scratch.Write("trace", content);
    std::filesystem::resize_file(scratch.File("trace"), kGreatest - 20);
    EXPECT_EQ(ErrorsWithTraceTo(scratch, "file:" + scratch.File("trace")), "");
    EXPECT_PRED1(HasAll, scratch.Read("trace"));
    EXPECT_EQ(std::filesystem::file_size(scratch.File("trace.1")), kGreatest - 20);
    EXPECT_EQ(scratch.Read("trace.1").compare(0, content.size(), content), 0) << "the latest is kept";
  }
}

TEST(LinuxBackendTest, AProgramWithRaisedPrivilegesIgnoresTheTraceVariable) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can raise a program's privileges";
  const ScratchDirectory scratch;
  const std::string program = scratch.File("program");
  ASSERT_TRUE(std::filesystem::copy_file("/proc/self/exe", program));
  scratch.Write("open", "");
  scratch.Write("private", "");
  ASSERT_EQ(chmod(scratch.File("open").c_str(), 0666), 0);
  ASSERT_EQ(chmod(program.c_str(), 0755), 0);
  EXPECT_EQ(TraceIn(program, kNobody, "file:" + scratch.File("open")), 0);
  EXPECT_PRED1(HasAll, scratch.Read("open"));

  ASSERT_EQ(chmod(program.c_str(), 04755), 0);
  EXPECT_EQ(TraceIn(program, kNobody, "file:" + scratch.File("private")), 0);
  EXPECT_EQ(scratch.Read("private"), "");
}

TEST(LinuxBackendTest, AForeignAddressCannotBeBound) {
  platform::SocketError error = 0;
  const auto socket = platform::SystemUdpNetwork().CreateSocket(error);
  ASSERT_NE(socket.get(), nullptr) << error;
  error = socket->Bind(platform::ParseIpv4("192.0.2.77"), platform::ParseIpv4("255.255.255.0"), 0);
  EXPECT_NE(error, 0);
  EXPECT_TRUE(platform::SystemUdpNetwork().IsExpectedSendError(error)) << error;
}

}  // namespace
}  // namespace kellanseek::test

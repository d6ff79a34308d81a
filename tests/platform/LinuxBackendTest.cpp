#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/DebugOutput.h"
#include "platform/Process.h"
#include "platform/UdpSocket.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {
namespace {

TEST(LinuxBackendTest, AProcessThatHasEndedButIsNotCollectedDoesNotRun) {
  int hold[2];
  ASSERT_EQ(pipe(hold), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    char end = 0;
    close(hold[1]);
    _exit(read(hold[0], &end, 1) == 0 ? 0 : 1);
  }
  close(hold[0]);
  platform::ProcessTable& table = platform::SystemProcessTable();
  const auto id = static_cast<std::uint32_t>(child);
  const std::uint64_t stamp = table.StartStamp(id);
  EXPECT_NE(stamp, 0U);
  EXPECT_TRUE(table.IsRunning(id, 0));
  EXPECT_TRUE(table.IsRunning(id, stamp));

  close(hold[1]);
  siginfo_t info{};
  EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(table.StartStamp(id), 0U);
  EXPECT_FALSE(table.IsRunning(id, 0));
  EXPECT_FALSE(table.IsRunning(id, stamp));
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_FALSE(table.IsRunning(id, stamp));
}

TEST(LinuxBackendTest, AProcessWhoseFirstThreadHasEndedStillRuns) {
  int hold[2];
  ASSERT_EQ(pipe(hold), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(hold[1]);
    std::thread([&] {
      char end = 0;
      _exit(read(hold[0], &end, 1) == 0 ? 0 : 1);
    }).detach();
    syscall(SYS_exit, 0);  // of this thread alone, without unwinding
  }
  close(hold[0]);
  const auto firstThreadHasEnded = [&] {
    std::ifstream file("/proc/" + std::to_string(child) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.find(") Z ") != text.npos;
  };
  while (!firstThreadHasEnded()) sched_yield();
  platform::ProcessTable& table = platform::SystemProcessTable();
  const auto id = static_cast<std::uint32_t>(child);
  const std::uint64_t stamp = table.StartStamp(id);
  EXPECT_NE(stamp, 0U);
  EXPECT_TRUE(table.IsRunning(id, stamp));

  close(hold[1]);
  siginfo_t info{};
  EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  EXPECT_FALSE(table.IsRunning(id, stamp));
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

TEST(LinuxBackendTest, AStrangeProgramNameHidesNothing) {
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

/// Run by the next test, in processes of its own.
TEST(LinuxBackendTest, TracesAWord) { platform::ProcessDebugOutput().Write(L"word"); }

TEST(LinuxBackendTest, ATraceThatNobodyReadsEndsNoProcess) {
  int closed[2];
  ASSERT_EQ(pipe(closed), 0);
  close(closed[0]);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const char* const arguments[] = {"self", "--gtest_filter=LinuxBackendTest.TracesAWord", "--gtest_brief=1",
                                     nullptr};
    const char* const environment[] = {"KELLANSEEK_TRACE=stderr", nullptr};
    dup2(closed[1], STDERR_FILENO);
    execve("/proc/self/exe", const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
    _exit(99);
  }
  close(closed[1]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

/// The exit code of `program`, which is a copy of this one, when an ordinary user lets it trace to `file`.
int TraceAsOrdinaryUser(const std::string& program, const std::string& file) {
  const std::string sink = "KELLANSEEK_TRACE=file:" + file;
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t kNobody = 65534;
    const char* const arguments[] = {program.c_str(), "--gtest_filter=LinuxBackendTest.TracesAWord",
                                     "--gtest_brief=1", nullptr};
    const char* const environment[] = {sink.c_str(), nullptr};
    if (setresuid(kNobody, kNobody, kNobody) != 0) _exit(98);
    execve(program.c_str(), const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
    _exit(99);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(LinuxBackendTest, AProgramWithRaisedPrivilegesWritesNoFileOfItsUsersChoice) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can raise a program's privileges";
  const ScratchDirectory scratch;
  const std::string program = scratch.File("program");
  ASSERT_TRUE(std::filesystem::copy_file("/proc/self/exe", program));
  scratch.Write("open", "");
  scratch.Write("private", "");
  ASSERT_EQ(chmod(scratch.File("open").c_str(), 0666), 0);
  ASSERT_EQ(chmod(program.c_str(), 0755), 0);
  EXPECT_EQ(TraceAsOrdinaryUser(program, scratch.File("open")), 0);
  EXPECT_EQ(scratch.Read("open"), "word");

  ASSERT_EQ(chmod(program.c_str(), 04755), 0);
  EXPECT_EQ(TraceAsOrdinaryUser(program, scratch.File("private")), 0);
  EXPECT_EQ(scratch.Read("private"), "");
}

TEST(LinuxBackendTest, AnAddressThatIsNotOursCannotBeBound) {
  platform::SocketError error = 0;
  const auto socket = platform::SystemUdpNetwork().CreateSocket(error);
  ASSERT_NE(socket.get(), nullptr) << error;
  error = socket->Bind(platform::ParseIpv4("192.0.2.77"), platform::ParseIpv4("255.255.255.0"), 0);
  EXPECT_NE(error, 0);
  EXPECT_TRUE(platform::SystemUdpNetwork().IsExpectedSendError(error)) << error;
}

}  // namespace
}  // namespace kellanseek::test

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using Texts = std::vector<std::wstring>;

const std::wstring kNoDirectory = L"CKelLanSeek::FinalConstruct. Could not read the registry key ConfigDir.";

std::wstring Reason(int error) {
  const std::string text = std::strerror(error);
  return {text.begin(), text.end()};
}

/// Runs `body` in a child process, for at most twenty seconds, and returns its result.
template <typename Body>
int InChild(const Body& body) {
  const pid_t child = fork();
  if (child == 0) {
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    alarm(20);
    _exit(body());
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(ProcessTest, LastReleaseInAForkedChildDestroysNothing) {
  ComponentHarness world;
  world.Create();
  const auto release = [&world] {
    world.ReleaseAll();
    return world.module.InUse() ? 0 : 1;
  };
  EXPECT_EQ(InChild(release), 0);
  int onEventThread = -1;
  const auto sink = FakeSink::Make([&](const ReceivedEvent&) {
    onEventThread = InChild(release);
    return S_OK;
  });
  world.Subscribe(sink.Get());
  world.Appear("a", "192.168.1.20");
  EXPECT_EQ(sink->WaitForTexts(1), Texts{L"11;1;0;"}) << "in the parent the object keeps working";
  EXPECT_EQ(onEventThread, 0);
}

/// Prevents the process from starting threads from now on.
bool GiveThreadsUp() {
  const rlimit none{0, 0};
  constexpr uid_t kNobody = 65534;  // The superuser is not limited.
  return setrlimit(RLIMIT_NPROC, &none) == 0 && (geteuid() != 0 || setresuid(kNobody, kNobody, kNobody) == 0);
}

TEST(ProcessTest, WorksWithoutRefusedThreadsAndTracesThem) {
  const auto body = [] {
    if (!GiveThreadsUp()) return 2;
    ComponentHarness world;
    world.Create();
    Texts expected = {kNoDirectory};
    for (const wchar_t* name :
         {L"KelRefresh", L"KelReceiver", L"KelDaemon", L"KelAddrWatch", L"KelHostNames", L"KelEvents"}) {
      expected.push_back(std::wstring(L"LanSeek: Could not start the thread ") + name + L": " +
                         Reason(EAGAIN));
    }
    EXPECT_EQ(world.traces.Messages(), expected);
    const auto sink = FakeSink::Make();
    EXPECT_EQ(world.Subscribe(sink.Get()), 10U);
    EXPECT_EQ(world.AddRemote(L"10.9.9.9"), 11U);
    world.ReleaseAll();
    EXPECT_FALSE(world.module.InUse());
    return testing::Test::HasFailure() ? 1 : 0;
  };
  EXPECT_EQ(InChild(body), 0);
}

}  // namespace
}  // namespace kellanseek::test

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

/// Limits the process to `more` additional descriptors during its lifetime.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t more) {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    rlimit limit = before_;
    limit.rlim_cur = static_cast<rlim_t>(next) + more;
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_{};
};

TEST(ProcessTest, CreationWithoutDescriptorsFailsAndTracesTheReason) {
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
  GTEST_SKIP() << "The sanitizer reads the type of an object through a pipe, which needs descriptors, too.";
#endif
#endif
  const std::wstring noObject = L"CKelLanSeek::Create. Failed: eventfd: " + Reason(EMFILE);
  const std::wstring noWorker =
      L"LanSeek: Could not make the event that ends the thread KelEvents: eventfd: " + Reason(EMFILE);
  int failed = 0;
  int withoutWorker = 0;
  for (rlim_t descriptors = 0; descriptors < 100; ++descriptors) {
    SCOPED_TRACE(descriptors);
    ComponentHarness world;
    KelComPtr<IUnknown> object;
    const auto create = [&] {
      const DescriptorLimit limit(descriptors);
      return component::CKelLanSeek::Create(nullptr, IID_IUnknown, object.PutVoid(), world.environment,
                                            world.module);
    };
    const HRESULT result = create();
    const auto traced = [&world](const std::wstring& text) {
      const Texts messages = world.traces.Messages();
      return std::find(messages.begin(), messages.end(), text) != messages.end();
    };
    if (result == S_OK && !traced(noWorker)) break;
    ++(result == S_OK ? withoutWorker : failed);
    EXPECT_EQ(result, object ? S_OK : E_UNEXPECTED);
    // The engine's threads are already running and may lack descriptors too.
    EXPECT_TRUE(traced(object ? noWorker : noObject));
  }
  EXPECT_GE(failed, 1);
  EXPECT_EQ(withoutWorker, 1) << "the worker's event is created last";
}

}  // namespace
}  // namespace kellanseek::test

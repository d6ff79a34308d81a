#include "platform/Thread.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include <kellanseek/com.h>

#include "platform/StepCall.h"

namespace kellanseek::platform {
namespace {

/// The first version of the kernel's sched_attr, which the C library does not declare.
struct SchedulingAttributes {
  std::uint32_t size;
  std::uint32_t policy;
  std::uint64_t flags;
  std::int32_t nice;
  std::uint32_t priority;
  std::uint64_t runtime;
  std::uint64_t deadline;
  std::uint64_t period;
};

/// Requests short time slices, which the scheduler grants sooner (Linux 6.12 and later; ignored before).
void AskForShortTurns() {
  constexpr std::uint64_t kShortestTurn = 100'000;  // ns
  SchedulingAttributes attributes{};
  if (syscall(SYS_sched_getattr, 0, &attributes, sizeof attributes, 0) != 0) return;
  attributes.runtime = kShortestTurn;
  syscall(SYS_sched_setattr, 0, &attributes, 0);
}

void Apply(ThreadUrgency urgency) {
  constexpr int kLeastUrgent = 19;
  if (urgency == ThreadUrgency::Prompt) AskForShortTurns();
  if (urgency == ThreadUrgency::Background) {
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), kLeastUrgent);
  }
}

/// Keeps the calling thread in the multithreaded apartment for the lifetime of a scope.
class MultithreadedApartment {
 public:
  MultithreadedApartment() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~MultithreadedApartment() { CoUninitialize(); }
  MultithreadedApartment(const MultithreadedApartment&) = delete;
  MultithreadedApartment& operator=(const MultithreadedApartment&) = delete;
};

void Run(const std::string& name, ThreadUrgency urgency, const std::function<void()>& body) {
  Apply(urgency);
  constexpr std::size_t kMaxName = 15;
  pthread_setname_np(pthread_self(), name.substr(0, kMaxName).c_str());
  const MultithreadedApartment apartment;
  try {
    body();
  } catch (const abi::__forced_unwind&) {
    throw;  // The end of the thread; the C library aborts if it is swallowed.
  } catch (...) {
    // The process is the client's: a failing body may end its thread only.
  }
}

/// Blocks all signals in threads started during its lifetime, so that none of the application's handlers runs
/// on a thread unknown to it. Signals of faults stay unblocked: the kernel delivers them to the faulting
/// thread regardless, and a crash handler must see them.
class SignalsBlockedAtStart {
 public:
  SignalsBlockedAtStart() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) sigdelset(&blocked, fault);
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  ~SignalsBlockedAtStart() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlockedAtStart(const SignalsBlockedAtStart&) = delete;
  SignalsBlockedAtStart& operator=(const SignalsBlockedAtStart&) = delete;

 private:
  sigset_t before_{};
};

/// A detached thread is never joined, so the module must stay loaded: its unloading could pull the code from
/// under the thread.
void KeepModuleLoaded() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&KeepModuleLoaded), &info) == 0 || info.dli_fname == nullptr)
    return;
  void* const module = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  if (module != nullptr) dlclose(module);
}

}  // namespace

bool CallStep(void (*step)(void*), void* stepArgument, void (*report)(void*, std::string_view),
              void* reportArgument) {
  return CallStepUnless<abi::__forced_unwind>(step, stepArgument, report, reportArgument);
}

Thread::~Thread() { Join(); }

std::error_code Thread::Start(const char* name, std::function<void()> body, ThreadUrgency urgency) {
  Join();
  const SignalsBlockedAtStart blocked;
  try {
    thread_ = std::thread(
        [text = std::string(name), urgency, work = std::move(body)] { Run(text, urgency, work); });
  } catch (const std::system_error& error) {
    return error.code();
  } catch (const std::bad_alloc&) {
    return std::make_error_code(std::errc::not_enough_memory);
  }
  return {};
}

void Thread::Join() {
  if (thread_.joinable()) thread_.join();
}

void Thread::Detach() {
  if (!thread_.joinable()) return;
  KeepModuleLoaded();
  thread_.detach();
}

}  // namespace kellanseek::platform

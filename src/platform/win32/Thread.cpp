#include "platform/Thread.h"

#include <memory>
#include <new>
#include <string>
#include <system_error>

#include "platform/StepCall.h"
#include "platform/win32/Apartment.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

void NameThisThread(const std::string& name) {
  using SetDescription = HRESULT WINAPI(HANDLE, PCWSTR);
  // Windows 10 and later.
  auto* const setDescription = FindSystemFunction<SetDescription>(L"kernel32.dll", "SetThreadDescription");
  if (setDescription == nullptr) return;
  const std::wstring wide(name.begin(), name.end());
  setDescription(GetCurrentThread(), wide.c_str());
}

void Apply(ThreadUrgency urgency) {
  // Background is ignored: a low-priority thread that holds a lock may be starved for seconds.
  if (urgency == ThreadUrgency::Prompt) SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_ABOVE_NORMAL);
}

/// On this system no exception stands for the end of a thread.
struct NoSuchEnd {};

}  // namespace

bool CallStep(void (*step)(void*), void* stepArgument, void (*report)(void*, std::string_view),
              void* reportArgument) {
  return CallStepUnless<NoSuchEnd>(step, stepArgument, report, reportArgument);
}

Thread::~Thread() { Join(); }

std::error_code Thread::Start(const char* name, std::function<void()> body, ThreadUrgency urgency) {
  Join();
  try {
    thread_ = std::thread([name = std::string(name), urgency, body = std::move(body)]() mutable {
      NameThisThread(name);
      Apply(urgency);
      const MultithreadedApartment apartment;
      try {
        body();
      } catch (...) {
        // The process is the client's: a failing body may end its thread only.
      }
      body = nullptr;  // Destroys what the body captured while the thread is still in the apartment.
    });
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
  // A detached thread is never joined, so its last instructions may run after the last object is gone. The
  // module must stay loaded for them.
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&NameThisThread), &module);
  thread_.detach();
}

}  // namespace kellanseek::platform

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
  // Windows 10 has it, older systems do not.
  auto* const setDescription = FindSystemFunction<SetDescription>(L"kernel32.dll", "SetThreadDescription");
  if (setDescription == nullptr) return;
  const std::wstring wide(name.begin(), name.end());
  setDescription(GetCurrentThread(), wide.c_str());
}

void Apply(ThreadUrgency urgency) {
  // Background stays as it is: a thread of low priority may be kept waiting for seconds with a lock in its
  // hand.
  if (urgency == ThreadUrgency::Prompt) SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_ABOVE_NORMAL);
}

/// No exception ends a thread here.
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
        // The process is our client's: a body that fails ends its thread, not the process.
      }
      body = nullptr;  // What the body holds goes while the apartment still stands.
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
  // Nobody waits for the thread any more, so its last instructions may run after the last object is gone. The
  // module must not be unloaded under them; it stays loaded from here on.
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&NameThisThread), &module);
  thread_.detach();
}

}  // namespace kellanseek::platform

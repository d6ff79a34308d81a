#include "platform/Thread.h"

#include <dlfcn.h>
#include <pthread.h>

#include <string>
#include <system_error>
#include <utility>

#include <kellanseek/com.h>

namespace kellanseek::platform {
namespace {

void Run(const std::string& name, const std::function<void()>& body) {
  constexpr std::size_t kMaxName = 15;
  pthread_setname_np(pthread_self(), name.substr(0, kMaxName).c_str());
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  try {
    body();
  } catch (...) {
    // The process is our client's: a body that fails ends its thread, not the process.
  }
  CoUninitialize();
}

/// Nobody waits for a detached thread, so nobody can tell when it has left the code of this module: from now
/// on the module stays.
void KeepModuleLoaded() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&KeepModuleLoaded), &info) == 0 || info.dli_fname == nullptr)
    return;
  void* const module = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  if (module != nullptr) dlclose(module);
}

}  // namespace

Thread::~Thread() { Join(); }

bool Thread::Start(const char* name, std::function<void()> body) {
  Join();
  try {
    thread_ = std::thread([text = std::string(name), work = std::move(body)] { Run(text, work); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
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

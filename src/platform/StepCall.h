#pragma once

#include <exception>
#include <new>
#include <string_view>

namespace kellanseek::platform {

/// What CallStep() of Thread.h does on every system. An exception of the type ThreadEnd, which differs, is
/// the end of the thread itself and goes through.
template <typename ThreadEnd>
bool CallStepUnless(void (*step)(void*), void* stepArgument, void (*report)(void*, std::string_view),
                    void* reportArgument) {
  const auto tell = [&](std::string_view what) {
    try {
      report(reportArgument, what);
    } catch (const std::exception&) {
      // The step is lost all the same.
    }
  };
  try {
    step(stepArgument);
    return true;
  } catch (const ThreadEnd&) {
    throw;
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::exception& failure) {
    tell(failure.what());
  } catch (...) {
    tell("unknown exception");
  }
  return false;
}

}  // namespace kellanseek::platform

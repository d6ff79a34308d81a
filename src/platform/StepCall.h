#pragma once

#include <exception>
#include <new>
#include <string_view>

namespace kellanseek::platform {

/// Implements CallStep() of Thread.h. An exception of type ThreadEnd, which differs between systems, stands
/// for the end of the thread and passes through.
template <typename ThreadEnd>
bool CallStepUnless(void (*step)(void*), void* stepArgument, void (*report)(void*, std::string_view),
                    void* reportArgument) {
  const auto tell = [&](std::string_view what) {
    try {
      report(reportArgument, what);
    } catch (const std::exception&) {
      // The step counts as lost in any case.
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

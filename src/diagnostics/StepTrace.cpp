#include "diagnostics/StepTrace.h"

#include "platform/CodePage.h"

namespace kellanseek::diagnostics {

void StepTrace::operator()(std::string_view what) {
  constexpr std::uint32_t kBetweenTraces = 60'000;
  const std::uint32_t now = clock_();
  if (lastTold_ && now - *lastTold_ < kBetweenTraces) return;
  tracer_.LongError(L"LanSeek: A step of thread %s has failed and is lost: %s", thread_,
                    platform::ToWide(what));
  lastTold_ = now;
}

}  // namespace kellanseek::diagnostics

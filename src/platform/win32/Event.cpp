#include "platform/Event.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "platform/win32/EventNative.h"

namespace kellanseek::platform {

namespace {

DWORD WaitMilliseconds(std::optional<std::chrono::milliseconds> timeout) {
  if (!timeout) return INFINITE;
  constexpr std::chrono::milliseconds::rep kLongest = INFINITE - 1;
  return static_cast<DWORD>(std::clamp<std::chrono::milliseconds::rep>(timeout->count(), 0, kLongest));
}

}  // namespace

Event::Native::Native(Kind kind) : handle(CreateEventW(nullptr, kind == Kind::ManualReset, FALSE, nullptr)) {
  if (!handle) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "CreateEvent");
  }
}

void Event::Native::Attach(Waker& waker) {
  const MutexLock guard(lock);
  wakers.push_back(&waker);
}

void Event::Native::Detach(Waker& waker) {
  const MutexLock guard(lock);
  wakers.erase(std::remove(wakers.begin(), wakers.end(), &waker), wakers.end());
}

void Event::Native::WakeAll() {
  const MutexLock guard(lock);
  for (Waker* waker : wakers) waker->Wake();
}

Event::Event(Kind kind) : native_(std::make_unique<Native>(kind)) {}

Event::~Event() = default;

void Event::Set() {
  SetEvent(native_->handle.get());
  native_->WakeAll();
}

void Event::Reset() { ResetEvent(native_->handle.get()); }

bool Event::TryWait() { return WaitForSingleObject(native_->handle.get(), 0) == WAIT_OBJECT_0; }

void Event::Wait() { WaitForSingleObject(native_->handle.get(), INFINITE); }

WaitResult WaitForAny(std::initializer_list<Event*> events,
                      std::optional<std::chrono::milliseconds> timeout) {
  std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> handles = {};
  if (events.size() == 0 || events.size() > handles.size()) return {};
  std::transform(events.begin(), events.end(), handles.begin(),
                 [](Event* event) { return event->native().handle.get(); });
  const DWORD count = static_cast<DWORD>(events.size());
  const DWORD result = WaitForMultipleObjects(count, handles.data(), FALSE, WaitMilliseconds(timeout));
  if (result < WAIT_OBJECT_0 + count) return {WaitResult::Outcome::Signalled, result - WAIT_OBJECT_0};
  if (result == WAIT_TIMEOUT) return {WaitResult::Outcome::TimedOut, 0};
  return {};
}

}  // namespace kellanseek::platform

#include "platform/Event.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

#include "platform/linux/EventNative.h"
#include "platform/linux/PollTimeout.h"

namespace kellanseek::platform {

Event::Native::Native(Kind eventKind) : kind(eventKind), descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!descriptor) throw std::system_error(errno, std::generic_category(), "eventfd");
}

bool Event::Native::TryTake() {
  if (!signalled.load(std::memory_order_acquire)) return false;
  if (kind == Kind::ManualReset) return true;
  const MutexLock lock(mutex);
  if (!signalled.load(std::memory_order_relaxed)) return false;
  eventfd_t count{};
  eventfd_read(descriptor.get(), &count);
  signalled.store(false, std::memory_order_release);
  return true;
}

Event::Event(Kind kind) : native_(std::make_unique<Native>(kind)) {}

Event::~Event() = default;

void Event::Set() {
  const MutexLock lock(native_->mutex);
  if (native_->signalled.load(std::memory_order_relaxed)) return;
  native_->signalled.store(true, std::memory_order_release);
  eventfd_write(native_->descriptor.get(), 1);
}

void Event::Reset() {
  const MutexLock lock(native_->mutex);
  if (!native_->signalled.load(std::memory_order_relaxed)) return;
  eventfd_t count{};
  eventfd_read(native_->descriptor.get(), &count);
  native_->signalled.store(false, std::memory_order_release);
}

bool Event::TryWait() { return native_->TryTake(); }

void Event::Wait() { WaitForAny({this}); }

WaitResult WaitForAny(std::initializer_list<Event*> events,
                      std::optional<std::chrono::milliseconds> timeout) {
  constexpr std::size_t kMaxEvents = 8;
  if (events.size() > kMaxEvents) return {};
  pollfd descriptors[kMaxEvents];
  constexpr int kBetweenLooks = 10;
  nfds_t count = 0;
  for (Event* event : events) descriptors[count++] = {event->native().descriptor.get(), POLLIN, {}};

  const Deadline deadline(timeout);
  for (;;) {
    for (std::size_t i = 0; i < count; ++i)
      if (events.begin()[i]->native().TryTake()) return {WaitResult::Outcome::Signalled, i};
    if (deadline.Passed()) return {WaitResult::Outcome::TimedOut};
    const timespec left = deadline.Left();
    const int ready = ppoll(descriptors, count, deadline.Limited() ? &left : nullptr, nullptr);
    // It refuses to wait if the program has lowered its limit of descriptors below `count`. Threads must
    // neither end for that nor spin.
    if (ready < 0 && errno != EINTR) poll(nullptr, 0, kBetweenLooks);
  }
}

}  // namespace kellanseek::platform

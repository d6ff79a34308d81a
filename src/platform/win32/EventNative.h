#pragma once

#include <vector>

#include "platform/Event.h"
#include "platform/Mutex.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

/// A sleeper that cannot wait for the event's handle and must be woken by Set().
class Waker {
 public:
  /// Called by the thread that sets the event. Must not block.
  virtual void Wake() = 0;

 protected:
  ~Waker() = default;
};

struct Event::Native {
  explicit Native(Kind kind);

  void Attach(Waker& waker);
  void Detach(Waker& waker);
  void WakeAll();

  UniqueHandle handle;
  Mutex lock{LockOrder::Event};
  std::vector<Waker*> wakers GUARDED_BY(lock);
};

/// Keeps a waker attached to an event for the lifetime of a scope. Test the event after construction: every
/// later Set() calls the waker.
class AttachedWaker {
 public:
  AttachedWaker(Event& event, Waker& waker) : event_(event), waker_(waker) { event_.native().Attach(waker_); }
  ~AttachedWaker() { event_.native().Detach(waker_); }
  AttachedWaker(const AttachedWaker&) = delete;
  AttachedWaker& operator=(const AttachedWaker&) = delete;

 private:
  Event& event_;
  Waker& waker_;
};

}  // namespace kellanseek::platform

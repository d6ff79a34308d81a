#pragma once

#include <atomic>

#include "platform/Event.h"
#include "platform/Mutex.h"
#include "platform/linux/Descriptor.h"

namespace kellanseek::platform {

/// The flag answers tests without a system call. The descriptor is readable exactly while the flag is set.
struct Event::Native {
  explicit Native(Kind eventKind);

  /// Tests the event and, if it is an auto-reset event, clears it.
  bool TryTake();

  const Kind kind;
  Descriptor descriptor;
  std::atomic<bool> signalled{false};
  Mutex mutex{LockOrder::Event};
};

}  // namespace kellanseek::platform

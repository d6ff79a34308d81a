#pragma once

#include <kellanseek/client.hpp>

#include <exception>
#include <vector>

#include "platform/Event.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"

namespace kellanseek::kelseek {

/// Reads a stream of changes on a thread of its own, for a reader that waits for other things too. What the
/// reader leaves here is bounded; beyond, changes stay in the stream.
class ChangeFeed {
 public:
  /// `stream` must outlive this object, which is its only reader and cancels it at the end. Throws
  /// std::system_error if no thread can be created.
  explicit ChangeFeed(client::ChangeStream& stream);
  ~ChangeFeed();
  ChangeFeed(const ChangeFeed&) = delete;
  ChangeFeed& operator=(const ChangeFeed&) = delete;

  /// Auto-reset; set when something arrives.
  platform::Event& Arrived() { return arrived_; }
  /// What has arrived since the last call. Throws what the stream threw.
  std::vector<client::Change> Take();

 private:
  void Run();
  /// Returns whether there is no room for more.
  bool Put(client::Change change);

  client::ChangeStream& stream_;
  platform::Event arrived_{platform::Event::Kind::AutoReset};
  platform::Event taken_{platform::Event::Kind::AutoReset};
  platform::Event end_{platform::Event::Kind::ManualReset};
  platform::Mutex mutex_{platform::LockOrder::Program};
  std::vector<client::Change> waiting_ GUARDED_BY(mutex_);
  std::exception_ptr failure_ GUARDED_BY(mutex_);
  platform::Thread thread_;
};

}  // namespace kellanseek::kelseek

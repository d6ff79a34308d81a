#include "screen/ChangeFeed.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <system_error>
#include <utility>

namespace kellanseek::kelseek {

ChangeFeed::ChangeFeed(client::ChangeStream& stream) : stream_(stream) {
  const std::error_code error = thread_.Start("changes", [this] {
    try {
      Run();
    } catch (...) {
      const platform::MutexLock lock(mutex_);
      failure_ = std::current_exception();
    }
    arrived_.Set();
  });
  if (error) throw std::system_error(error, "changes cannot be followed");
}

ChangeFeed::~ChangeFeed() {
  end_.Set();
  stream_.cancel();
  thread_.Join();
}

std::vector<client::Change> ChangeFeed::Take() {
  std::vector<client::Change> changes;
  {
    const platform::MutexLock lock(mutex_);
    changes.swap(waiting_);
    if (failure_) std::rethrow_exception(failure_);
  }
  taken_.Set();
  return changes;
}

void ChangeFeed::Run() {
  constexpr std::chrono::hours kLong(1);
  while (!end_.TryWait()) {
    std::optional<client::Change> change = stream_.next(kLong);
    if (!change) continue;
    const bool full = Put(*std::move(change));
    arrived_.Set();
    if (full) platform::WaitForAny({&end_, &taken_});
  }
}

bool ChangeFeed::Put(client::Change change) {
  constexpr std::size_t kMost = 4096;
  const platform::MutexLock lock(mutex_);
  waiting_.push_back(std::move(change));
  return waiting_.size() >= kMost;
}

}  // namespace kellanseek::kelseek

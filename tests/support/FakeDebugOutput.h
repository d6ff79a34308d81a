#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/DebugOutput.h"

namespace kellanseek::test {

/// Records all writes. Thread-safe.
class FakeDebugOutput : public platform::DebugOutput {
 public:
  bool Enabled() const override { return true; }
  void Write(std::wstring_view text) override {
    const std::lock_guard lock(mutex_);
    writes_.emplace_back(text);
  }

  std::vector<std::wstring> Writes() const {
    const std::lock_guard lock(mutex_);
    return writes_;
  }
  /// The messages of the traces. A trace is five writes, of which the fourth is the message.
  std::vector<std::wstring> Messages() const {
    const std::vector<std::wstring> writes = Writes();
    std::vector<std::wstring> messages;
    for (std::size_t i = 3; i < writes.size(); i += 5) messages.push_back(writes[i]);
    return messages;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::wstring> writes_;
};

}  // namespace kellanseek::test

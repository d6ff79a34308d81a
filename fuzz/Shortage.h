#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <string_view>

#include "fuzz/FuzzFile.h"
#include "tests/support/FailingAllocation.h"

namespace kellanseek::fuzz {

/// Makes one allocation fail: the input that begins with '!' chooses with two more bytes which. Only those in
/// the steps that are run here count.
class Shortage {
 public:
  /// Takes the choice off the input.
  explicit Shortage(std::string_view& input) : chosen_(input.size() >= 3 && input.front() == '!') {
    if (!chosen_) return;
    const auto byte = [&](std::size_t at) { return static_cast<std::size_t>(input[at]) & 0xFF; };
    left_ = byte(1) + 16 * byte(2);
    input.remove_prefix(3);
  }

  bool Chosen() const { return chosen_; }
  bool Happened() const { return chosen_ && left_ == kNever; }

  /// Runs a step as the engine's threads do. Returns false if it has run out of memory.
  template <typename Step>
  bool Run(Step step) {
    const test::FailingAllocation failing(left_);
    bool done = true;
    try {
      step();
    } catch (const std::bad_alloc&) {
      done = false;
    }
    left_ = failing.Left();
    Require(done || Happened());
    return done;
  }

 private:
  static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

  bool chosen_;
  std::size_t left_ = kNever;
};

}  // namespace kellanseek::fuzz

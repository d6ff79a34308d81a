#pragma once

#include <cstddef>

namespace kellanseek::diagnostics {

/// How many elements a queue has, and had at most.
struct QueueLoad {
  std::size_t now{};
  std::size_t highest{};
};

}  // namespace kellanseek::diagnostics

#pragma once

#include <cstddef>

namespace kellanseek::diagnostics {

/// How many elements a queue has, and had at most.
struct QueueLoad {
  std::size_t now = 0;
  std::size_t highest = 0;
};

}  // namespace kellanseek::diagnostics

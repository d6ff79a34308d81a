#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>

#include "fuzz/FuzzFile.h"
#include "tests/engine/ModelHistory.h"

/// The input makes the choices of a history: messages, ticks, calls of clients, registrations, interfaces.
/// The engine and the model must agree after every step.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::size_t kMost = 2000;
  std::size_t next = 0;
  kellanseek::test::ModelHistory history([&] {
    // Past the end the last choices repeat, so that the step that began can be finished.
    return size == 0 ? 0U : static_cast<std::uint32_t>(bytes[next++ % size]);
  });
  while (next < size && next < kMost && !testing::Test::HasFailure()) history.Act();
  if (testing::Test::HasFailure()) std::cerr << history.Story() << '\n';
  kellanseek::fuzz::Require(!testing::Test::HasFailure());
  return 0;
}

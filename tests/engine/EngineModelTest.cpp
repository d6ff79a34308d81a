#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>

#include "ModelHistory.h"

namespace kellanseek::test {
namespace {

constexpr int kSteps = 60;

std::uint32_t FromEnvironment(const char* name, std::uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

/// KELLANSEEK_MODEL_SEED is the first seed, KELLANSEEK_MODEL_HISTORIES how many follow one another.
TEST(EngineModel, TheEngineMatchesThePlainWalk) {
  const std::uint32_t first = FromEnvironment("KELLANSEEK_MODEL_SEED", 1);
  const std::uint32_t count = FromEnvironment("KELLANSEEK_MODEL_HISTORIES", 1000);
  for (std::uint32_t seed = first; seed - first < count; ++seed) {
    std::mt19937 random(seed);
    ModelHistory history([&random] { return static_cast<std::uint32_t>(random()); });
    for (int step = 0; step < kSteps && !HasFailure(); ++step) history.Act();
    ASSERT_FALSE(HasFailure()) << "KELLANSEEK_MODEL_SEED=" << seed << " KELLANSEEK_MODEL_HISTORIES=1"
                               << history.Story();
  }
}

}  // namespace
}  // namespace kellanseek::test

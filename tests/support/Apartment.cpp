#include <gtest/gtest.h>

#include <kellanseek/com.h>

namespace {

/// Initialises COM for the main thread, as a client does.
class Apartment : public testing::Environment {
 public:
  void SetUp() override { ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
  void TearDown() override { CoUninitialize(); }
};

[[maybe_unused]] testing::Environment* const theApartment = testing::AddGlobalTestEnvironment(new Apartment);

}  // namespace

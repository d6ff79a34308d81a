#include <gtest/gtest.h>

#include <kellanseek/com.h>

namespace {

/// The thread of the tests is what a client's thread is: a member of the multithreaded apartment.
class Apartment : public testing::Environment {
 public:
  void SetUp() override { ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
  void TearDown() override { CoUninitialize(); }
};

[[maybe_unused]] testing::Environment* const theApartment = testing::AddGlobalTestEnvironment(new Apartment);

}  // namespace

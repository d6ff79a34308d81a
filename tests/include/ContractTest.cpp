#include <gtest/gtest.h>

#include <cstddef>

#include <kellanseek/KelLanSeek.h>

namespace {

// The test generated from the interface definitions checks identifiers, slots and the other fields.
TEST(ContractTest, RecordsAreLaidOutAsOnWindows) {
  struct Case {
    const char* what;
    std::size_t actual;
    std::size_t pointersOf4;
    std::size_t pointersOf8;
  };
  const Case cases[] = {
      {"VARIANT", sizeof(VARIANT), 16, 24},
      {"VARIANT::bstrVal", offsetof(VARIANT, bstrVal), 8, 8},
      {"VCInterface", sizeof(VCInterface), 8, 16},
      {"KelRetrievalParams", sizeof(KelRetrievalParams), 28, 28},
      {"KelEventParams", sizeof(KelEventParams), 24, 32},
      {"KelObjectEvent", sizeof(KelObjectEvent), 40, 48},
      {"KelObjectEvent::data", offsetof(KelObjectEvent, data), 8, 8},
      {"KelObjectEvent::time", offsetof(KelObjectEvent, time), 24, 32},
      {"KelObjectEvent::reserved2", offsetof(KelObjectEvent, reserved2), 32, 40},
      {"KelObjectEvent::reserved3", offsetof(KelObjectEvent, reserved3), 36, 44},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.actual, sizeof(void*) == 4 ? c.pointersOf4 : c.pointersOf8) << c.what;
  }
}

}  // namespace

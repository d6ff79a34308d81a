#include "Component.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Controller.h"
#include "Text.h"

namespace kellanseek::tools {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::StartsWith;

TEST(ComponentOfATool, FailureTellsWhatTheComponentSays) {
  Session session;
  session.module = KELLANSEEK_MODULE;
  const Component component(session);
  ULONG id = 0;
  const HRESULT result = component.Seek().GetCtrlFromSystemID(nullptr, &id);
  try {
    component.Check(result, "looking up");
    FAIL() << "no error for " << CodeText(result);
  } catch (const CommandError& error) {
    EXPECT_EQ(kComponentFailed, error.Code());
    EXPECT_THAT(error.what(),
                AllOf(StartsWith("looking up: SystemID is NULL or have length 0"), EndsWith("(0x80070057)")));
  }
  component.Check(KEL_S_ALREADY_DYNAMIC, "a success of its own kind");
}

TEST(ComponentOfATool, UnknownControllersAreNotFound) {
  Session session;
  session.module = KELLANSEEK_MODULE;
  const Component component(session);
  for (const char* const which : {"", "0", "11", "99999999999999999999", "300.1.1.1", "{none}", "\xff"}) {
    EXPECT_FALSE(FindController(component, which)) << which;
  }
  try {
    AddRemote(component, "255.255.255.255");
    FAIL() << "an address that is none was taken";
  } catch (const CommandError& error) {
    EXPECT_EQ(kWrongUse, error.Code());
  }
}

}  // namespace
}  // namespace kellanseek::tools

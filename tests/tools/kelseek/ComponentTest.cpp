#include "client/Component.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "client/Controller.h"
#include "client/Text.h"
#include "commands/VcCommand.h"
#include "platform/Process.h"
#include "tests/component/FakeVC.h"

namespace kellanseek::kelseek {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST(ComponentOfATool, ErrorsIncludeTheComponentsErrorText) {
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
  component.Check(KEL_S_ALREADY_DYNAMIC, "a success with another code");
}

TEST(ComponentOfATool, FindsControllersByNameOnlyIfItIsUnique) {
  Session session;
  session.module = KELLANSEEK_MODULE;
  const Component component(session);
  const auto registrar = component.Get<IKelVCLanSeek2>();
  const auto object = test::FakeVC::Make();
  GUID iid = IID_KelVirtualController;
  VCInterface own = {&iid, object.Get()};
  const auto start = [&](const std::string& name, const std::string& systemID) {
    VirtualController controller;
    controller.name = name;
    controller.systemID = systemID;
    const KelBstr path(FromUtf8("/vc/" + systemID)), identity(IdentityMessage(controller));
    component.Check(registrar->Register2(path.Get(), KelBstr(FromUtf8(systemID)).Get(),
                                         platform::CurrentProcessId(), RemoteVCPublication_False, &own),
                    "registering");
    component.Check(registrar->ForwardMessage(identity.Get()), "answering");
  };
  start("", "{5A-0}");
  start("cell", "{5A-1}");
  start("{5A-1}", "{5A-2}");
  start("/vc/{5A-1}", "{5A-3}");
  for (const char* const which : {"cell", "{5a-1}", "/vc/{5A-1}"}) {
    const auto found = FindController(component, which);
    ASSERT_TRUE(found) << which;
    EXPECT_EQ("{5A-1}", found->systemID) << which;
  }
  for (const char* const which : {"", "Cell", "cel", "11", "12"})
    EXPECT_FALSE(FindController(component, which)) << which;
  start("cell", "{5A-4}");
  try {
    FindController(component, "cell");
    FAIL() << "an ambiguous name was accepted";
  } catch (const CommandError& error) {
    EXPECT_EQ(kWrongUse, error.Code());
    EXPECT_THAT(error.what(), AllOf(HasSubstr("/vc/{5A-1}"), HasSubstr("/vc/{5A-4}")));
  }
}

}  // namespace
}  // namespace kellanseek::kelseek

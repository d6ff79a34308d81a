#include "client/Component.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands/VcCommand.h"

namespace kellanseek::kelseek {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(ComponentOfATool, FindsControllersByNameOnlyIfItIsUnique) {
  Session session;
  session.module = KELLANSEEK_MODULE;
  const client::Client client = Connect(session);
  std::vector<client::VirtualRegistration> started;
  const auto start = [&](const std::string& name, const std::string& identity) {
    client::VirtualController controller;
    controller.name = name;
    controller.identity = identity;
    controller.path = "/vc/" + identity;
    started.push_back(client.register_virtual(controller));
    started.back().announce();
  };
  start("", "{5A-0}");
  start("cell", "{5A-1}");
  start("{5A-1}", "{5A-2}");
  start("/vc/{5A-1}", "{5A-3}");
  for (const char* const which : {"cell", "{5a-1}", "/vc/{5A-1}"}) {
    const auto found = FindController(client, which);
    ASSERT_TRUE(found) << which;
    EXPECT_EQ("{5A-1}", found->identity) << which;
  }
  for (const char* const which : {"", "Cell", "cel", "11", "12"})
    EXPECT_FALSE(FindController(client, which)) << which;
  start("cell", "{5A-4}");
  try {
    FindController(client, "cell");
    FAIL() << "an ambiguous name was accepted";
  } catch (const CommandError& error) {
    EXPECT_EQ(kWrongUse, error.Code());
    EXPECT_THAT(error.what(), AllOf(HasSubstr("/vc/{5A-1}"), HasSubstr("/vc/{5A-4}")));
  }
}

TEST(ComponentOfATool, ReadsVersions) {
  EXPECT_EQ(std::nullopt, ReadVersion(""));
  EXPECT_EQ((client::Version{6, 10, std::nullopt}), ReadVersion("6.10"));
  EXPECT_EQ((client::Version{6, 10, 2}), ReadVersion("6.10.2"));
  for (const char* const text : {"6", "6.", ".6", "6.10.2.1", "6.10.", "6.x", "6.100000", "-1.2"})
    EXPECT_THROW(ReadVersion(text), CommandError) << text;
}

}  // namespace
}  // namespace kellanseek::kelseek

#include "tools/kelsim/Script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/CodePage.h"

namespace kellanseek::kelsim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr Script::Subject kTwenty{1, 20, true};

Script Read(const std::string& text, const Script::Subject& subject = kTwenty) {
  Script script(subject);
  script.AddText("plant", text);
  return script;
}

TEST(Script, ReadsEveryKindOfLine) {
  struct Case {
    const char* line;
    std::int64_t at;
    Action action;
    std::uint32_t first, last;
    std::uint32_t value;
    const char* text;
  };
  const Case cases[] = {
      {"0 announce all", 0, Action::Announce, 1, 20, 0, ""},
      {"1.25 restart 3", 1250, Action::Restart, 3, 3, 2000, ""},
      {"5 restart 3-7 0.5", 5000, Action::Restart, 3, 7, 500, ""},
      {"\t5\tpower-down  20  \r", 5000, Action::PowerDown, 20, 20, 0, ""},
      {"5 power-up 1-1", 5000, Action::PowerUp, 1, 1, 0, ""},
      {"5 silent 1", 5000, Action::FallSilent, 1, 1, 0, ""},
      {"5 speak 1", 5000, Action::Speak, 1, 1, 0, ""},
      {"5 rename 1 Cell  1 # west ", 5000, Action::Rename, 1, 1, 0, "Cell  1 # west"},
      {"5 identity 1 {A:B}", 5000, Action::SetSystemId, 1, 1, 0, "{A:B}"},
      {"5 address 1 1.0.0.1", 5000, Action::SetAddress, 1, 1, platform::NetworkOrder(0x01000001U), ""},
      {"5 same-address 1 2", 5000, Action::ShareAddress, 1, 1, 2, ""},
      {"5 loss 1 100", 5000, Action::SetLoss, 1, 1, 100, ""},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.line);
    const Script script = Read(one.line);
    EXPECT_THAT(script.Faults(), IsEmpty());
    ASSERT_EQ(script.Events().size(), 1U);
    const LifeEvent& event = script.Events()[0];
    EXPECT_EQ(std::tuple(event.at, event.action, event.value, event.text),
              std::tuple(Moment(one.at), one.action, one.value, one.text));
    EXPECT_EQ(std::pair(event.first, event.last), std::pair(one.first, one.last));
  }
}

TEST(Script, EveryErrorIsReportedWithItsLine) {
  struct Case {
    const char* line;
    const char* fault;
  };
  const Case cases[] = {
      {"soon restart 1", "\"soon\" is not a time in seconds from 0 to 1000000"},
      {"-1 restart 1", "\"-1\" is not a time"},
      {"1e99 restart 1", "\"1e99\" is not a time"},
      {"5", "an action is missing after the time"},
      {"5 renam 1 x", "unknown action \"renam\"; the actions are announce, restart,"},
      {"5 restart", "a controller is missing; the controllers are 1 to 20"},
      {"5 restart 21", "\"21\" is not a controller; the controllers are 1 to 20"},
      {"5 restart 99999999999", "is not a controller"},
      {"5 restart 7-3", "the range \"7-3\" ends before it begins"},
      {"5 restart 3 slowly", "\"slowly\" is not a time"},
      {"5 silent 3 now", "\"silent\" takes no argument after the controller"},
      {"5 rename 3", "a text is missing"},
      {"5 rename 3 a;b", "must not contain semicolons or control characters"},
      {"5 rename 3 \xE2\x82\xAC \xE2\x98\x83", "characters that the controllers' code page lacks"},
      {"5 address 3 10.1", "\"10.1\" is not an address like 10.1.0.20"},
      {"5 address 3 255.255.255.255", "is not an address"},
      {"5 address 3-4 255.255.255.254", "too few addresses"},
      {"5 same-identity 3 21", "\"21\" is not a controller"},
      {"5 loss 3 101", "\"101\" is not a percentage from 0 to 100"},
  };
  for (const Case& one : cases) {
    const Script script = Read(std::string("# first\n\n") + one.line + "\n1 silent 1\n");
    ASSERT_EQ(script.Faults().size(), 1U) << one.line;
    EXPECT_THAT(script.Faults()[0], HasSubstr(one.fault));
    EXPECT_EQ(script.Faults()[0].rfind("plant:3: ", 0), 0U) << script.Faults()[0];
    EXPECT_EQ(script.Events().size(), 1U) << "the other lines are still read";
  }
}

TEST(Script, LimitsTextsToAHundredCharactersOfTheCodePage) {
  EXPECT_THAT(Read("5 rename 3 " + std::string(100, 'x')).Faults(), IsEmpty());
  EXPECT_THAT(Read("5 rename 3 " + std::string(101, 'x')).Faults(),
              ElementsAre(HasSubstr("a text has at most 100 characters")));
  const std::string line = "rename 3 S\u00FCd";
  const Script script = Read("\uFEFF5 " + line);
  ASSERT_EQ(script.Events().size(), 1U);
  EXPECT_EQ(script.Events()[0].text, platform::ToNarrow(L"S\u00FCd"));
  EXPECT_EQ(script.Events()[0].description, line);
}

TEST(Script, TimesAreAbsoluteOrRelativeToThePreviousLine) {
  const Script script =
      Read("+1 silent 1\n10 silent 2\r\n# between\n+0.5 silent 3\n+bad silent 4\n+1 silent 5\n5 silent 6");
  std::vector<std::int64_t> times;
  for (const LifeEvent& event : script.Events()) times.push_back(event.at.count());
  EXPECT_THAT(times, ElementsAre(1000, 10'000, 10'500, 11'500, 5000));
  EXPECT_EQ(script.Faults().size(), 1U);
}

TEST(Script, ControllersAtHostAddressesCannotMove) {
  const Script script = Read("5 address 1 10.0.0.1\n5 same-address 1 2\n5 same-identity 1 2", {1, 20, false});
  EXPECT_THAT(script.Faults(),
              ElementsAre(HasSubstr("plant:1: these controllers have addresses of this host"),
                          HasSubstr("plant:2: these controllers have addresses of this host")));
  EXPECT_EQ(script.Events().size(), 1U);
}

}  // namespace
}  // namespace kellanseek::kelsim

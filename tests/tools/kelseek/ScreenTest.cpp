#include "screen/Screen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "client/Text.h"
#include "screen/Draw.h"
#include "screen/KeyReader.h"
#include "screen/Pacing.h"

namespace kellanseek::kelseek {
namespace {

using namespace std::chrono_literals;
using client::Availability;
using client::Change;
using client::ChangeType;
using client::Controller;
using client::Reason;
using testing::ElementsAre;

Controller Cell(std::uint32_t id, const std::string& name, const std::string& address) {
  Controller controller;
  controller.id = id;
  controller.availability = Availability::Available;
  controller.name = name;
  controller.address = address;
  controller.identity = "{5A-" + std::to_string(id) + "}";
  controller.version = client::Version{6, 10, id};
  return controller;
}

Change ChangeOf(ChangeType type, const Controller& controller, std::optional<Reason> reason = {}) {
  Change change;
  change.type = type;
  change.controller = controller;
  change.reason = reason;
  return change;
}

Change GoneOf(Controller controller, Availability availability, Reason reason) {
  controller.availability = availability;
  const bool removed = availability == Availability::Removed;
  return ChangeOf(removed ? ChangeType::Removed : ChangeType::Changed, controller, reason);
}

/// A screen with its own time.
struct Show {
  explicit Show(std::size_t columns = 80, std::size_t rows = 24) { screen.Resize({columns, rows}); }

  void Tell(const Change& change) { screen.Apply(change, now); }
  void Pass(Moment time) {
    now.moment += time;
    now.timeOfDay = 12h + std::chrono::floor<std::chrono::seconds>(now.moment);
  }
  /// What a terminal sends for keys; see KeyReader.
  void Type(const std::string& bytes) {
    KeyReader reader;
    for (const KeyPress& press : reader.Read(bytes)) screen.Press(press);
    for (const KeyPress& press : reader.Flush()) screen.Press(press);
  }
  Frame Draw(bool colours = false) {
    screen.Arrange(now.moment);
    return kelseek::Draw(screen, now, colours);
  }
  /// The lines, with a count in place of empty ones.
  std::string Text() {
    std::string text;
    std::size_t empty = 0;
    std::vector<std::string> lines = Draw().lines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].empty()) ++empty;
      const bool last = empty > 0 && (i + 1 == lines.size() || !lines[i + 1].empty());
      if (!lines[i].empty()) text += lines[i] + "\n";
      if (last) text += "[" + std::to_string(std::exchange(empty, 0)) + " empty lines]\n";
    }
    return text;
  }
  std::vector<std::string> Names() {
    Draw();
    std::vector<std::string> names;
    for (const Row* row : screen.rows().Shown()) names.push_back(row->controller.name);
    return names;
  }

  Screen screen;
  Now now{1000s, 12h + 1000s};
};

/// Three controllers in the list, one new, one silent, one removed.
Show Plant(std::size_t columns, std::size_t rows) {
  Show show(columns, rows);
  show.screen.SetSweeps(0);
  Controller press = Cell(3, "press 10", "10.1.0.9");
  press.kind = client::Kind::RemoteVC;
  show.Tell(ChangeOf(ChangeType::Listed, press));
  show.Tell(ChangeOf(ChangeType::Listed, Cell(1, "Press 9", "10.1.0.10"), Reason::New));
  show.Tell(ChangeOf(ChangeType::Listed, Cell(2, "\u30bb\u30eb", "10.1.0.11"), Reason::New));
  show.Tell(ChangeOf(ChangeType::Synced, {}));
  show.screen.SetSweeps(1);
  show.Pass(75s);
  show.Tell(ChangeOf(ChangeType::Added, Cell(4, "cell \x1b[31m", "10.1.0.100"), Reason::New));
  show.Pass(2s);
  show.Tell(GoneOf(Cell(1, "Press 9", "10.1.0.10"), Availability::Unavailable, Reason::LostConnection));
  show.Tell(GoneOf(Cell(2, "\u30bb\u30eb", "10.1.0.11"), Availability::Removed, Reason::PowerDown));
  show.Pass(500ms);
  return show;
}

TEST(Screen, DrawsTheSameHistoryForAnySize) {
  const struct {
    std::size_t columns;
    std::size_t rows;
    std::string keys;
    std::string text;
  } cases[] = {
      {120, 30, "", R"(
kelseek watch  sweep 1  3 listed  2 available, 1 not                                                               12:17
  NAME^                  ADDRESS          SYSTEM ID     KIND      KNOWN BY  STATUS       VERSION   AGE   LAST EVENT
* cell \u001b[31m        10.1.0.100       {5A-4}        RC        dynamic   available    6.10.4    2s    new
* Press 9                10.1.0.10        {5A-1}        RC        dynamic   unavailable  6.10.1    0s    lost connection
  press 10               10.1.0.9         {5A-3}        RemoteVC  dynamic   available    6.10.3    1m    new
- セル                   10.1.0.11        {5A-2}        RC        dynamic   removed      6.10.2    0s    power down
[16 empty lines]
-- events --------------------------------------------------------------------------------------------------------------
12:16:40  press 10            new                  10.1.0.9         {5A-3}  6.10.3
12:16:40  Press 9             new                  10.1.0.10        {5A-1}  6.10.1
12:16:40  セル                new                  10.1.0.11        {5A-2}  6.10.2
12:17:55  cell \u001b[31m     new                  10.1.0.100       {5A-4}  6.10.4
12:17:57  Press 9             lost connection      10.1.0.10        unavailable
12:17:57  セル                power down           10.1.0.11        removed
q quit  / filter  1-9 sort  r reverse  arrows, PgUp, PgDn, Home, End scroll
)"},
      {40, 10, "/PRESS", R"(
3 listed  2 available, 1 not       12:17
  NAME^     ADDRESS          STATUS
* Press 9   10.1.0.10        unavailable
  press 10  10.1.0.9         available
[3 empty lines]
-- events ------------------------------
12:17:57  セル        power down
/PRESS_  Enter keeps the filter
)"},
      {60, 6, "j", R"(
sweep 1  3 listed  2 available, 1 not  rows 2-4        12:17
  NAME^         ADDRESS          KIND      STATUS       AGE
* Press 9       10.1.0.10        RC        unavailable  0s
  press 10      10.1.0.9         RemoteVC  available    1m
- セル          10.1.0.11        RC        removed      0s
q quit  / filter  1-5 sort  r reverse
)"},
      {44, 4, "/x\r", R"(
3 listed  2 available, 1 not           12:17
  NAME^         ADDRESS          STATUS
  No controller matches the filter.
q quit  / filter  1-3 sort  r reverse
)"},
  };
  for (const auto& each : cases) {
    Show show = Plant(each.columns, each.rows);
    show.Draw();
    show.Type(each.keys);
    EXPECT_EQ(each.text, "\n" + show.Text());
  }
}

TEST(Screen, SaysWhyNothingWasFound) {
  Show show(44, 12);
  const std::string listening = show.Text();
  show.Tell(ChangeOf(ChangeType::Synced, {}));
  show.screen.SetSweeps(3);
  show.screen.SetCause("A firewall\x1b[m of this host drops the answers.");
  EXPECT_THAT(listening, testing::HasSubstr("\n  Listening. The first sweep is not over\n  yet.\n"));
  EXPECT_EQ(R"(
sweep 3  0 listed  0 available, 0 not  12:16
  NAME^         ADDRESS          STATUS
  No controllers.
  Most likely: A firewall\u001b[m of this
  host drops the answers.
  kelseek doctor finds out more.
[5 empty lines]
q quit  / filter  1-3 sort  r reverse
)",
            "\n" + show.Text());
}

TEST(Screen, ColoursShowWhatHappened) {
  std::string text;
  for (const std::string& line : Plant(80, 24).Draw(true).lines) text += line + "\n";
  for (const char* part : {"\x1b[1mkelseek watch", "\x1b[32m* cell", "\x1b[31m* Press 9", "\n  press 10",
                           "\x1b[2m- \u30bb", "\x1b[32m12:17:55", "\x1b[31m12:17:57", "\x1b[2mq quit"})
    EXPECT_THAT(text, testing::HasSubstr(part));
}

/// The table as a plain list, with values instead of texts.
struct PlainRow {
  Controller controller;
  Moment changed{};
  int event = 0;  ///< In alphabetical order: lost LAN, new, updated.

  long long Value(Column column) const {
    const Availability availability = controller.availability;
    switch (column) {
      case Column::Name: return std::stoi(controller.name.substr(5));
      case Column::Address: return std::stoi(controller.address.substr(7));
      case Column::Status:
        return availability == Availability::Available ? 0 : availability == Availability::Removed ? 1 : 2;
      case Column::Version:
      case Column::Identity: return controller.id;
      case Column::Age: return -changed.count();
      case Column::Event: return event;
      case Column::Kind:
      case Column::Origin: break;
    }
    return 0;
  }
};

using PlainRows = std::map<std::uint32_t, PlainRow>;

std::vector<std::uint32_t> PlainOrder(const PlainRows& rows, const Screen::View& view, Moment now) {
  std::vector<std::uint32_t> ids;
  for (const auto& [id, row] : rows) {
    const bool gone = row.controller.availability == Availability::Removed && row.changed + 3s <= now;
    const bool matches = row.controller.name.find(view.filter) != std::string::npos ||
                         row.controller.address.find(view.filter) != std::string::npos ||
                         row.controller.identity.find(view.filter) != std::string::npos;
    if (matches && !gone) ids.push_back(id);
  }
  std::stable_sort(ids.begin(), ids.end(), [&](std::uint32_t left, std::uint32_t right) {
    const auto leftValue = rows.at(left).Value(view.sort);
    const auto rightValue = rows.at(right).Value(view.sort);
    return view.reversed ? leftValue > rightValue : leftValue < rightValue;
  });
  return ids;
}

TEST(Screen, KeepsRowsInOrderInAnyHistory) {
  std::mt19937 random(7);
  Show show(130, 24);
  PlainRows rows;
  const std::string kKeys[] = {"1", "2", "3", "4", "5",      "6",    "7",   "8",
                               "9", "9", "r", "s", "\x1b[D", "/1\r", "\x1b"};
  for (int step = 0; step < 20000; ++step) {
    const auto id = static_cast<std::uint32_t>(1 + random() % (1 + rows.size()));
    PlainRow& row = rows[id];
    if (row.controller.availability == Availability::Removed) continue;
    ChangeType type = ChangeType::Changed;
    Reason reason = Reason::Updated;
    if (row.controller.id == 0) {
      type = ChangeType::Added;
      reason = Reason::New;
      row.controller = Cell(id, "cell 1", "10.1.0." + std::to_string(random() % 256));
    } else if (random() % 4 == 0) {
      type = ChangeType::Removed;
      reason = Reason::LostLan;
      row.controller.availability = Availability::Removed;
    } else {
      row.controller.name = "cell " + std::to_string(random() % 120);
      row.controller.availability = random() % 2 == 0 ? Availability::Available : Availability::Unavailable;
    }
    row.changed = show.now.moment;
    row.event = reason == Reason::LostLan ? 0 : reason == Reason::New ? 1 : 2;
    show.Tell(ChangeOf(type, row.controller, reason));
    if (random() % 20 == 0) show.Type(kKeys[random() % std::size(kKeys)]);
    show.Pass(Moment(random() % 100));
    if (random() % 5 != 0) continue;
    show.screen.Arrange(show.now.moment);
    std::vector<std::uint32_t> shown;
    for (const Row* each : show.screen.rows().Shown()) shown.push_back(each->controller.id);
    ASSERT_EQ(PlainOrder(rows, show.screen.view(), show.now.moment), shown) << "step " << step;
    std::map<Availability, std::size_t> counts;
    for (const auto& [_, each] : rows) ++counts[each.controller.availability];
    ASSERT_EQ(counts[Availability::Available], show.screen.rows().Available());
    ASSERT_EQ(counts[Availability::Available] + counts[Availability::Unavailable],
              show.screen.rows().Listed());
  }
}

TEST(Screen, KeysChangeWhatIsShown) {
  const std::string kDown = "\x1b[B", kUp = "\x1bOA", kPageDown = "\x1b[6~", kPageUp = "\x1b[5~",
                    kEnd = "\x1b[F";
  struct Case {
    std::string keys;
    std::string first;  ///< The first row shown.
    std::size_t count;
  };
  // 100 controllers at 10.1.0.1 to 10.1.0.100 with falling names, in a table of 15 rows.
  const Case cases[] = {
      {"", "cell 1", 100},
      {"r", "cell 100", 100},
      {"2", "cell 100", 100},
      {"22", "cell 1", 100},
      {"222", "cell 100", 100},
      {"\x1b[C", "cell 100", 100},
      {"\x1b[C\x1b[D", "cell 1", 100},
      {"s", "cell 100", 100},
      {kDown + "jj" + kUp + "k", "cell 2", 100},
      {kUp + kPageUp, "cell 1", 100},
      {kPageDown, "cell 16", 100},
      {kEnd, "cell 86", 100},
      {kEnd + kPageDown + kDown + kUp, "cell 85", 100},
      {kEnd + kPageUp, "cell 71", 100},
      {kEnd + "\x1b[1;5H", "cell 1", 100},
      {kEnd + "/Cell 7\u30bb\x7f", "cell 7", 11},
      {"/7\x15LINE-9", "cell 2", 11},
      {"/rc", "cell 1", 100},
      {"/{5a-33}", "cell 68", 1},
      {"/10.1.0.100\r", "cell 1", 1},
      {"/q", "", 0},
      {"2/7\r1\x1b", "cell 1", 100},
      {"0x\x1b[Z", "cell 1", 100},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(Printable(each.keys));
    Show show;
    for (std::uint32_t id = 1; id <= 100; ++id) {
      Controller controller = Cell(id, "cell " + std::to_string(101 - id), "10.1.0." + std::to_string(id));
      controller.host_name = "line-" + std::to_string(id);
      show.Tell(ChangeOf(ChangeType::Listed, controller));
    }
    show.Draw();
    show.Type(each.keys);
    const std::vector<std::string> names = show.Names();
    EXPECT_EQ(each.count, names.size());
    EXPECT_EQ(each.first, names.empty() ? "" : names[show.screen.view().top]);
    EXPECT_FALSE(show.screen.Ended());
  }
  for (const std::string keys : {"q", "\x03", "/7\rq", "/\x03"}) {
    Show show;
    show.Type(keys);
    EXPECT_TRUE(show.screen.Ended()) << Printable(keys);
  }
}

TEST(Screen, ForgetsAllWhenChangesWereLost) {
  Show show = Plant(80, 24);
  show.Tell(ChangeOf(ChangeType::Resync, {}));
  show.Tell(ChangeOf(ChangeType::Listed, Cell(4, "again", "10.1.0.100")));
  EXPECT_THAT(show.Names(), ElementsAre("again"));
  EXPECT_EQ(ChangeType::Resync, show.screen.log().back().change.type);
}

/// What a terminal shows after these bytes.
std::vector<std::string> Shown(std::vector<std::string> lines, const std::string& bytes) {
  std::size_t row = 0;
  for (std::size_t i = 0; i < bytes.size();) {
    const std::string rest = bytes.substr(i, 16);
    std::size_t end = 0;
    if (rest.rfind("\x1b[2J", 0) == 0) {
      std::fill(lines.begin(), lines.end(), "");
      i += 4;
    } else if (rest.rfind("\x1b[K", 0) == 0) {
      lines.at(row).clear();
      i += 3;
    } else if (rest.rfind("\x1b[0m", 0) == 0) {
      i += 4;
    } else if (rest.rfind("\x1b[", 0) == 0) {
      row = std::stoul(rest.substr(2), &end) - 1;
      EXPECT_EQ(";1H", rest.substr(2 + end, 3));
      i += 2 + end + 3;
    } else {
      lines.at(row) += bytes[i++];
    }
  }
  return lines;
}

TEST(Screen, FitsAnySizeAndSendsOnlyDifferences) {
  std::mt19937 random(11);
  std::vector<std::string> terminal;
  Frame before;
  Show show = Plant(80, 24);
  for (std::uint32_t id = 10; id < 5010; ++id)
    show.Tell(ChangeOf(ChangeType::Added, Cell(id, std::string(id % 60, 'm') + "\u202e\u30bb\n", "10.2.0.1"),
                       Reason::New));
  for (std::size_t step = 0; step < 120; ++step) {
    // A new size in every other step.
    if (step % 2 == 0) show.screen.Resize({random() % 140, random() % 40});
    if (step % 7 == 0) show.Type("/");
    show.Type(step % 3 == 0 ? "\x1b[6~" : "m");
    if (step % 9 == 0) show.Type("\x1b");
    show.Pass(Moment(random() % 500));
    show.Tell(ChangeOf(ChangeType::Changed,
                       Cell(static_cast<std::uint32_t>(10 + random() % 5000), "\x9b\x1b]0;x\x07", "\r"),
                       Reason::Updated));
    const Frame frame = show.Draw();
    const Screen::View& view = show.screen.view();
    ASSERT_EQ(view.size.rows, frame.lines.size());
    for (const std::string& line : frame.lines) {
      ASSERT_LE(Width(line), view.size.columns) << line;
      ASSERT_EQ(line, Printable(line));
    }
    terminal.resize(view.size.rows);
    terminal = Shown(terminal, Difference(before, frame));
    ASSERT_EQ(frame.lines, terminal);
    EXPECT_EQ("", Difference(frame, frame));
    before = frame;
  }
}

TEST(Screen, AFrameIsGoodUntilItIsStale) {
  // The narrow one has no ages, whose seconds would hide the end of a mark.
  for (const std::size_t columns : {120U, 40U}) {
    Show show = Plant(columns, 30);
    Frame frame = show.Draw(true);
    std::size_t changes = 0;
    for (const Moment end = show.now.moment + 2h; show.now.moment < end; ++changes) {
      ASSERT_LT(show.now.moment, frame.stale);
      show.Pass(frame.stale - show.now.moment - 1ms);
      ASSERT_EQ(frame.lines, show.Draw(true).lines) << show.Text();
      show.Pass(1ms);
      const Frame next = show.Draw(true);
      ASSERT_NE(frame.lines, next.lines) << show.Text();
      frame = next;
    }
    // Seconds are shown for the first minute only.
    EXPECT_GT(600U, changes);
  }
}

TEST(Screen, PacesFrames) {
  Pacing pacing;
  EXPECT_EQ(0ms, pacing.Due());
  pacing.Drawn(1000ms, 5000ms);
  EXPECT_EQ(5000ms, pacing.Due());
  pacing.Change();
  EXPECT_EQ(1100ms, pacing.Due());
  pacing.Drawn(1200ms, 1201ms);
  EXPECT_EQ(1300ms, pacing.Due());
}

std::string NamesOf(const std::vector<KeyPress>& presses) {
  const char* const kNames[] = {"",       "Up",        "Down",      "Left",   "Right",
                                "PageUp", "PageDown",  "Home",      "End",    "Enter",
                                "Escape", "Backspace", "ClearLine", "Redraw", "Interrupt"};
  std::string names;
  for (const KeyPress& press : presses)
    names += (names.empty() ? "" : " ") +
             (press.key == Key::Character ? press.text : kNames[static_cast<int>(press.key)]);
  return names;
}

TEST(KeyReader, DecodesKeysCutAnywhere) {
  const struct {
    std::string bytes;
    std::string keys;
  } cases[] = {
      {"aZ/ \x7f\b\r\n", "a Z /   Backspace Backspace Enter Enter"},
      {"\x03\x0c\x15\x01\t", "Interrupt Redraw ClearLine"},
      {"\x1b[A\x1b[B\x1b[C\x1b[D\x1b[H\x1b[F", "Up Down Right Left Home End"},
      {"\x1bOA\x1bOD\x1bOH\x1bOF", "Up Left Home End"},
      {"\x1b[1~\x1b[4~\x1b[5~\x1b[6~\x1b[7~\x1b[8~", "Home End PageUp PageDown Home End"},
      {"\x1b[1;5A\x1b[6;2~\x1b[1;2H", "Up PageDown Home"},
      {"\x1b[3~\x1b[15~\x1b[200~x\x1bOPy\x1b[<0;1;1My", "x y y"},
      {"\x1b", "Escape"},
      {"\x1b\x1b[A\x1bj", "Escape Up Escape j"},
      {"\x1b[", "Escape ["},
      {"\x1b[1", ""},
      {"\xc3\xbc\xe3\x82\xbb\xf0\x9f\x98\x80", "\xc3\xbc \xe3\x82\xbb \xf0\x9f\x98\x80"},
      {"\xffx\xc3x\x80y\xe3\x82z\xc0\xaf", "x x y z"},
      {"\xe3\x82", ""},
      {"\x1b[\xc3\xbcx", "\xc3\xbc x"},
      {"\x1b[" + std::string(31, '1') + "Ax", "1 A x"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(Printable(each.bytes));
    KeyReader whole;
    std::vector<KeyPress> keys = whole.Read(each.bytes);
    for (const KeyPress& press : whole.Flush()) keys.push_back(press);
    EXPECT_EQ(each.keys, NamesOf(keys));
    EXPECT_FALSE(whole.Pending());
    KeyReader cut;
    std::vector<KeyPress> again;
    for (const char byte : each.bytes)
      for (const KeyPress& press : cut.Read(std::string_view(&byte, 1))) again.push_back(press);
    for (const KeyPress& press : cut.Flush()) again.push_back(press);
    EXPECT_EQ(keys, again);
  }
}

}  // namespace
}  // namespace kellanseek::kelseek

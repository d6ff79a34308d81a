#include "screen/Screen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
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
  /// What the terminal sends for keys; see KeyReader.
  void Type(const std::string& bytes) {
    KeyReader reader;
    for (const KeyPress& press : reader.Read(bytes)) screen.Press(press);
    for (const KeyPress& press : reader.Flush()) screen.Press(press);
  }
  Frame Draw(bool colours = false) {
    screen.Arrange(now.moment);
    return kelseek::Draw(screen, now, colours);
  }
  std::string Text() {
    std::string text;
    for (const std::string& line : Draw().lines) text += line + "\n";
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
  std::puts(Plant(120, 30).Text().c_str());
  std::puts(Plant(80, 24).Text().c_str());
  std::puts(Plant(40, 10).Text().c_str());
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
  // 100 controllers at 10.1.0.1 to 10.1.0.100 with falling names, in a table of 16 rows.
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
      {kPageDown, "cell 17", 100},
      {kEnd, "cell 85", 100},
      {kEnd + kPageDown + kDown + kUp, "cell 84", 100},
      {kEnd + kPageUp, "cell 69", 100},
      {kEnd + "\x1b[1;5H", "cell 1", 100},
      {kEnd + "/Cell 7", "cell 7", 11},
      {"/LINE-9", "cell 92", 10},
      {"/rc", "cell 1", 100},
      {"/{5a-33}", "cell 68", 1},
      {"/10.1.0.100\r", "cell 1", 1},
      {"/q", "", 0},
      {"/7\x7f", "cell 1", 100},
      {"/\u30bb\x7f"
       "7\x15"
       "9\r",
       "cell 9", 20},
      {"/7\r\x1b", "cell 1", 100},
      {"/7\rr"
       "1",
       "cell 7", 19},
      {"0x\x1b[Z", "cell 1", 100},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(Printable(std::string_view(each.keys)));
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
    EXPECT_TRUE(show.screen.Ended()) << Printable(std::string_view(keys));
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
  for (std::size_t step = 0; step < 400; ++step) {
    // A new size in every other step.
    if (step % 2 == 0) show.screen.Resize({random() % 140, random() % 40});
    if (step % 7 == 0) show.Type("/");
    show.Type(step % 3 == 0 ? "\x1b[6~" : "m");
    if (step % 9 == 0) show.Type("\x1b");
    show.Pass(Moment(random() % 500));
    show.Tell(
        ChangeOf(ChangeType::Changed, Cell(10 + random() % 5000, "\x9b\x1b]0;x\x07", "\r"), Reason::Updated));
    const Frame frame = show.Draw();
    const Screen::View& view = show.screen.view();
    ASSERT_EQ(view.size.rows, frame.lines.size());
    for (const std::string& line : frame.lines) {
      ASSERT_LE(Width(line), view.size.columns) << line;
      ASSERT_EQ(line, Printable(std::string_view(line)));
    }
    terminal.resize(view.size.rows);
    terminal = Shown(terminal, Difference(before, frame));
    ASSERT_EQ(frame.lines, terminal);
    EXPECT_EQ("", Difference(frame, frame));
    before = frame;
  }
}

TEST(Screen, AFrameIsGoodUntilItIsStale) {
  Show show = Plant(120, 30);
  Frame frame = show.Draw(true);
  std::size_t changes = 0;
  for (const Moment end = show.now.moment + 2h; show.now.moment < end; ++changes) {
    const Moment stale = frame.stale;
    ASSERT_LT(show.now.moment, stale);
    show.Pass(stale - show.now.moment - 1ms);
    ASSERT_EQ(frame.lines, show.Draw(true).lines) << show.Text();
    show.Pass(1ms);
    const Frame next = show.Draw(true);
    ASSERT_NE(frame.lines, next.lines) << show.Text();
    frame = next;
  }
  // Seconds are shown for the first minute only.
  EXPECT_GT(600U, changes);
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
    SCOPED_TRACE(Printable(std::string_view(each.bytes)));
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

#include "screen/Screen.h"

#include <algorithm>
#include <utility>

#include "screen/Fit.h"

namespace kellanseek::kelseek {
namespace {

using client::ChangeType;

/// More than any terminal shows.
constexpr std::size_t kMostEvents = 300;
/// An empty table has a text of this many lines.
constexpr std::size_t kEmptyTableLines = 6;
constexpr std::size_t kLongestFilter = 64;

void RemoveLastCharacter(std::string& utf8) {
  const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  while (!utf8.empty() && continues(utf8.back())) utf8.pop_back();
  if (!utf8.empty()) utf8.pop_back();
}

}  // namespace

void Screen::Apply(const client::Change& change, const Now& now) {
  const bool isMark = change.type == ChangeType::Synced || change.type == ChangeType::Resync;
  if (!isMark) rows_.Apply(change, now.moment);
  const bool isNews = change.type != ChangeType::Synced && !(relisting_ && change.type == ChangeType::Listed);
  if (isNews) log_.push_back({now.timeOfDay, change});
  if (log_.size() > kMostEvents) log_.pop_front();
  if (change.type == ChangeType::Resync) rows_.Clear();
  if (isMark) relisting_ = change.type == ChangeType::Resync;
  if (change.type == ChangeType::Synced) view_.complete = true;
}

void Screen::Press(const KeyPress& press) {
  if (press.key == Key::Interrupt) {
    ended_ = true;
  } else if (!Scroll(press.key)) {
    view_.editing ? Edit(press) : Command(press);
  }
}

void Screen::Resize(const platform::TerminalSize& size) { view_.size = size; }

bool Screen::SetSweeps(std::uint32_t sweeps) {
  return std::exchange(view_.sweeps, std::optional(sweeps)) != std::optional(sweeps);
}

bool Screen::SetCause(std::string cause) {
  if (view_.cause == cause) return false;
  view_.cause = std::move(cause);
  return true;
}

void Screen::Arrange(Moment now) {
  rows_.Arrange(now);
  ScrollTo(view_.top);
}

Layout Screen::layout() const {
  return LayoutOf(view_.size, std::max(rows_.Shown().size(), kEmptyTableLines), log_.size());
}

void Screen::Edit(const KeyPress& press) {
  std::string filter = view_.filter;
  switch (press.key) {
    case Key::Character:
      if (filter.size() < kLongestFilter) SetFilter(filter + press.text);
      break;
    case Key::Backspace:
      RemoveLastCharacter(filter);
      SetFilter(std::move(filter));
      break;
    case Key::Escape: view_.editing = false; [[fallthrough]];
    case Key::ClearLine: SetFilter({}); break;
    case Key::Enter: view_.editing = false; break;
    default: break;
  }
}

void Screen::Command(const KeyPress& press) {
  switch (press.key) {
    case Key::Left: SortByNeighbour(false); break;
    case Key::Right: SortByNeighbour(true); break;
    case Key::Escape: SetFilter({}); break;
    case Key::Character:
      if (press.text.size() == 1) CommandCharacter(press.text.front());
      break;
    default: break;
  }
}

void Screen::CommandCharacter(char character) {
  switch (character) {
    case 'q': ended_ = true; return;
    case '/': view_.editing = true; return;
    case 'j': Scroll(Key::Down); return;
    case 'k': Scroll(Key::Up); return;
    case 's': SortByNeighbour(true); return;
    case 'r': SortBy(view_.sort, !view_.reversed); return;
    default: break;
  }
  const std::vector<ColumnPlace> columns = PlaceColumns(Less(view_.size.columns, kMarkColumns));
  const auto number = static_cast<std::size_t>(character - '1');
  if (character < '1' || number >= columns.size()) return;
  const Column column = columns[number].column;
  // The same column once more is the other direction.
  SortBy(column, column == view_.sort && !view_.reversed);
}

bool Screen::Scroll(Key key) {
  const std::size_t page = std::max<std::size_t>(layout().table, 1);
  switch (key) {
    case Key::Up: ScrollTo(Less(view_.top, 1)); return true;
    case Key::Down: ScrollTo(view_.top + 1); return true;
    case Key::PageUp: ScrollTo(Less(view_.top, page)); return true;
    case Key::PageDown: ScrollTo(view_.top + page); return true;
    case Key::Home: ScrollTo(0); return true;
    case Key::End: ScrollTo(rows_.Shown().size()); return true;
    default: return false;
  }
}

void Screen::SetFilter(std::string filter) {
  view_.filter = std::move(filter);
  view_.top = 0;
  rows_.SetFilter(view_.filter);
}

void Screen::SortBy(Column column, bool reversed) {
  view_.sort = column;
  view_.reversed = reversed;
  rows_.SortBy(column, reversed);
}

void Screen::SortByNeighbour(bool next) {
  const std::vector<ColumnPlace> columns = PlaceColumns(Less(view_.size.columns, kMarkColumns));
  // In a narrow terminal, the column itself may be missing.
  const auto after = std::find_if(columns.begin(), columns.end(),
                                  [this](const ColumnPlace& place) { return place.column >= view_.sort; });
  const std::size_t count = columns.size();
  const auto position = static_cast<std::size_t>(after - columns.begin());
  const bool isShown = after != columns.end() && after->column == view_.sort;
  const std::size_t neighbour = next ? position + (isShown ? 1 : 0) : position + count - 1;
  SortBy(columns[neighbour % count].column, false);
}

void Screen::ScrollTo(std::size_t top) {
  view_.top = std::min(top, Less(rows_.Shown().size(), layout().table));
}

}  // namespace kellanseek::kelseek

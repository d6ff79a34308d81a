#include "screen/Draw.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "client/Text.h"
#include "client/Waiting.h"
#include "output/ControllerText.h"
#include "output/EventText.h"
#include "output/Output.h"
#include "screen/Fit.h"
#include "text/Ascii.h"

namespace kellanseek::kelseek {
namespace {

using namespace std::chrono_literals;

std::string Blanks(std::size_t number) { return std::string(number, ' '); }

/// "21:35:07" or "21:35".
std::string ClockText(std::chrono::seconds timeOfDay, bool seconds) {
  const auto count = static_cast<int>(timeOfDay.count() % 86400);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d", count / 3600, count / 60 % 60, count % 60);
  return std::string(text.data()).substr(0, seconds ? 8 : 5);
}

class Drawing {
 public:
  Drawing(const Screen& screen, const Now& now, bool colours)
      : screen_(screen), view_(screen.view()), layout_(screen.layout()), now_(now), colours_(colours) {
    frame_.size = view_.size;
    frame_.stale = std::min(screen.rows().NextLeaving(), now.moment + 60s - now.timeOfDay % 60);
  }

  Frame Make() {
    Status();
    if (layout_.heading) Heading();
    Table();
    if (layout_.log > 0) Log();
    if (layout_.help) Help();
    return std::move(frame_);
  }

 private:
  void Add(std::string_view text, Colour colour = Colour::Plain) {
    if (frame_.lines.size() == view_.size.rows) return;
    const std::string line = Fit(text, view_.size.columns);
    frame_.lines.push_back(Paint(text::TrimmedEnd(line, " "), colour, colours_));
  }

  void FillTo(std::size_t end) {
    while (frame_.lines.size() < end) Add("");
  }

  void Status();
  void Heading();
  void Table();
  void TableRow(const Row& row);
  void EmptyTable();
  void Log();
  void LogLine(const LogEntry& entry);
  void Help();
  std::string Position() const;
  std::vector<ColumnPlace> Columns() const { return PlaceColumns(Less(view_.size.columns, kMarkColumns)); }

  const Screen& screen_;
  const Screen::View& view_;
  const Layout layout_;
  const Now now_;
  const bool colours_;
  Frame frame_;
};

void Drawing::Status() {
  constexpr std::size_t kClockColumns = 7;
  const Rows& rows = screen_.rows();
  const std::size_t silent = rows.Listed() - rows.Available();
  const std::string filtered = view_.filter.empty() ? ""
                                                    : std::to_string(rows.Shown().size()) + " match \"" +
                                                          Printable(view_.filter) + "\"";
  const std::string sweep = !view_.sweeps        ? ""
                            : *view_.sweeps == 0 ? "first sweep"
                                                 : "sweep " + std::to_string(*view_.sweeps);
  const std::vector<Piece> pieces = {
      {5, "kelseek watch"},
      {4, sweep},
      {0, std::to_string(rows.Listed()) + " listed"},
      {1, std::to_string(rows.Available()) + " available, " + std::to_string(silent) + " not"},
      {2, filtered},
      {3, Position()}};
  const std::size_t left = Less(view_.size.columns, kClockColumns);
  if (left < kClockColumns) return Add(Join(pieces, view_.size.columns), Colour::Bold);
  Add(Fit(Join(pieces, left), left) + "  " + ClockText(now_.timeOfDay, false), Colour::Bold);
}

/// Which rows are shown, if these are not all.
std::string Drawing::Position() const {
  const std::size_t count = screen_.rows().Shown().size();
  const std::size_t end = std::min(view_.top + layout_.table, count);
  if (end - view_.top == count || layout_.table == 0) return {};
  return "rows " + std::to_string(view_.top + 1) + "-" + std::to_string(end);
}

void Drawing::Heading() {
  std::string line = Blanks(kMarkColumns);
  for (const ColumnPlace& place : Columns()) {
    const char* const direction = place.column != view_.sort ? "" : view_.reversed ? "v" : "^";
    line += Fit(HeadingOf(place.column) + std::string(direction), place.width) + Blanks(kColumnGap);
  }
  Add(text::TrimmedEnd(line, " "), Colour::Bold);
}

void Drawing::Table() {
  const std::size_t end = frame_.lines.size() + layout_.table;
  const std::vector<Row*>& rows = screen_.rows().Shown();
  for (std::size_t i = view_.top; i < rows.size() && frame_.lines.size() < end; ++i) TableRow(*rows[i]);
  if (rows.empty()) EmptyTable();
  frame_.lines.resize(std::min(frame_.lines.size(), end));
  FillTo(end);
}

void Drawing::TableRow(const Row& row) {
  const bool marked = IsMarked(row, now_.moment);
  std::string line = row.removed ? "- " : marked ? "* " : "  ";
  for (const ColumnPlace& place : Columns()) {
    line += Fit(CellText(row, place.column, now_.moment), place.width) + Blanks(kColumnGap);
    if (place.column == Column::Age)
      frame_.stale = std::min(frame_.stale, AgeOf(row.changed, now_.moment).stale);
  }
  if (marked) frame_.stale = std::min(frame_.stale, row.changed + kMarked);
  const bool silent = row.controller.availability != client::Availability::Available;
  Add(text::TrimmedEnd(line, " "), row.removed ? Colour::Faint
                                   : marked    ? row.colour
                                   : silent    ? Colour::Red
                                               : Colour::Plain);
}

void Drawing::EmptyTable() {
  std::vector<std::string> paragraphs;
  if (screen_.rows().Listed() > 0) {
    paragraphs = {"No controller matches the filter."};
  } else if (!view_.complete) {
    paragraphs = {"Listening. The first sweep is not over yet."};
  } else {
    paragraphs = {"No controllers."};
    if (!view_.cause.empty()) paragraphs.push_back("Most likely: " + Printable(view_.cause));
    paragraphs.push_back("kelseek doctor finds out more.");
  }
  const std::size_t columns = Less(view_.size.columns, kMarkColumns);
  for (const std::string& paragraph : paragraphs)
    for (const std::string& line : Wrap(paragraph, columns)) Add(Blanks(kMarkColumns) + line);
}

void Drawing::Log() {
  Add("-- events " + std::string(Less(view_.size.columns, 10), '-'), Colour::Faint);
  const std::deque<LogEntry>& log = screen_.log();
  for (std::size_t i = log.size() - layout_.log; i < log.size(); ++i) LogLine(log[i]);
}

void Drawing::LogLine(const LogEntry& entry) {
  constexpr std::size_t kWide = 60;
  const std::string time = ClockText(entry.timeOfDay, true) + "  ";
  const client::Change& change = entry.change;
  if (change.type == client::ChangeType::Resync)
    return Add(time + "the terminal is too slow; changes were lost, and the list follows again",
               Colour::Yellow);
  const bool wide = view_.size.columns >= kWide;
  std::string line = time + Fit(DisplayName(change.controller), wide ? 18 : 10) + "  ";
  line += wide ? Pad(ReasonInWords(change), 19) : ReasonInWords(change);
  if (wide) line += "  " + Pad(Printable(change.controller.address), 15) + "  " + EventDetail(change);
  Add(text::TrimmedEnd(line, " "), ReasonColour(change));
}

void Drawing::Help() {
  if (view_.editing) {
    const std::string typed = "/" + Printable(view_.filter) + "_";
    return Add(Join({{0, typed}, {1, "Enter keeps the filter"}, {2, "Esc clears it"}}, view_.size.columns),
               Colour::Bold);
  }
  const std::string number = std::to_string(Columns().size());
  Add(Join({{0, "q quit"},
            {1, "/ filter"},
            {5, view_.filter.empty() ? "" : "Esc clears the filter"},
            {2, "1-" + number + " sort"},
            {3, "r reverse"},
            {4, "arrows, PgUp, PgDn, Home, End scroll"}},
           view_.size.columns),
      Colour::Faint);
}

}  // namespace

Frame Draw(const Screen& screen, const Now& now, bool colours) {
  return Drawing(screen, now, colours).Make();
}

std::string Difference(const Frame& before, const Frame& after) {
  const bool afresh = before.size != after.size || before.lines.size() != after.lines.size();
  std::string bytes = afresh ? "\x1b[0m\x1b[2J" : "";
  for (std::size_t i = 0; i < after.lines.size(); ++i) {
    if (!afresh && before.lines[i] == after.lines[i]) continue;
    // Cleared first: behind a line of full width, the last character would be cleared.
    bytes += "\x1b[" + std::to_string(i + 1) + ";1H" + (afresh ? "" : "\x1b[K") + after.lines[i];
  }
  return bytes;
}

}  // namespace kellanseek::kelseek

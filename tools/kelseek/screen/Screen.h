#pragma once

#include <kellanseek/client.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "platform/Terminal.h"
#include "screen/Columns.h"
#include "screen/Key.h"
#include "screen/Layout.h"
#include "screen/Now.h"
#include "screen/Rows.h"

namespace kellanseek::kelseek {

/// A change in the log. A resynchronisation is the only mark in it.
struct LogEntry {
  std::chrono::seconds timeOfDay{};
  client::Change change;
};

/// The state of the full-screen table: what has been reported, and what the user wants to see of it. Knows no
/// terminal, clock or thread.
class Screen {
 public:
  struct View {
    platform::TerminalSize size;
    std::size_t top = 0;  ///< The first row shown.
    Column sort = Column::Name;
    bool reversed = false;
    std::string filter;                   ///< As typed; not safe to print.
    bool editing = false;                 ///< Characters belong to the filter.
    bool complete = false;                ///< Everything has been asked once.
    std::optional<std::uint32_t> sweeps;  ///< None if the component does not count them.
    std::string cause;                    ///< Why nothing was found, for people; not safe to print.
  };

  void Apply(const client::Change& change, const Now& now);
  void Press(const KeyPress& press);
  void Resize(const platform::TerminalSize& size);
  /// Both return whether that is something new.
  bool SetSweeps(std::uint32_t sweeps);
  bool SetCause(std::string cause);
  /// Brings the rows and the position in them up to date; to be called before drawing.
  void Arrange(Moment now);

  /// The user wants an end.
  bool Ended() const { return ended_; }
  const View& view() const { return view_; }
  const Rows& rows() const { return rows_; }
  /// The last events, oldest first.
  const std::deque<LogEntry>& log() const { return log_; }
  Layout layout() const;

 private:
  void Edit(const KeyPress& press);
  void Command(const KeyPress& press);
  void CommandCharacter(char character);
  bool Scroll(Key key);
  void SetFilter(std::string filter);
  void SortBy(Column column, bool reversed);
  void SortByNeighbour(bool next);
  void ScrollTo(std::size_t top);

  View view_;
  Rows rows_;
  std::deque<LogEntry> log_;
  bool ended_ = false;
  bool relisting_ = false;  ///< After lost changes, the list is no news.
};

}  // namespace kellanseek::kelseek

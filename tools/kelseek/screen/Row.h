#pragma once

#include <kellanseek/client.hpp>

#include <string>
#include <string_view>

#include "output/Output.h"
#include "screen/Columns.h"
#include "screen/Now.h"

namespace kellanseek::kelseek {

/// How long a change stays marked, and a removed controller visible.
inline constexpr Moment kMarked{3000};

/// A controller in the table.
struct Row {
  client::Controller controller;
  std::string event;              ///< The last one in words; safe to print.
  Colour colour = Colour::Plain;  ///< Of that event.
  Moment changed{};               ///< When it came.
  bool isNews = false;            ///< It is marked for a while.
  bool removed = false;

  // For the owner of the rows.
  std::string searched;  ///< What filters look at, in lower case.
  std::string sortKey;
  bool moving = false;  ///< Not at its place in the order.
};

inline bool IsMarked(const Row& row, Moment now) { return row.isNews && now < row.changed + kMarked; }

/// The reason of a change in words, such as "lost connection".
std::string ReasonInWords(const client::Change& change);

/// A cell of the table. Safe to print.
std::string CellText(const Row& row, Column column, Moment now);

/// A time as "59s", "59m", "47h" or "9d", and until when the text stays the same.
struct Age {
  std::string text;
  Moment stale{};
};
Age AgeOf(Moment since, Moment now);

/// A text whose order is that of the rows in a column: numbers within texts count as numbers, so that
/// "10.1.0.9" is before "10.1.0.10", and the case of A to Z does not count. The last changed is youngest.
std::string SortKeyOf(const Row& row, Column column);

/// What filters look at: name, address, host name, identity and kind.
std::string SearchedTextOf(const client::Controller& controller);

/// The lower case form of A to Z in a text.
std::string FoldedText(std::string_view text);

}  // namespace kellanseek::kelseek

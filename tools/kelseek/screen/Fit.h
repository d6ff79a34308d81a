#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kellanseek::kelseek {

/// The difference of two sizes, or 0 if that would be negative.
constexpr std::size_t Less(std::size_t size, std::size_t by) { return size > by ? size - by : 0; }

/// A printable text with exactly this many columns: padded with blanks, or cut, which an ellipsis shows.
std::string Fit(std::string_view text, std::size_t columns);

/// How many of the first widths fit into a number of columns, with a gap between two. At least one.
std::size_t CountFitting(const std::vector<std::size_t>& widths, std::size_t gap, std::size_t columns);

/// A printable text as lines of at most this many columns, broken at blanks where possible.
std::vector<std::string> Wrap(std::string_view text, std::size_t columns);

/// A piece of a line. The least important pieces (highest rank) are left out first.
struct Piece {
  std::size_t rank = 0;
  std::string text;
};
/// The pieces that fit, in their order, two blanks between them. Pieces without text are not shown.
std::string Join(const std::vector<Piece>& pieces, std::size_t columns);

}  // namespace kellanseek::kelseek

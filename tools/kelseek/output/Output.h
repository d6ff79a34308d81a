#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kellanseek::kelseek {

enum class Colour { Plain, Bold, Faint, Red, Green, Yellow, Magenta, Cyan };

/// Wraps a text in the escape sequences of a colour, if `colours`.
std::string Paint(std::string_view text, Colour colour, bool colours);

/// Pads a text with blanks to a number of columns.
std::string Pad(const std::string& text, std::size_t columns);

/// Writes and flushes a text to standard output. Returns false on failure; RequireWrittenOutput() then
/// reports the reason.
bool Write(const std::string& text);

/// Flushes standard output. Throws CommandError if that or any earlier output failed.
void RequireWrittenOutput();

/// A table whose columns are as wide as their widest cells. Cells must be safe to print.
class Table {
 public:
  explicit Table(std::vector<std::string> headings);

  /// Adds a row with one cell per heading, all in one colour.
  void Add(std::vector<std::string> cells, Colour colour = Colour::Plain);
  /// The lines of the table, headings first.
  std::string Text(bool colours) const;

 private:
  struct Row {
    std::vector<std::string> cells;
    Colour colour;
  };
  std::vector<Row> rows_;
};

}  // namespace kellanseek::kelseek

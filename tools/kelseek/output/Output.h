#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kellanseek::tools {

enum class Colour { Plain, Bold, Faint, Red, Green, Yellow, Magenta, Cyan };

/// The text in that colour where `colours` are wanted.
std::string Paint(std::string_view text, Colour colour, bool colours);

/// The text, followed by blanks up to that many columns.
std::string Pad(const std::string& text, std::size_t columns);

/// Writes a text to standard output now; false when nobody takes it any more. RequireWrittenOutput() tells
/// why.
bool Write(const std::string& text);

/// Writes what is still buffered for standard output. Throws CommandError when that, or any output before it,
/// could not be written.
void RequireWrittenOutput();

/// Rows of cells, each column as wide as its widest cell. Cells hold text that is safe to print.
class Table {
 public:
  explicit Table(std::vector<std::string> headings);

  /// A cell for each heading, all in one colour.
  void Add(std::vector<std::string> cells, Colour colour = Colour::Plain);
  /// The table with its headings, line by line.
  std::string Text(bool colours) const;

 private:
  struct Row {
    std::vector<std::string> cells;
    Colour colour;
  };
  std::vector<Row> rows_;
};

}  // namespace kellanseek::tools

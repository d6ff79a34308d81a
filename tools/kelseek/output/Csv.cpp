#include "output/Csv.h"

#include <string_view>

#include "client/Text.h"

namespace kellanseek::kelseek {
namespace {

std::string Cell(const std::string& text) {
  constexpr std::string_view kFormulaSigns = "=+-@\t\r";
  const bool isFormula = !text.empty() && kFormulaSigns.find(text.front()) != std::string_view::npos;
  std::string cell = (isFormula ? "'" : "") + Printable(text);
  // Blanks at the ends would be lost in some readers.
  const bool plain =
      cell.find_first_of(",\"") == std::string::npos && !cell.starts_with(' ') && !cell.ends_with(' ');
  if (plain) return cell;
  std::string quoted = "\"";
  for (const char each : cell) quoted.append(each == '"' ? 2 : 1, each);
  return quoted + "\"";
}

}  // namespace

std::string CsvLine(const std::vector<std::string>& cells) {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) line += (i == 0 ? "" : ",") + Cell(cells[i]);
  return line + "\r\n";
}

}  // namespace kellanseek::kelseek

#include "screen/Fit.h"

#include <algorithm>
#include <utility>

#include "client/Text.h"
#include "output/Output.h"

namespace kellanseek::kelseek {
namespace {

constexpr std::size_t kGap = 2;

/// The longest beginning of a text that has at most this many columns.
std::string Beginning(std::string_view text, std::size_t columns) {
  std::string beginning;
  std::size_t width = 0;
  for (const char32_t character : text::CodePoints(text)) {
    const std::string encoded = ToUtf8(std::u32string_view(&character, 1));
    width += Width(encoded);
    if (width > columns) break;
    beginning += encoded;
  }
  return beginning;
}

}  // namespace

std::string Fit(std::string_view text, std::size_t columns) {
  if (columns == 0) return {};
  if (Width(text) <= columns) return Pad(std::string(text), columns);
  return Pad(Beginning(text, columns - 1) + "\u2026", columns);
}

std::size_t CountFitting(const std::vector<std::size_t>& widths, std::size_t gap, std::size_t columns) {
  std::size_t count = 0;
  std::size_t end = 0;
  for (const std::size_t width : widths) {
    end += (count == 0 ? 0 : gap) + width;
    if (end > columns) break;
    ++count;
  }
  return std::max<std::size_t>(count, 1);
}

std::vector<std::string> Wrap(std::string_view text, std::size_t columns) {
  std::vector<std::string> lines;
  while (!text.empty() && columns > 0) {
    std::size_t length = Beginning(text, columns).size();
    if (length == 0) break;  // a wide character in one column
    if (length < text.size() && text[length] != ' ') {
      const std::size_t blank = text.substr(0, length).rfind(' ');
      if (blank != std::string_view::npos && blank > 0) length = blank;
    }
    lines.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  }
  return lines;
}

std::string Join(const std::vector<Piece>& pieces, std::size_t columns) {
  std::vector<std::pair<std::size_t, std::size_t>> byRank;  // with the width
  for (const Piece& piece : pieces)
    if (!piece.text.empty()) byRank.emplace_back(piece.rank, Width(piece.text));
  if (byRank.empty()) return {};
  std::sort(byRank.begin(), byRank.end());
  std::vector<std::size_t> widths;
  widths.reserve(byRank.size());
  for (const auto& [rank, width] : byRank) widths.push_back(width);
  const std::size_t last = byRank[CountFitting(widths, kGap, columns) - 1].first;
  std::string line;
  for (const Piece& piece : pieces) {
    if (piece.text.empty() || piece.rank > last) continue;
    line += (line.empty() ? "" : std::string(kGap, ' ')) + piece.text;
  }
  return line;
}

}  // namespace kellanseek::kelseek

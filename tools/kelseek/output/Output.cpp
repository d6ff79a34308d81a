#include "output/Output.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include "client/Session.h"
#include "client/Text.h"
#include "text/Ascii.h"

namespace kellanseek::kelseek {
namespace {

/// The errno of the last failed write on any thread; 0 if none.
std::atomic<int> writeError = 0;

}  // namespace

std::string Paint(std::string_view text, Colour colour, bool colours) {
  constexpr const char* kCodes[] = {"",         "\x1b[1m",  "\x1b[2m",  "\x1b[31m",
                                    "\x1b[32m", "\x1b[33m", "\x1b[35m", "\x1b[36m"};
  if (!colours || colour == Colour::Plain) return std::string(text);
  return kCodes[static_cast<std::size_t>(colour)] + std::string(text) + "\x1b[0m";
}

std::string Pad(const std::string& text, std::size_t columns) {
  const std::size_t width = Width(text);
  return width < columns ? text + std::string(columns - width, ' ') : text;
}

bool Write(const std::string& text) {
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (!written) writeError = errno;
  return written;
}

void RequireWrittenOutput() {
  // std::cout writes through this stream, which remembers a failure.
  const bool written = Write("") && std::ferror(stdout) == 0;
  if (written) return;
  const int error = writeError;
  const std::string reason = error == 0 ? "" : ": " + std::generic_category().message(error);
  throw CommandError(kComponentFailed, "the output cannot be written" + reason);
}

Table::Table(std::vector<std::string> headings) { Add(std::move(headings), Colour::Bold); }

void Table::Add(std::vector<std::string> cells, Colour colour) {
  rows_.push_back({std::move(cells), colour});
}

std::string Table::Text(bool colours) const {
  std::vector<std::size_t> widths(rows_.front().cells.size());
  for (const Row& row : rows_) {
    for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], Width(row.cells[i]));
  }
  std::string text;
  for (const Row& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < widths.size(); ++i) line += Pad(row.cells[i], widths[i] + 2);
    text += Paint(text::TrimmedEnd(line, " "), row.colour, colours) + "\n";
  }
  return text;
}

}  // namespace kellanseek::kelseek

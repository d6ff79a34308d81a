#pragma once

#include <cstddef>

#include "platform/Terminal.h"

namespace kellanseek::kelseek {

/// Which lines the parts of the screen have: status, heading, table, log with a separator above, help. In a
/// low terminal first the log is missing, then the help, then the heading, then the table.
struct Layout {
  bool heading = false;
  std::size_t table = 0;  ///< Lines for rows.
  std::size_t log = 0;    ///< Events below the separator; 0: neither.
  bool help = false;
};

/// The log gets a quarter of the lines, and those that a short table leaves free.
Layout LayoutOf(const platform::TerminalSize& size, std::size_t rows, std::size_t events);

/// Every row begins with a mark and a blank.
inline constexpr std::size_t kMarkColumns = 2;

}  // namespace kellanseek::kelseek

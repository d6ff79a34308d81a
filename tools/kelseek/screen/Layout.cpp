#include "screen/Layout.h"

#include <algorithm>

#include "screen/Fit.h"

namespace kellanseek::kelseek {

Layout LayoutOf(const platform::TerminalSize& size, std::size_t rows, std::size_t events) {
  // The lowest terminals that have the part.
  constexpr std::size_t kHeading = 3;
  constexpr std::size_t kHelp = 4;
  constexpr std::size_t kLog = 9;
  Layout layout;
  layout.heading = size.rows >= kHeading;
  layout.help = size.rows >= kHelp;
  const std::size_t others = 1 + (layout.heading ? 1U : 0U) + (layout.help ? 1U : 0U);
  const std::size_t body = Less(size.rows, others);
  const std::size_t reserved = size.rows >= kLog ? 1 + body / 4 : 0;
  const std::size_t free = body - std::min(rows, body - reserved);
  if (free >= 2) layout.log = std::min(events, free - 1);
  layout.table = body - (layout.log > 0 ? layout.log + 1 : 0);
  return layout;
}

}  // namespace kellanseek::kelseek

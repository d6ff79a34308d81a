#pragma once

#include <cstddef>
#include <vector>

namespace kellanseek::kelseek {

/// The columns of the table, in their order: those of `kelseek list`, then the last change.
enum class Column { Name, Address, Identity, Kind, Origin, Status, Version, Age, Event };

const char* HeadingOf(Column column);

struct ColumnPlace {
  Column column = Column::Name;
  std::size_t width = 0;
};

/// The columns that a table with this many columns of characters has room for, from left to right, with
/// kColumnGap blanks between two. The least important are left out first; at least one remains, even if it is
/// wider than the table.
std::vector<ColumnPlace> PlaceColumns(std::size_t columns);

inline constexpr std::size_t kColumnGap = 2;

}  // namespace kellanseek::kelseek

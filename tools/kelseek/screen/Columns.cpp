#include "screen/Columns.h"

#include <algorithm>

#include "screen/Fit.h"

namespace kellanseek::kelseek {
namespace {

struct Specification {
  Column column;
  std::size_t least;
  std::size_t most;
};

/// The most important columns first. An address has up to 15 characters, or is the path of a virtual
/// controller; an identity often is a GUID in braces.
constexpr Specification kByImportance[] = {
    {Column::Name, 8, 24},   {Column::Address, 15, 15}, {Column::Status, 11, 11},
    {Column::Age, 4, 4},     {Column::Kind, 8, 8},      {Column::Identity, 12, 38},
    {Column::Event, 15, 19}, {Column::Version, 8, 10},  {Column::Origin, 8, 8}};

}  // namespace

const char* HeadingOf(Column column) {
  switch (column) {
    case Column::Name: return "NAME";
    case Column::Address: return "ADDRESS";
    case Column::Identity: return "SYSTEM ID";
    case Column::Kind: return "KIND";
    case Column::Origin: return "KNOWN BY";
    case Column::Status: return "STATUS";
    case Column::Version: return "VERSION";
    case Column::Age: return "AGE";
    case Column::Event: return "LAST EVENT";
  }
  return "";
}

std::vector<ColumnPlace> PlaceColumns(std::size_t columns) {
  std::vector<std::size_t> least;
  for (const Specification& each : kByImportance) least.push_back(each.least);
  const std::size_t count = CountFitting(least, kColumnGap, columns);
  std::size_t used = (count - 1) * kColumnGap;
  for (std::size_t i = 0; i < count; ++i) used += least[i];
  std::size_t spare = Less(columns, used);
  std::vector<ColumnPlace> places;
  for (std::size_t i = 0; i < count; ++i) {
    const Specification& each = kByImportance[i];
    const std::size_t growth = std::min(spare, each.most - each.least);
    places.push_back({each.column, each.least + growth});
    spare -= growth;
  }
  std::sort(places.begin(), places.end(),
            [](const ColumnPlace& left, const ColumnPlace& right) { return left.column < right.column; });
  return places;
}

}  // namespace kellanseek::kelseek

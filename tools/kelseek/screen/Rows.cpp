#include "screen/Rows.h"

#include <algorithm>

#include "output/EventText.h"

namespace kellanseek::kelseek {

using client::Availability;
using client::ChangeType;

void Rows::Apply(const client::Change& change, Moment now) {
  Row& row = rows_[change.controller.id];
  // A stream never speaks of a removed controller again.
  if (row.removed) return;
  if (row.controller.availability == Availability::Available) --available_;
  row.controller = change.controller;
  if (row.controller.availability == Availability::Available) ++available_;
  row.event = ReasonInWords(change);
  row.colour = ReasonColour(change);
  row.changed = now;
  row.isNews = change.type != ChangeType::Listed;
  row.searched = SearchedTextOf(change.controller);
  row.removed = change.type == ChangeType::Removed;
  if (row.removed) leaving_.push_back(&row);
  Move(row);
}

void Rows::Clear() {
  order_.clear();
  moving_.clear();
  leaving_.clear();
  rows_.clear();
  available_ = 0;
}

void Rows::SortBy(Column column, bool reversed) {
  column_ = column;
  reversed_ = reversed;
  MoveAll();
}

void Rows::SetFilter(std::string_view filter) {
  filter_ = FoldedText(filter);
  MoveAll();
}

void Rows::Arrange(Moment now) {
  order_.erase(std::remove_if(order_.begin(), order_.end(), [](const Row* row) { return row->moving; }),
               order_.end());
  const auto before = [this](const Row* left, const Row* right) { return ComesBefore(left, right); };
  const auto settled = static_cast<std::ptrdiff_t>(order_.size());
  for (Row* row : moving_) {
    row->moving = false;
    if (!Matches(*row)) continue;
    row->sortKey = SortKeyOf(*row, column_);
    order_.push_back(row);
  }
  moving_.clear();
  std::sort(order_.begin() + settled, order_.end(), before);
  std::inplace_merge(order_.begin(), order_.begin() + settled, order_.end(), before);
  Forget(now);
}

bool Rows::ComesBefore(const Row* left, const Row* right) const {
  const int order = left->sortKey.compare(right->sortKey);
  if (order != 0) return reversed_ ? order > 0 : order < 0;
  return left->controller.id < right->controller.id;
}

void Rows::Move(Row& row) {
  if (row.moving) return;
  row.moving = true;
  moving_.push_back(&row);
}

void Rows::MoveAll() {
  for (auto& [id, row] : rows_) Move(row);
}

void Rows::Forget(Moment now) {
  if (NextLeaving() > now) return;
  const auto hasLeft = [now](const Row* row) { return row->removed && row->changed + kMarked <= now; };
  order_.erase(std::remove_if(order_.begin(), order_.end(), hasLeft), order_.end());
  while (NextLeaving() <= now) {
    const std::uint32_t id = leaving_.front()->controller.id;
    leaving_.pop_front();
    rows_.erase(id);
  }
}

}  // namespace kellanseek::kelseek

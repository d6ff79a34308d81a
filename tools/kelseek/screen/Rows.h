#pragma once

#include <kellanseek/client.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "screen/Row.h"

namespace kellanseek::kelseek {

/// The controllers, filtered and in order. A change costs little; Arrange() puts all rows that have changed
/// since the last call at their places at once. Not thread-safe.
class Rows {
 public:
  /// A change that is no mark.
  void Apply(const client::Change& change, Moment now);
  /// Forgets all rows.
  void Clear();

  void SortBy(Column column, bool reversed);
  /// Shows only rows with this text, whatever the case of A to Z.
  void SetFilter(std::string_view filter);

  /// Forgets removed rows whose time has passed, and updates the order.
  void Arrange(Moment now);

  /// The rows to show, as of the last Arrange(), Clear() or newer. Valid until the next of these.
  const std::vector<Row*>& Shown() const { return order_; }
  /// The number of listed controllers: without removed rows, whatever the filter.
  std::size_t Listed() const { return rows_.size() - leaving_.size(); }
  std::size_t Available() const { return available_; }
  /// When the next removed row is to be forgotten; kNever if there is none.
  Moment NextLeaving() const { return leaving_.empty() ? kNever : leaving_.front()->changed + kMarked; }

 private:
  bool ComesBefore(const Row* left, const Row* right) const;
  bool Matches(const Row& row) const { return row.searched.find(filter_) != std::string::npos; }
  void Move(Row& row);
  void MoveAll();
  void Forget(Moment now);

  std::unordered_map<std::uint32_t, Row> rows_;
  std::vector<Row*> order_;
  std::vector<Row*> moving_;
  std::deque<Row*> leaving_;  ///< The removed rows, in the order of their removal.
  std::size_t available_ = 0;
  Column column_ = Column::Name;
  bool reversed_ = false;
  std::string filter_;  ///< In lower case.
};

}  // namespace kellanseek::kelseek

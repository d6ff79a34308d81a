#include "screen/Row.h"

#include <algorithm>
#include <string_view>

#include "client/Text.h"
#include "output/ControllerText.h"
#include "output/EventText.h"
#include "text/Ascii.h"

namespace kellanseek::kelseek {
namespace {

/// The text of a column as it is; not safe to print.
std::string PlainText(const Row& row, Column column) {
  const client::Controller& controller = row.controller;
  switch (column) {
    case Column::Name: return controller.name;
    case Column::Address: return controller.address;
    case Column::Identity: return controller.identity;
    case Column::Kind: return to_string(controller.kind);
    case Column::Origin: return to_string(controller.origin);
    case Column::Status: return to_string(controller.availability);
    case Column::Version: return VersionText(controller);
    case Column::Event: return row.event;
    case Column::Age: break;
  }
  return {};
}

/// Puts the number of digits before each number: a longer number is greater.
std::string WithNumberLengths(std::string_view text) {
  constexpr std::size_t kLongest = 255;
  std::string key;
  while (!text.empty()) {
    const auto end = std::find_if_not(text.begin(), text.end(), text::IsDigit<char>);
    std::size_t length = std::min(static_cast<std::size_t>(end - text.begin()), kLongest);
    const std::size_t zeros = std::min(text.substr(0, length).find_first_not_of('0'), length);
    if (length > 0) {
      key += '0';  // keeps the place of digits among other characters
      key += static_cast<char>(length - zeros);
    }
    key += text.substr(zeros, std::max<std::size_t>(length, 1) - zeros);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return key;
}

}  // namespace

std::string ReasonInWords(const client::Change& change) {
  std::string words = ReasonText(change);
  std::replace(words.begin(), words.end(), '-', ' ');
  return words;
}

std::string CellText(const Row& row, Column column, Moment now) {
  if (column == Column::Age) return AgeOf(row.changed, now).text;
  return Printable(PlainText(row, column));
}

Age AgeOf(Moment since, Moment now) {
  using namespace std::chrono;
  const auto age = std::max(now - since, Moment(0));
  const auto text = [&]<typename Unit>(Unit unit, const char* name) -> Age {
    const auto whole = floor<Unit>(age);
    return {std::to_string(whole.count()) + name, now - age + whole + unit};
  };
  if (age < minutes(1)) return text(seconds(1), "s");
  if (age < hours(1)) return text(minutes(1), "m");
  return age < hours(48) ? text(hours(1), "h") : text(days(1), "d");
}

std::string SortKeyOf(const Row& row, Column column) {
  constexpr Moment kFarFuture{1'000'000'000'000'000};
  if (column == Column::Age) return std::to_string((kFarFuture - row.changed).count());
  return WithNumberLengths(FoldedText(PlainText(row, column)));
}

std::string SearchedTextOf(const client::Controller& controller) {
  return FoldedText(controller.name + '\n' + controller.address + '\n' + controller.host_name.value_or("") +
                    '\n' + controller.identity + '\n' + to_string(controller.kind));
}

std::string FoldedText(std::string_view text) {
  std::string folded(text);
  std::transform(folded.begin(), folded.end(), folded.begin(), text::Folded<char>);
  return folded;
}

}  // namespace kellanseek::kelseek

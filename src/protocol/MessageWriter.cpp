#include "protocol/MessageWriter.h"

#include <array>
#include <charconv>
#include <utility>

#include "protocol/Fields.h"

namespace kellanseek::protocol {
namespace {

void AppendNumber(std::string& text, std::uint32_t number, int base) {
  std::array<char, 12> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, base).ptr;
  text.append(digits.data(), end);
}

}  // namespace

MessageWriter::MessageWriter(LengthDigits digits, MessageType type)
    : leastDigits_(digits == LengthDigits::Three ? 3 : 2),
      mostDigits_(digits == LengthDigits::Two ? 2 : 3),
      text_(";") {
  AppendNumber(text_, static_cast<std::uint32_t>(type), 16);
  text_.push_back(';');
}

void MessageWriter::AppendTag(std::uint32_t tag) {
  AppendNumber(text_, tag, 16);
  text_.push_back(':');
}

MessageWriter& MessageWriter::Text(std::uint32_t tag, std::string_view value) {
  AppendTag(tag);
  text_.append(value).push_back(';');
  return *this;
}

MessageWriter& MessageWriter::Number(std::uint32_t tag, std::uint32_t value) {
  AppendTag(tag);
  AppendNumber(text_, value, 10);
  text_.push_back(';');
  return *this;
}

MessageWriter& MessageWriter::Fields(std::string_view fields) {
  text_.append(fields);
  return *this;
}

std::string MessageWriter::Take() {
  for (std::size_t digits = leastDigits_; digits <= mostDigits_; ++digits) {
    const std::size_t length = kMagic.size() + digits + text_.size();
    if (length >> (4 * digits) != 0) continue;
    std::string number;
    AppendNumber(number, static_cast<std::uint32_t>(length), 16);
    text_.insert(0, std::string(kMagic).append(digits - number.size(), '0').append(number));
    return std::exchange(text_, {});
  }
  return {};
}

std::string BuildRequest(MessageType type) {
  return MessageWriter(MessageWriter::LengthDigits::Two, type).Take();
}

std::string BuildTargetedRequest(std::string_view address, std::string_view systemID) {
  MessageWriter request(MessageWriter::LengthDigits::Two, MessageType::TargetedRequestMsg);
  request.Text(kTagTargetAddress, address.substr(0, kMaxRequestAddress));
  if (!systemID.empty()) request.Text(kTagSystemID, systemID);
  return request.Take();
}

}  // namespace kellanseek::protocol

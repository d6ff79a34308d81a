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
    : digits_(static_cast<std::size_t>(digits)), text_(kMagic) {
  text_.append(digits_, '0').push_back(';');
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

std::string MessageWriter::Take() {
  std::string digits;
  AppendNumber(digits, static_cast<std::uint32_t>(text_.size()), 16);
  if (digits.size() > digits_) return {};
  digits.insert(0, digits_ - digits.size(), '0');
  text_.replace(kMagic.size(), digits_, digits);
  return std::exchange(text_, {});
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

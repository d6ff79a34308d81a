#include "tools/kelsim/Datagram.h"

#include <charconv>

namespace kellanseek::kelsim {
namespace {

constexpr std::string_view kMagic = "Lanseek;";
constexpr std::size_t kLongestWithTwoDigits = 0xFF;

std::string Digits(std::uint32_t value, int base) {
  char text[16];
  return {text, std::to_chars(text, text + sizeof text, value, base).ptr};
}

/// Removes the text up to the next separator from `rest`, with the separator. Returns nullopt if there is
/// none.
std::optional<std::string_view> TakePiece(std::string_view& rest, char separator) {
  const std::size_t end = rest.find(separator);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view piece = rest.substr(0, end);
  rest.remove_prefix(end + 1);
  return piece;
}

std::optional<std::uint32_t> TakeHex(std::string_view& rest, char separator) {
  const auto piece = TakePiece(rest, separator);
  std::uint32_t value = 0;
  if (!piece || piece->empty()) return std::nullopt;
  const char* const end = piece->data() + piece->size();
  const auto read = std::from_chars(piece->data(), end, value, 16);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return value;
}

bool IsRequest(std::uint32_t type) {
  return type >= static_cast<std::uint32_t>(MessageType::FullRequest) &&
         type <= static_cast<std::uint32_t>(MessageType::RefreshRequest);
}

}  // namespace

DatagramWriter::DatagramWriter(MessageType type)
    : rest_(';' + Digits(static_cast<std::uint32_t>(type), 16) + ';') {}

DatagramWriter& DatagramWriter::Text(Tag tag, std::string_view value) {
  if (value.empty()) return *this;
  rest_.append(Digits(static_cast<std::uint32_t>(tag), 16)).append(1, ':').append(value).append(1, ';');
  return *this;
}

DatagramWriter& DatagramWriter::Number(Tag tag, std::uint32_t value) { return Text(tag, Digits(value, 10)); }

std::string DatagramWriter::Take() const {
  std::size_t length = kMagic.size() + 2 + rest_.size();
  if (length > kLongestWithTwoDigits) ++length;
  if (length > kMaxDatagram) return {};
  std::string text(kMagic);
  text.reserve(length);
  if (length < 0x10) text += '0';
  return text.append(Digits(static_cast<std::uint32_t>(length), 16)).append(rest_);
}

std::optional<Request> ReadRequest(std::string_view text) {
  const std::size_t received = text.size();
  if (!text.starts_with(kMagic)) return std::nullopt;
  text.remove_prefix(kMagic.size());
  if (TakeHex(text, ';') != received) return std::nullopt;
  const auto type = TakeHex(text, ';');
  if (!type || !IsRequest(*type)) return std::nullopt;
  Request request{static_cast<MessageType>(*type)};
  while (auto field = TakePiece(text, ';')) {
    const auto tag = TakeHex(*field, ':');
    if (tag == static_cast<std::uint32_t>(Tag::TargetAddress)) request.target = platform::ParseIpv4(*field);
    if (tag == static_cast<std::uint32_t>(Tag::SystemId)) request.systemId = *field;
  }
  return request;
}

}  // namespace kellanseek::kelsim

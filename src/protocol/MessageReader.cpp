#include "protocol/MessageReader.h"

#include <algorithm>
#include <array>

#include "platform/CodePage.h"
#include "protocol/Fields.h"
#include "text/Ascii.h"
#include "text/Number.h"

namespace kellanseek::protocol {
namespace {

/// Magic, length and type.
constexpr int kHeaderPieces = 3;

/// Removes the next piece between semicolons from the text; consecutive semicolons count as one. Returns
/// false at the end.
bool NextPiece(std::string_view& text, std::string_view& piece) {
  while (text.starts_with(';')) text.remove_prefix(1);
  piece = text.substr(0, text.find(';'));
  text.remove_prefix(piece.size());
  return !piece.empty();
}

bool ReadHeader(std::string_view text, std::uint32_t& claimedLength, std::uint32_t& type) {
  if (!text.starts_with(kMagic)) return false;
  text.remove_prefix(kMagic.size());
  if (!text::TakeHexUntil(';', text, claimedLength)) return false;
  return text::TakeHex(text, type);
}

std::int32_t Number(std::string_view value) {
  // A fast path: nearly every decimal value is a single digit.
  return value.size() == 1 && text::IsDigit(value[0]) ? value[0] - '0' : text::ToNumber(value);
}

/// The rows of kIdentityFields, indexed by tag.
constexpr auto kFieldsByTag = [] {
  std::array<const IdentityField*, std::ranges::max(kIdentityFields, {}, &IdentityField::tag).tag + 1>
      byTag{};
  for (const IdentityField& field : kIdentityFields) byTag.at(field.tag) = &field;
  return byTag;
}();

/// Returns false if the tag belongs to no field of kIdentityFields.
bool ReadIdentityField(std::uint32_t tag, std::string_view value, controllers::Identity& identity) {
  const IdentityField* const field = tag < kFieldsByTag.size() ? kFieldsByTag.at(tag) : nullptr;
  if (field == nullptr) return false;
  if (field->text != nullptr) {
    platform::AssignText(identity.*field->text, value);
  } else if (field->key != nullptr) {
    platform::AssignWide(identity.*field->key, value);
  } else {
    identity.*field->number = static_cast<std::uint32_t>(Number(value));
  }
  return true;
}

void ReadCtrlType(std::string_view value, controllers::Identity& identity) {
  const std::int32_t kind = Number(value);
  if (kind >= RC && kind <= RemoteVC) identity.ctrlType = static_cast<KelCtrlType>(kind);
}

/// Returns false if the datagram must be dropped because of this field.
bool ReadField(std::string_view piece, Message& message) {
  std::uint32_t tag{};
  std::string_view value = piece;
  if (!text::TakeHexUntil(':', value, tag) || text::IsBlank(value)) return true;
  if (ReadIdentityField(tag, value, message.identity)) return true;
  switch (tag) {
    case kTagTargetAddress: return message.target.emplace().Assign(value);
    case kTagOwnAddress: message.ownAddressTooLong |= !message.ownAddress.emplace().Assign(value); break;
    case kTagCtrlLevel: message.identity.ctrlLevel = Number(value) == 1 ? BootLevel : SystemLevel; break;
    case kTagCtrlType: ReadCtrlType(value, message.identity); break;
    default: break;
  }
  return true;
}

/// Returns false if the datagram must be dropped.
bool ReadFields(std::string_view text, Message& message) {
  std::string_view piece;
  for (int index = 0; NextPiece(text, piece); ++index) {
    if (index >= kHeaderPieces && !ReadField(piece, message)) return false;
  }
  return true;
}

void Clear(Message& message) {
  Reset(message.identity);
  message.ownAddress.reset();
  message.ownAddressTooLong = false;
  message.target.reset();
}

}  // namespace

ParseResult ParseMessage(std::string_view text, std::size_t receivedLength, Message& message) {
  using Outcome = ParseResult::Outcome;
  Clear(message);
  const std::size_t end = text.find('\0');
  const bool endsEarly = end != std::string_view::npos;
  text = text.substr(0, end);

  ParseResult result{Outcome::Dropped, 0, text.size()};
  std::uint32_t type{};
  if (!ReadHeader(text, result.claimedLength, type)) return result;
  message.type = static_cast<MessageType>(type);
  // Nothing after a NUL can be read, so a stated length that includes it is wrong.
  if (result.claimedLength != receivedLength || endsEarly) {
    result.outcome = Outcome::LengthMismatch;
  } else if (ReadFields(text, message)) {
    result.outcome = Outcome::Accepted;
  }
  return result;
}

}  // namespace kellanseek::protocol

#include "protocol/MessageReader.h"

#include "platform/CodePage.h"
#include "text/Ascii.h"
#include "text/Number.h"

namespace kellanseek::protocol {
namespace {

/// Takes the next piece between semicolons off the text; runs of semicolons count as one. False at the end.
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

std::uint32_t Number(std::string_view value) {
  if (value.size() == 1 && value[0] >= '0' && value[0] <= '9')
    return static_cast<std::uint32_t>(value[0] - '0');
  return static_cast<std::uint32_t>(text::ToNumber(value));
}

void TakeCtrlType(std::string_view value, CtrlInfo& pattern) {
  const std::int32_t kind = text::ToNumber(value);
  if (kind >= RC && kind <= RemoteVC) pattern.ctrlType = static_cast<KelCtrlType>(kind);
}

std::wstring* TextField(std::uint32_t tag, CtrlInfo& pattern) {
  switch (tag) {
    case kTagCtrlName: return &pattern.ctrlName;
    case kTagCtrlID: return &pattern.ctrlID;
    case kTagSystemName: return &pattern.systemName;
    case kTagSystemID: return &pattern.systemID;
    case kTagReleasePath: return &pattern.releasePath;
    case kTagMacAddress: return &pattern.macAddress;
    default: return nullptr;
  }
}

std::uint32_t* NumberField(std::uint32_t tag, CtrlInfo& pattern) {
  switch (tag) {
    case kTagVersionMajor: return &pattern.versionMajor;
    case kTagVersionMinor: return &pattern.versionMinor;
    case kTagVersionRevision: return &pattern.versionRevision;
    case kTagKelAPICompatibilityRevision: return &pattern.kelAPICompatibilityRevision;
    case kTagCommPortNumber: return &pattern.commPortNumber;
    default: return nullptr;
  }
}

}  // namespace

bool MessageReader::TakeField(std::string_view piece, Message& message) {
  std::uint32_t tag = 0;
  std::string_view value = piece;
  if (!text::TakeHexUntil(':', value, tag)) return true;
  if (text::IsBlank(value)) return true;

  if (std::wstring* text = TextField(tag, message.pattern)) {
    platform::AssignWide(*text, value);
  } else if (std::uint32_t* number = NumberField(tag, message.pattern)) {
    *number = Number(value);
  } else if (tag == kTagTargetAddress) {
    message.hasTarget = true;
    return message.targetAddress.Assign(value);
  } else if (tag == kTagOwnAddress && message.ownAddress != nullptr) {
    return message.ownAddress->Assign(value);
  } else if (tag == kTagCtrlLevel) {
    message.pattern.ctrlLevel = text::ToNumber(value) == 1 ? BootLevel : SystemLevel;
  } else if (tag == kTagCtrlType) {
    TakeCtrlType(value, message.pattern);
  }
  return true;
}

bool MessageReader::ParseMessage(std::string_view text, std::size_t receivedLength, Message& message) const {
  const std::size_t end = text.find('\0');
  const bool endsEarly = end != std::string_view::npos;
  text = text.substr(0, end);

  std::uint32_t claimedLength = 0;
  if (!ReadHeader(text, claimedLength, message.type)) return false;
  // What stands behind a NUL cannot be read, so a length that counts it is not the length of the message.
  if (claimedLength != receivedLength || endsEarly) {
    trace_.Error(L"LanSeek: Message length mismatch. Received %d, claimed %d, strlen %d", receivedLength,
                 claimedLength, text.size());
    return false;
  }
  std::string_view piece;
  for (int header = 0; header < 3; ++header) {
    if (!NextPiece(text, piece)) return true;
  }
  while (NextPiece(text, piece)) {
    if (!TakeField(piece, message)) return false;
  }
  return true;
}

}  // namespace kellanseek::protocol

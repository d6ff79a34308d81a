#include "daemon/Publication.h"

#include "platform/CodePage.h"
#include "protocol/Fields.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::daemon {
namespace {

using controllers::CtrlInfo;

using protocol::IdentityField;
using protocol::MessageType;
using protocol::MessageWriter;

void AppendText(MessageWriter& message, std::uint32_t tag, const std::wstring& text) {
  if (!text.empty()) message.Text(tag, platform::ToNarrow(text));
}

void AppendField(MessageWriter& message, const IdentityField& field, const CtrlInfo& record) {
  if (field.text != nullptr) AppendText(message, field.tag, (record.*field.text).Wide());
  if (field.key != nullptr) AppendText(message, field.tag, record.*field.key);
  if (field.number != nullptr && record.*field.number != field.unreported)
    message.Number(field.tag, record.*field.number);
}

/// The last two fields of an answer. The controller is reached through the interface, whose MAC address
/// therefore takes the place of the record's.
void AppendMacAndKind(MessageWriter& message, std::string_view macText) {
  if (!macText.empty()) message.Text(protocol::kTagMacAddress, macText);
  message.Number(protocol::kTagCtrlType, RemoteVC);
}

std::string TakeIfFits(MessageWriter& message, std::size_t limit) {
  std::string datagram = message.Take();
  if (datagram.size() > limit) datagram.clear();
  return datagram;
}

}  // namespace

std::string BuildFullMessage(const CtrlInfo& record, std::string_view macText) {
  MessageWriter message(MessageWriter::LengthDigits::Three, MessageType::CtrlInfoMsg);
  for (const IdentityField& field : protocol::kIdentityFields) {
    if (field.tag == protocol::kTagMacAddress) continue;
    AppendField(message, field, record);
    // Receivers expect the system name twice, byte for byte.
    if (field.tag == protocol::kTagSystemName) AppendField(message, field, record);
  }
  AppendMacAndKind(message, macText);
  return TakeIfFits(message, kMaxFullMessage);
}

std::string BuildShortMessage(const CtrlInfo& record, std::string_view macText) {
  MessageWriter message(MessageWriter::LengthDigits::Three, MessageType::CtrlAliveMsg);
  AppendText(message, protocol::kTagSystemID, record.systemID);
  if (record.commPortNumber != 0) message.Number(protocol::kTagCommPortNumber, record.commPortNumber);
  AppendMacAndKind(message, macText);
  return TakeIfFits(message, kMaxShortMessage);
}

std::string BuildNotice(MessageType type, const std::wstring& systemID) {
  MessageWriter message(MessageWriter::LengthDigits::Three, type);
  message.Text(protocol::kTagSystemID, platform::ToNarrow(systemID));
  message.Number(protocol::kTagCtrlType, RemoteVC);
  return TakeIfFits(message, kMaxNotice);
}

}  // namespace kellanseek::daemon

#include "daemon/Publication.h"

#include "platform/CodePage.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::daemon {
namespace {

using protocol::MessageWriter;

void AppendText(MessageWriter& message, std::uint32_t tag, const std::wstring& text) {
  if (!text.empty()) message.Text(tag, platform::ToNarrow(text));
}

void AppendVersion(MessageWriter& message, std::uint32_t tag, std::uint32_t number) {
  if (number != kVersionUnknown) message.Number(tag, number);
}

void AppendPortMacAndKind(MessageWriter& message, const CtrlInfo& record, std::string_view macText) {
  if (record.commPortNumber != 0) message.Number(protocol::kTagCommPortNumber, record.commPortNumber);
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
  MessageWriter message(MessageWriter::LengthDigits::Three, protocol::CtrlInfoMsg);
  AppendText(message, protocol::kTagCtrlName, record.ctrlName);
  AppendText(message, protocol::kTagCtrlID, record.ctrlID);
  // The system name stands twice in a row; receivers expect the message byte for byte so.
  AppendText(message, protocol::kTagSystemName, record.systemName);
  AppendText(message, protocol::kTagSystemName, record.systemName);
  AppendText(message, protocol::kTagSystemID, record.systemID);
  AppendText(message, protocol::kTagReleasePath, record.releasePath);
  AppendVersion(message, protocol::kTagVersionMajor, record.versionMajor);
  AppendVersion(message, protocol::kTagVersionMinor, record.versionMinor);
  AppendVersion(message, protocol::kTagVersionRevision, record.versionRevision);
  AppendVersion(message, protocol::kTagKelAPICompatibilityRevision, record.kelAPICompatibilityRevision);
  AppendPortMacAndKind(message, record, macText);
  return TakeIfFits(message, kMaxFullMessage);
}

std::string BuildShortMessage(const CtrlInfo& record, std::string_view macText) {
  MessageWriter message(MessageWriter::LengthDigits::Three, protocol::CtrlAliveMsg);
  AppendText(message, protocol::kTagSystemID, record.systemID);
  AppendPortMacAndKind(message, record, macText);
  return TakeIfFits(message, kMaxShortMessage);
}

std::string BuildNotice(std::uint32_t type, const std::wstring& systemID) {
  MessageWriter message(MessageWriter::LengthDigits::Three, type);
  message.Text(protocol::kTagSystemID, platform::ToNarrow(systemID));
  message.Number(protocol::kTagCtrlType, RemoteVC);
  return TakeIfFits(message, kMaxNotice);
}

}  // namespace kellanseek::daemon

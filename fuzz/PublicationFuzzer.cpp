#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "daemon/Publication.h"
#include "fuzz/FuzzFile.h"
#include "platform/CodePage.h"
#include "protocol/Fields.h"
#include "protocol/MessageReader.h"

using namespace kellanseek;
using fuzz::Require;

namespace {

/// The text that a receiver with the same code page reads: none if it is blank, for that is not reported.
std::wstring Received(std::wstring_view text) {
  const std::string narrow = platform::ToNarrow(text);
  const bool blank = std::all_of(narrow.begin(), narrow.end(),
                                 [](unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
  std::wstring wide;
  if (!blank) platform::AssignWide(wide, narrow);
  return wide;
}

/// A record whose texts are the lines of the input, which hold no semicolon: no message could bring one in.
controllers::CtrlInfo RecordOf(std::string_view rest) {
  controllers::CtrlInfo record;
  for (const protocol::IdentityField& field : protocol::kIdentityFields) {
    std::string line(rest.substr(0, rest.find('\n')));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == ';' || c == '\0'; }, '.');
    if (field.text != nullptr) platform::AssignText(record.*field.text, line);
    if (field.key != nullptr) platform::AssignWide(record.*field.key, line);
    if (field.number != nullptr && !line.empty())
      record.*field.number = static_cast<std::uint32_t>(line.size() * static_cast<unsigned char>(line[0]));
  }
  return record;
}

void RequireReadable(const std::string& datagram, std::size_t limit, protocol::Message& message) {
  Require(datagram.size() <= limit);
  const protocol::ParseResult result = protocol::ParseMessage(datagram, datagram.size(), message);
  Require(result.outcome == protocol::ParseResult::Outcome::Accepted);
  Require(message.identity.ctrlType == RemoteVC);
}

}  // namespace

/// What is published of any record fits and reads as that record, or is refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const controllers::CtrlInfo record = RecordOf({reinterpret_cast<const char*>(bytes), size});
  protocol::Message message;
  if (const std::string full = daemon::BuildFullMessage(record, "02:0a"); !full.empty()) {
    RequireReadable(full, daemon::kMaxFullMessage, message);
    for (const protocol::IdentityField& field : protocol::kIdentityFields) {
      if (field.text != nullptr)
        Require(message.identity.*field.text == Received((record.*field.text).Wide()));
      if (field.number != nullptr) Require(message.identity.*field.number == record.*field.number);
    }
    Require(message.identity.macAddress == L"02:0a");
  }
  if (const std::string brief = daemon::BuildShortMessage(record, ""); !brief.empty()) {
    RequireReadable(brief, daemon::kMaxShortMessage, message);
    Require(message.identity.systemID == Received(record.systemID));
  }
  const std::string notice = daemon::BuildNotice(protocol::MessageType::CtrlPowerDownMsg, record.systemID);
  if (!notice.empty()) RequireReadable(notice, daemon::kMaxNotice, message);
  return 0;
}

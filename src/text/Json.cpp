#include "text/Json.h"

#include <array>

#include "text/Utf8.h"

namespace kellanseek::text {
namespace {

void AppendQuoted(std::string& text, std::string_view utf8) {
  constexpr std::string_view kHex = "0123456789abcdef";
  text.push_back('"');
  for (const char each : utf8) {
    const auto code = static_cast<unsigned char>(each);
    if (each == '"' || each == '\\') {
      text.append({'\\', each});
    } else if (code < 0x20) {
      text.append("\\u00").append({kHex[code >> 4], kHex[code & 15]});
    } else {
      text.push_back(each);
    }
  }
  text.push_back('"');
}

}  // namespace

Json::Json(std::string_view utf8) { AppendQuoted(text_, ToUtf8(FromUtf8(utf8))); }

Json::Json(std::initializer_list<Member> members) : Json(Brackets::Curly) {
  for (const Member& member : members) Set(member.first, member.second);
}

void Json::Set(std::string_view name, const Json& value) { Insert(name, value); }

void Json::Append(const Json& value) { Insert({}, value); }

/// Puts the value, behind its name if it has one, before the closing bracket.
void Json::Insert(std::string_view name, const Json& value) {
  const char closing = text_.back();
  text_.pop_back();
  if (text_.size() > 1) text_.push_back(',');
  if (closing == '}') {
    AppendQuoted(text_, name);
    text_.push_back(':');
  }
  text_.append(value.text_).push_back(closing);
}

}  // namespace kellanseek::text

#include "tools/kelsim/Text.h"

#include <algorithm>
#include <stdexcept>

#include "platform/CodePage.h"
#include "text/Utf8.h"

namespace kellanseek::kelsim {
namespace {

/// Keeps the longest identity well below the datagram limit.
constexpr std::size_t kLongestField = 100;

bool BreaksFields(char c) { return c == ';' || (c >= 0 && c < ' '); }

}  // namespace

std::string FieldText(const std::string& utf8) {
  const std::wstring wide = text::FromUtf8(utf8);
  std::string text = platform::ToNarrow(wide);
  if (platform::ToWide(text) != wide) {
    throw std::invalid_argument('"' + utf8 + "\" has characters that the controllers' code page lacks");
  }
  if (text.find_first_not_of(' ') == std::string::npos) throw std::invalid_argument("a text is missing");
  if (text.size() > kLongestField) {
    throw std::invalid_argument("a text has at most " + std::to_string(kLongestField) + " characters");
  }
  if (std::any_of(text.begin(), text.end(), BreaksFields)) {
    throw std::invalid_argument("a text must not contain semicolons or control characters");
  }
  return text;
}

platform::Ipv4 DottedAddress(const std::string& text) {
  const platform::Ipv4 address = platform::ParseIpv4(text);
  if (address == platform::kNoAddress || platform::FormatIpv4(address) != text) {
    throw std::invalid_argument('"' + text + "\" is not an address like 10.1.0.20");
  }
  return address;
}

}  // namespace kellanseek::kelsim

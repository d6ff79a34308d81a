#include "diagnostics/Trace.h"

#include <algorithm>

namespace kellanseek::diagnostics {
namespace {

void AppendNumber(std::wstring& text, std::uint32_t number, std::uint32_t base) {
  constexpr std::wstring_view kDigits = L"0123456789abcdef";
  wchar_t digits[10];
  std::size_t count = 0;
  do {
    digits[count++] = kDigits[number % base];
    number /= base;
  } while (number != 0);
  while (count > 0) text.push_back(digits[--count]);
}

void AppendDecimal(std::wstring& text, std::int32_t number) {
  if (number < 0) text.push_back(L'-');
  const auto magnitude = static_cast<std::uint32_t>(number);
  AppendNumber(text, number < 0 ? 0U - magnitude : magnitude, 10);
}

}  // namespace

std::wstring FormatMessageText(std::wstring_view pattern, std::initializer_list<MessageArgument> arguments,
                               std::size_t buffer) {
  std::wstring text;
  const auto* argument = arguments.begin();
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != L'%' || i + 1 == pattern.size()) {
      text.push_back(pattern[i]);
      continue;
    }
    const wchar_t kind = pattern[++i];
    if (kind == L'%' || argument == arguments.end()) {
      text.push_back(kind);
      continue;
    }
    if (kind == L's') {
      text.append(argument->Text());
    } else if (kind == L'x') {
      AppendNumber(text, static_cast<std::uint32_t>(argument->Number()), 16);
    } else {
      AppendDecimal(text, argument->Number());
    }
    ++argument;
  }
  if (text.size() >= buffer) text.resize(buffer - 1);
  return text;
}

void Tracer::Write(const std::wstring& message) const {
  output_->Write(L"ReleaseErrorTrace: \nFile: ");
  output_->Write(unit_);
  output_->Write(L"\nError: ");
  output_->Write(message);
  output_->Write(L"\n");
}

}  // namespace kellanseek::diagnostics

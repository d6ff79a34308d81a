#include "diagnostics/Trace.h"

#include <algorithm>

namespace kellanseek::diagnostics {
namespace {

/// A text that grows in a fixed buffer and drops what does not fit.
class BoundedText {
 public:
  explicit BoundedText(std::span<wchar_t> buffer) : buffer_(buffer) {}

  void Append(std::wstring_view text) {
    const std::size_t count = std::min(text.size(), buffer_.size() - 1 - size_);
    std::copy_n(text.begin(), count, buffer_.begin() + static_cast<std::ptrdiff_t>(size_));
    size_ += count;
  }
  void Append(wchar_t character) { Append(std::wstring_view(&character, 1)); }

  void AppendSystemText(std::string_view text) {
    constexpr char kLastAscii = 0x7F;
    for (const char byte : text) Append(byte >= 0 && byte <= kLastAscii ? static_cast<wchar_t>(byte) : L'?');
  }
  void AppendNumber(std::uint32_t number, std::uint32_t base) {
    constexpr std::wstring_view kDigits = L"0123456789abcdef";
    wchar_t digits[10];
    std::size_t count = 0;
    do {
      digits[count++] = kDigits[number % base];
      number /= base;
    } while (number != 0);
    while (count > 0) Append(digits[--count]);
  }
  void AppendDecimal(std::int32_t number) {
    if (number < 0) Append(L'-');
    const auto magnitude = static_cast<std::uint32_t>(number);
    AppendNumber(number < 0 ? 0U - magnitude : magnitude, 10);
  }

  std::wstring_view View() const { return {buffer_.data(), size_}; }

 private:
  std::span<wchar_t> buffer_;
  std::size_t size_ = 0;
};

}  // namespace

std::wstring_view FormatMessageText(std::wstring_view pattern,
                                    std::initializer_list<MessageArgument> arguments,
                                    std::span<wchar_t> buffer) noexcept {
  BoundedText text(buffer);
  const auto* argument = arguments.begin();
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != L'%' || i + 1 == pattern.size()) {
      text.Append(pattern[i]);
      continue;
    }
    const wchar_t kind = pattern[++i];
    if (kind == L'%' || argument == arguments.end()) {
      text.Append(kind);
      continue;
    }
    if (kind == L's') {
      text.Append(argument->Text());
      text.AppendSystemText(argument->SystemText());
    } else if (kind == L'x') {
      text.AppendNumber(static_cast<std::uint32_t>(argument->Number()), 16);
    } else {
      text.AppendDecimal(argument->Number());
    }
    ++argument;
  }
  return text.View();
}

void Tracer::Write(std::wstring_view message) const noexcept {
  for (const std::wstring_view piece :
       {std::wstring_view(L"ReleaseErrorTrace: \nFile: "), std::wstring_view(unit_),
        std::wstring_view(L"\nError: "), message, std::wstring_view(L"\n")}) {
    try {
      output_->Write(piece);
    } catch (...) {
      // The output may have run out of memory. A trace must not fail the work that it describes.
    }
  }
}

}  // namespace kellanseek::diagnostics

#include "text/Utf8.h"

#include <boost/nowide/utf/convert.hpp>

namespace kellanseek::text {
namespace {

template <typename To, typename From>
std::basic_string<To> Convert(std::basic_string_view<From> text) {
  return boost::nowide::utf::convert_string<To>(text.data(), text.data() + text.size());
}

}  // namespace

std::string ToUtf8(std::wstring_view text) { return Convert<char>(text); }

std::string ToUtf8(std::u32string_view text) { return Convert<char>(text); }

std::wstring FromUtf8(std::string_view bytes) { return Convert<wchar_t>(bytes); }

std::u32string CodePoints(std::string_view bytes) { return Convert<char32_t>(bytes); }

}  // namespace kellanseek::text

#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace kellanseek::bench {

/// Baseline for parsing: one pass over the datagram that splits it at the semicolons and creates the same
/// eight wide texts, without interpreting the fields.
inline std::size_t BareTokenise(std::string_view datagram, std::array<std::wstring, 8>& texts) {
  std::size_t count = 0;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < datagram.size() && count < texts.size(); ++i) {
    if (datagram[i] != ';') continue;
    const std::string_view piece = datagram.substr(begin, i - begin);
    begin = i + 1;
    const std::size_t colon = piece.find(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view value = piece.substr(colon + 1);
    std::wstring& text = texts[count++];
    text.resize(value.size());
    for (std::size_t c = 0; c < value.size(); ++c) text[c] = static_cast<unsigned char>(value[c]);
  }
  return count;
}

}  // namespace kellanseek::bench

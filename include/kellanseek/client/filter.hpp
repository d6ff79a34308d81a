#pragma once

// Which controllers of a list are wanted. Part of kellanseek/client.hpp.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <kellanseek/client/controller.hpp>
#include <kellanseek/client/error.hpp>
#include <kellanseek/client/text.hpp>

namespace kellanseek::client {

namespace detail {

/// Reads a decimal number of up to three digits and removes it from `text`.
inline std::optional<std::uint32_t> TakeNumber(std::string_view& text) {
  std::uint32_t number = 0;
  std::size_t digits = 0;
  for (; digits < 3 && digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
    number = 10 * number + static_cast<std::uint32_t>(text[digits] - '0');
  }
  text.remove_prefix(digits);
  return digits == 0 ? std::nullopt : std::optional(number);
}

/// Reads a dotted IPv4 address and removes it from `text`.
inline std::optional<std::uint32_t> TakeAddress(std::string_view& text) {
  std::uint32_t address = 0;
  for (int part = 0; part < 4; ++part) {
    if (part > 0) {
      if (text.empty() || text.front() != '.') return std::nullopt;
      text.remove_prefix(1);
    }
    const auto number = TakeNumber(text);
    if (!number || *number > 255) return std::nullopt;
    address = address << 8 | *number;
  }
  return address;
}

/// Whether a text matches a pattern, without regard to the case of A to Z.
inline bool MatchesPattern(std::string_view text, std::string_view pattern) {
  // After a mismatch, the last "*" takes one more character, and the rest is tried again from there.
  std::optional<std::string_view> afterStar;
  std::string_view retry;
  while (!text.empty()) {
    if (!pattern.empty() && pattern.front() == '*') {
      pattern.remove_prefix(1);
      afterStar = pattern;
      retry = text;
      continue;
    }
    const char32_t character = TakeCharacter(text);
    const bool any = !pattern.empty() && pattern.front() == '?';
    const bool more = !pattern.empty();
    if (more && (FoldCase(TakeCharacter(pattern)) == FoldCase(character) || any)) continue;
    if (!afterStar) return false;
    TakeCharacter(retry);
    text = retry;
    pattern = *afterStar;
  }
  return pattern.find_first_not_of('*') == std::string_view::npos;
}

}  // namespace detail

/// An IPv4 network.
class Network {
 public:
  /// Reads "10.1.0.0/16", or an address alone, which is the network of just that address. Bits of the address
  /// beyond the prefix are ignored. Throws Error with E_INVALIDARG for any other text.
  explicit Network(std::string_view text) {
    std::string_view rest = text;
    const auto address = detail::TakeAddress(rest);
    std::optional<std::uint32_t> prefix = 32;
    if (!rest.empty() && rest.front() == '/') {
      rest.remove_prefix(1);
      prefix = detail::TakeNumber(rest);
    }
    if (!address || !prefix || *prefix > 32 || !rest.empty()) {
      throw Error(E_INVALIDARG, "\"" + std::string(text) + "\" is not a network like 10.1.0.0/16");
    }
    mask_ = *prefix == 0 ? 0 : ~std::uint32_t{0} << (32 - *prefix);
    address_ = *address & mask_;
  }

  /// False for what is not an IPv4 address, such as the path of a virtual controller.
  bool contains(std::string_view address) const noexcept {
    const auto number = detail::TakeAddress(address);
    return number && address.empty() && (*number & mask_) == address_;
  }

 private:
  std::uint32_t address_ = 0;
  std::uint32_t mask_ = 0;
};

/// Selects controllers. Every condition that is set must hold; a filter without conditions matches every
/// controller. In a pattern "*" stands for any text and "?" for one character; the case of A to Z is ignored.
struct Filter {
  std::optional<Kind> kind;
  std::optional<Availability> availability;
  std::string name;      ///< A pattern; empty for any name, as in the following.
  std::string host;      ///< A pattern for the host name.
  std::string address;   ///< A pattern.
  std::string identity;  ///< A pattern.
  std::optional<Network> network;

  bool matches(const Controller& controller) const {
    const auto fits = [](const std::string& pattern, std::string_view text) {
      return pattern.empty() || detail::MatchesPattern(text, pattern);
    };
    return (!kind || *kind == controller.kind) &&
           (!availability || *availability == controller.availability) && fits(name, controller.name) &&
           fits(host, controller.host_name ? std::string_view(*controller.host_name) : std::string_view()) &&
           fits(address, controller.address) && fits(identity, controller.identity) &&
           (!network || network->contains(controller.address));
  }
};

}  // namespace kellanseek::client

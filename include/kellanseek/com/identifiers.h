#pragma once

// Identifiers as text, and their association with interface types. Part of kellanseek/com.h, on every system.

#include <cstdint>

namespace kellanseek::com {

constexpr std::uint8_t HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
  if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
  throw "an identifier is written with the digits 0-9 and A-F";
}

constexpr std::uint32_t HexNumber(const char* text, int digits) {
  std::uint32_t number = 0;
  for (int i = 0; i < digits; ++i) number = number << 4 | HexDigit(text[i]);
  return number;
}

}  // namespace kellanseek::com

/// Converts "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" to a GUID. Intended for constants: any other form is a
/// compile-time error in a constant expression and throws elsewhere.
constexpr GUID KelGuid(const char (&text)[37]) {
  using kellanseek::com::HexNumber;
  if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') throw "misplaced hyphen";
  GUID guid = {};
  guid.Data1 = HexNumber(text, 8);
  guid.Data2 = static_cast<std::uint16_t>(HexNumber(text + 9, 4));
  guid.Data3 = static_cast<std::uint16_t>(HexNumber(text + 14, 4));
  const char* digits = text + 19;
  for (std::uint8_t& byte : guid.Data4) {
    if (*digits == '-') ++digits;
    byte = static_cast<std::uint8_t>(HexNumber(digits, 2));
    digits += 2;
  }
  return guid;
}

namespace kellanseek::com {

template <typename Interface>
constexpr const IID* NoInterfaceId() = delete;

inline constexpr IID kIidUnknown = KelGuid("00000000-0000-0000-C000-000000000046");
inline constexpr IID kIidClassFactory = KelGuid("00000001-0000-0000-C000-000000000046");

}  // namespace kellanseek::com

/// Pointer to the identifier of an interface type declared with KEL_DECLARE_INTERFACE. Other types do not
/// compile.
template <typename Interface>
inline constexpr const IID* KelInterfaceId = kellanseek::com::NoInterfaceId<Interface>();

template <>
inline constexpr const IID* KelInterfaceId<IUnknown> = &kellanseek::com::kIidUnknown;
template <>
inline constexpr const IID* KelInterfaceId<IClassFactory> = &kellanseek::com::kIidClassFactory;

/// Declares the interface `type` and the constant IID_<type>, and associates the two for KelInterfaceId and,
/// where the compiler supports it, __uuidof.
// NOLINTBEGIN(bugprone-macro-parentheses): the declared name cannot be parenthesised.
#define KEL_DECLARE_INTERFACE(type, text)                         \
  struct KEL_UUID(text) type;                                     \
  inline constexpr IID IID_##type = KelGuid(text);                \
  template <>                                                     \
  inline constexpr const IID* KelInterfaceId<type> = &IID_##type; \
  KEL_UUIDOF(type)                                                \
  static_assert(sizeof(IID_##type) == 16)
// NOLINTEND(bugprone-macro-parentheses)

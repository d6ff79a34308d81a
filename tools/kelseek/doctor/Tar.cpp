#include "doctor/Tar.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace kellanseek::kelseek {
namespace {

constexpr std::size_t kBlock = 512;
constexpr std::size_t kNameBytes = 100;

/// A header; every number in it is octal text.
class Header {
 public:
  void Text(std::size_t at, std::string_view text) {
    std::copy(text.begin(), text.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(at));
  }
  /// `size` counts the NUL at the end.
  void Number(std::size_t at, std::size_t size, std::uint64_t value) {
    std::array<char, 24> digits{};
    std::snprintf(digits.data(), digits.size(), "%0*llo", static_cast<int>(size - 1),
                  static_cast<unsigned long long>(value));
    Text(at, digits.data());
  }
  /// The sum of all bytes, with blanks in place of the sum itself.
  void Seal() {
    constexpr std::size_t kSumAt = 148;
    Text(kSumAt, "        ");
    std::uint64_t sum = 0;
    for (const char each : bytes_) sum += static_cast<unsigned char>(each);
    Number(kSumAt, 7, sum);
    bytes_[kSumAt + 6] = '\0';
  }
  std::string_view Bytes() const { return {bytes_.data(), bytes_.size()}; }

 private:
  std::array<char, kBlock> bytes_{};
};

}  // namespace

void Tar::Add(std::string_view name, std::string_view content) {
  if (name.size() > kNameBytes) throw std::length_error("a name in an archive is too long");
  Header header;
  header.Text(0, name);
  header.Number(100, 8, 0644);
  header.Number(108, 8, 0);  // owner and group
  header.Number(116, 8, 0);
  header.Number(124, 12, content.size());
  header.Number(136, 12, static_cast<std::uint64_t>(time_));
  header.Text(156, "0");  // an ordinary file
  header.Text(257, std::string_view("ustar\00000", 8));
  header.Seal();
  bytes_.append(header.Bytes());
  bytes_.append(content);
  bytes_.append((kBlock - content.size() % kBlock) % kBlock, '\0');
}

std::string Tar::Take() {
  bytes_.append(2 * kBlock, '\0');
  return std::move(bytes_);
}

}  // namespace kellanseek::kelseek

#include "platform/linux/FileText.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <bit>
#include <boost/nowide/utf/utf.hpp>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <system_error>

#include "platform/linux/Descriptor.h"
#include "text/Ascii.h"

namespace kellanseek::platform {
namespace {

namespace utf = boost::nowide::utf;
using Bytes = utf::utf_traits<char>;

constexpr utf::code_point kEscapedByte = 0xDC00;

int KindError(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return 0;
  return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

}  // namespace

std::wstring FromUtf8(std::string_view bytes) {
  if (text::IsAscii(bytes)) return {bytes.begin(), bytes.end()};
  std::wstring text;
  const char* const end = bytes.data() + bytes.size();
  for (const char* next = bytes.data(); next != end;) {
    const char* const start = next;
    utf::code_point character = Bytes::decode(next, end);
    if (character == utf::illegal || character == utf::incomplete) {
      character = kEscapedByte + static_cast<unsigned char>(*start);
      next = start + 1;
    }
    text.push_back(static_cast<wchar_t>(character));
  }
  return text;
}

std::string ToUtf8(std::wstring_view text) {
  if (text::IsAscii(text)) return {text.begin(), text.end()};
  std::string bytes;
  for (const wchar_t wide : text) {
    const auto character = std::bit_cast<utf::code_point>(wide);
    if (character >= kEscapedByte + 0x80 && character <= kEscapedByte + 0xFF) {
      bytes.push_back(static_cast<char>(character - kEscapedByte));
    } else {
      Bytes::encode(character, std::back_inserter(bytes));
    }
  }
  return bytes;
}

int ReadRegularFile(const std::string& path, std::size_t limit, std::string& bytes) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return errno;
  if (const int error = KindError(status); error != 0) return error;
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file || ::fstat(file.get(), &status) != 0) return errno;
  if (const int error = KindError(status); error != 0) return error;
  if (static_cast<std::uint64_t>(status.st_size) > limit) return EFBIG;

  bytes.clear();
  bytes.reserve(static_cast<std::size_t>(status.st_size));
  char piece[1 << 16];
  for (;;) {
    const ssize_t count = ::read(file.get(), piece, sizeof(piece));
    if (count == 0) return 0;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes.append(piece, static_cast<std::size_t>(count));
    if (bytes.size() > limit) return EFBIG;
  }
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

int MakeDirectories(const std::string& directory) {
  if (::mkdir(directory.c_str(), 0777) == 0 || errno == EEXIST) return 0;
  if (errno != ENOENT) return errno;
  if (const int error = MakeDirectories(DirectoryOf(directory)); error != 0) return error;
  return ::mkdir(directory.c_str(), 0777) == 0 || errno == EEXIST ? 0 : errno;
}

int WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

std::wstring ErrorText(int error) { return FromUtf8(std::generic_category().message(error)); }

}  // namespace kellanseek::platform

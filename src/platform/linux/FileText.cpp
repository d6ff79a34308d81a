#include "platform/linux/FileText.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "platform/linux/Descriptor.h"

namespace kellanseek::platform {
namespace {

constexpr std::uint32_t kEscapedByte = 0xDC00;

/// Decodes the character at `position`, which moves behind it; false when no valid one begins there.
bool NextCharacter(std::string_view bytes, std::size_t& position, std::uint32_t& character) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
  const std::uint32_t lead = byte(position);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length == 0 || bytes.size() - position < length) return false;
  character = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const std::uint32_t next = byte(position + i);
    if ((next & 0xC0) != 0x80) return false;
    character = character << 6 | (next & 0x3F);
  }
  const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (overlong || surrogate || character > 0x10FFFF) return false;
  position += length;
  return true;
}

int KindError(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return 0;
  return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

}  // namespace

std::wstring FromUtf8(std::string_view bytes) {
  std::wstring text;
  text.reserve(bytes.size());
  for (std::size_t position = 0; position < bytes.size();) {
    std::uint32_t character = 0;
    if (!NextCharacter(bytes, position, character)) {
      character = kEscapedByte + static_cast<unsigned char>(bytes[position++]);
    }
    text.push_back(static_cast<wchar_t>(character));
  }
  return text;
}

std::string ToUtf8(std::wstring_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  const auto put = [&](std::uint32_t byte) { bytes.push_back(static_cast<char>(byte)); };
  for (const wchar_t wide : text) {
    const std::uint32_t character = std::bit_cast<std::uint32_t>(wide);
    if (character >= kEscapedByte + 0x80 && character <= kEscapedByte + 0xFF) {
      put(character - kEscapedByte);
    } else if (character < 0x80) {
      put(character);
    } else if (character < 0x800) {
      put(0xC0 | character >> 6);
      put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
      put(0xE0 | character >> 12);
      put(0x80 | (character >> 6 & 0x3F));
      put(0x80 | (character & 0x3F));
    } else {
      put(0xF0 | (character >> 18 & 0x07));
      put(0x80 | (character >> 12 & 0x3F));
      put(0x80 | (character >> 6 & 0x3F));
      put(0x80 | (character & 0x3F));
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
  bytes.reserve(static_cast<std::size_t>(status.st_size) + 1);
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

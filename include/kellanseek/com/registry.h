#pragma once

// Reader for the registry store: the text file that replaces the registry on systems without one. Part of
// kellanseek/com.h.
//
//   # a comment; so is a line that begins with ;
//   [HKEY_CLASSES_ROOT\CLSID\{2B474DCE-7759-49B8-B088-5A5DE5943E2F}\InprocServer32]
//   @=/usr/lib/libKelLanSeek.so.1
//   ThreadingModel=Free
//
// The file is UTF-8, with or without a byte order mark. A section names a full key and may occur more than
// once. A line is "name=value", or "@=value" for the key's default value. The name ends at the first "=",
// without the blanks around it; the value is everything after that, except a carriage return at the end of
// the line. Of several lines with one name the last counts. Names of keys and values are compared without
// regard to the case of A to Z. All other lines are ignored.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace kellanseek::com {

/// Size limit; a larger store is not read.
inline constexpr std::size_t kMaxRegistryBytes = std::size_t{4} << 20;

inline char FoldCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

inline bool SameRegistryName(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (FoldCase(left[i]) != FoldCase(right[i])) return false;
  }
  return true;
}

inline std::string_view TrimBlanks(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

/// Removes the next line from `text` and returns it without its line end.
inline std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

/// Looks up the value `name` of `key` in the text of a store. An empty name is the default value.
inline std::optional<std::string_view> FindRegistryValue(std::string_view store, std::string_view key,
                                                         std::string_view name) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (store.substr(0, kByteOrderMark.size()) == kByteOrderMark) store.remove_prefix(kByteOrderMark.size());
  std::optional<std::string_view> value;
  bool inKey = false;
  while (!store.empty()) {
    const std::string_view line = TakeLine(store);
    const std::string_view content = TrimBlanks(line);
    if (content.empty() || content.front() == '#' || content.front() == ';') continue;
    if (content.front() == '[') {
      inKey = content.back() == ']' && SameRegistryName(content.substr(1, content.size() - 2), key);
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!inKey || equals == std::string_view::npos) continue;
    const std::string_view lineName = TrimBlanks(line.substr(0, equals));
    if (SameRegistryName(lineName, name.empty() ? "@" : name)) value = line.substr(equals + 1);
  }
  return value;
}

/// Path of the store for all users.
inline constexpr const char* kMachineRegistryPath = "/etc/kellanseek/registry";

/// Path of this process's store: $KELLANSEEK_REGISTRY, else ~/.config/kellanseek/registry if it exists, else
/// the store for all users. A program with raised privileges ignores its environment.
inline std::string RegistryStorePath() {
  if (const char* const named = secure_getenv("KELLANSEEK_REGISTRY"); named != nullptr && *named != '\0')
    return named;
  if (const char* const home = secure_getenv("HOME"); home != nullptr && *home != '\0') {
    std::string path = std::string(home) + "/.config/kellanseek/registry";
    if (::access(path.c_str(), F_OK) == 0) return path;
  }
  return kMachineRegistryPath;
}

/// Closes a file.
class DescriptorOwner {
 public:
  explicit DescriptorOwner(int descriptor) : descriptor_(descriptor) {}
  ~DescriptorOwner() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  DescriptorOwner(const DescriptorOwner&) = delete;
  DescriptorOwner& operator=(const DescriptorOwner&) = delete;
  int Get() const { return descriptor_; }

 private:
  int descriptor_;
};

/// The whole file; nothing if it is missing, unreadable, not a regular file, or larger than
/// kMaxRegistryBytes.
inline std::optional<std::string> ReadRegistryStore(const std::string& path) {
  const DescriptorOwner file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status = {};
  if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  std::string text;
  char chunk[4096];
  while (text.size() <= kMaxRegistryBytes) {
    const ssize_t got = ::read(file.Get(), chunk, sizeof(chunk));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return text;
    text.append(chunk, static_cast<std::size_t>(got));
  }
  return std::nullopt;
}

/// The default value of `key` in this process's store.
inline std::optional<std::string> ReadRegistryDefault(std::string_view key) {
  const std::optional<std::string> store = ReadRegistryStore(RegistryStorePath());
  if (!store) return std::nullopt;
  const std::optional<std::string_view> value = FindRegistryValue(*store, key, {});
  if (!value) return std::nullopt;
  return std::string(*value);
}

}  // namespace kellanseek::com

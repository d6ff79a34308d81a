#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace kellanseek::kelseek {

/// Writes an archive in the ustar format, which every system unpacks.
class Tar {
 public:
  /// `time`: of all files, in seconds since 1970.
  explicit Tar(std::time_t time) : time_(time) {}

  /// Adds a file. The name has at most 100 bytes; folders are separated by "/".
  void Add(std::string_view name, std::string_view content);
  /// Ends the archive and returns it.
  std::string Take();

 private:
  const std::time_t time_;
  std::string bytes_;
};

}  // namespace kellanseek::kelseek

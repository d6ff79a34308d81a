#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

namespace kellanseek::test {

/// A directory for one test, deleted at destruction. Its path is plain ASCII.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("kellanseek-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string Path() const { return path_.string(); }
  std::wstring Wide() const { return WidePath(Path()); }
  std::string File(std::string_view name) const { return (path_ / name).string(); }
  std::wstring WideFile(std::string_view name) const { return WidePath(File(name)); }

  void Write(std::string_view name, std::string_view content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
  }
  std::string Read(std::string_view name) const {
    std::ostringstream content;
    content << std::ifstream(path_ / name, std::ios::binary).rdbuf();
    return content.str();
  }

 private:
  static std::wstring WidePath(const std::string& path) { return {path.begin(), path.end()}; }

  std::filesystem::path path_;
};

}  // namespace kellanseek::test

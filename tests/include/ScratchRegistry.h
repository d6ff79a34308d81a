#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

/// A registry store of one test's own, in a directory of its own: KELLANSEEK_REGISTRY names it while this
/// lives. At first there is no file.
class ScratchRegistry {
 public:
  ScratchRegistry() : registryBefore_(Environment("KELLANSEEK_REGISTRY")), homeBefore_(Environment("HOME")) {
    std::string form = (std::filesystem::temp_directory_path() / "kellanseek.XXXXXX").string();
    if (::mkdtemp(form.data()) == nullptr) throw std::runtime_error("no scratch directory");
    directory_ = form;
    SetEnvironment("KELLANSEEK_REGISTRY", Path().c_str());
  }
  ~ScratchRegistry() {
    SetEnvironment("KELLANSEEK_REGISTRY", registryBefore_ ? registryBefore_->c_str() : nullptr);
    SetEnvironment("HOME", homeBefore_ ? homeBefore_->c_str() : nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  ScratchRegistry(const ScratchRegistry&) = delete;
  ScratchRegistry& operator=(const ScratchRegistry&) = delete;

  const std::string& Directory() const { return directory_; }
  std::string Path() const { return directory_ + "/registry"; }
  void Write(std::string_view text) const { std::ofstream(Path(), std::ios::binary) << text; }
  /// Puts an empty store where a user whose home this directory is would have it.
  void MakeHomeStore() const {
    std::filesystem::create_directories(directory_ + "/.config/kellanseek");
    std::ofstream(directory_ + "/.config/kellanseek/registry") << "";
  }

  /// Null takes the variable away.
  static void SetEnvironment(const char* name, const char* value) {
    if (value == nullptr) {
      ::unsetenv(name);
    } else {
      ::setenv(name, value, 1);
    }
  }

 private:
  static std::optional<std::string> Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  }

  std::optional<std::string> registryBefore_;
  std::optional<std::string> homeBefore_;
  std::string directory_;
};

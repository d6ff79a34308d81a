#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/ScratchDirectory.h"

/// A registry store of one test's own, in a directory of its own: KELLANSEEK_REGISTRY names it while this
/// lives. At first there is no file.
class ScratchRegistry {
 public:
  ScratchRegistry() : registryBefore_(Environment("KELLANSEEK_REGISTRY")), homeBefore_(Environment("HOME")) {
    SetEnvironment("KELLANSEEK_REGISTRY", Path().c_str());
  }
  ~ScratchRegistry() {
    SetEnvironment("KELLANSEEK_REGISTRY", registryBefore_ ? registryBefore_->c_str() : nullptr);
    SetEnvironment("HOME", homeBefore_ ? homeBefore_->c_str() : nullptr);
  }
  ScratchRegistry(const ScratchRegistry&) = delete;
  ScratchRegistry& operator=(const ScratchRegistry&) = delete;

  std::string Directory() const { return directory_.Path(); }
  std::string Path() const { return directory_.File("registry"); }
  void Write(std::string_view text) const { directory_.Write("registry", text); }
  /// Puts an empty store where a user whose home this directory is would have it.
  void MakeHomeStore() const {
    std::filesystem::create_directories(Directory() + "/.config/kellanseek");
    directory_.Write(".config/kellanseek/registry", "");
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
  kellanseek::test::ScratchDirectory directory_;
};

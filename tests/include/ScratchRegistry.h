#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/ScratchDirectory.h"

/// A registry store for one test, in its own directory. KELLANSEEK_REGISTRY names it during its lifetime.
/// Initially the file does not exist.
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
  /// Creates an empty store in the place for a user whose home is this directory.
  void MakeHomeStore() const {
    std::filesystem::create_directories(Directory() + "/.config/kellanseek");
    directory_.Write(".config/kellanseek/registry", "");
  }

  /// Null removes the variable.
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

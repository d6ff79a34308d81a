#pragma once

#include <unistd.h>

#include <utility>

namespace kellanseek::platform {

/// Owns a file descriptor; -1 stands for none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Close();
      descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
  }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  void Close() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  int descriptor_ = -1;
};

}  // namespace kellanseek::platform

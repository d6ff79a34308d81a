#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include <kellanseek/com.h>

namespace kellanseek::test {

/// The reference count of a COM object on the heap. QueryInterface is left to the class.
template <typename... Interfaces>
class Counted : public Interfaces... {
 public:
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  ULONG References() const { return references_; }
  /// Called after the last release, on that thread.
  void OnDestroyed(std::function<void()> action) { onDestroyed_ = std::move(action); }

 protected:
  virtual ~Counted() {
    if (onDestroyed_) onDestroyed_();
  }

 private:
  std::atomic<ULONG> references_{1};
  std::function<void()> onDestroyed_;
};

}  // namespace kellanseek::test

#pragma once

#include <atomic>
#include <functional>
#include <stdexcept>
#include <utility>

#include <kellanseek/com.h>

namespace kellanseek::test {

/// A virtual controller's object.
class FakeVC final : public IUnknown {
 public:
  static KelComPtr<FakeVC> Make() { return KelComPtr<FakeVC>::Attach(new FakeVC); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    if (addRefThrows) throw std::runtime_error("the process of this object has gone");
    return ++references_;
  }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  /// Called after the last release, on that thread.
  void OnDestroyed(std::function<void()> action) { onDestroyed_ = std::move(action); }
  ULONG References() const { return references_; }

  std::atomic<bool> addRefThrows{false};

 private:
  FakeVC() = default;
  ~FakeVC() {
    if (onDestroyed_) onDestroyed_();
  }

  std::function<void()> onDestroyed_;
  std::atomic<ULONG> references_{1};
};

}  // namespace kellanseek::test

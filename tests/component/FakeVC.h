#pragma once

#include <atomic>
#include <functional>
#include <stdexcept>
#include <utility>

#include "tests/support/Counted.h"

namespace kellanseek::test {

/// A virtual controller's object.
class FakeVC final : public Counted<IUnknown> {
 public:
  static KelComPtr<FakeVC> Make() { return KelComPtr<FakeVC>::Attach(new FakeVC); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    if (addRefThrows) throw std::runtime_error("the process of this object has gone");
    return Counted::AddRef();
  }

  /// Called after the last release, on that thread.
  void OnDestroyed(std::function<void()> action) { onDestroyed_ = std::move(action); }

  std::atomic<bool> addRefThrows{false};

 private:
  FakeVC() = default;
  ~FakeVC() override {
    if (onDestroyed_) onDestroyed_();
  }

  std::function<void()> onDestroyed_;
};

}  // namespace kellanseek::test

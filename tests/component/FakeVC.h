#pragma once

#include <atomic>
#include <stdexcept>

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

  std::atomic<bool> addRefThrows{false};

 private:
  FakeVC() = default;
};

}  // namespace kellanseek::test

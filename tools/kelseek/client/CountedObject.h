#pragma once

#include <atomic>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::kelseek {

/// Implements IUnknown for an object with one interface that the component calls. Starts with one reference
/// and deletes itself with the last.
template <typename Interface>
class CountedObject : public Interface {
 public:
  explicit CountedObject(const IID& iid) : iid_(iid) {}
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    const bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, iid_);
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~CountedObject() = default;

 private:
  const IID& iid_;
  std::atomic<ULONG> references_{1};
};

}  // namespace kellanseek::kelseek

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::bench {

using Clock = std::chrono::steady_clock;

/// A client's sink that calls a function for every event.
class Sink : public IKelObjectEvents {
 public:
  explicit Sink(std::function<void()> onEvent) : onEvent_(std::move(onEvent)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!IsEqualGUID(iid, IID_IKelObjectEvents) && !IsEqualGUID(iid, IID_IUnknown)) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    *object = static_cast<IKelObjectEvents*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent*) override {
    onEvent_();
    return S_OK;
  }

 private:
  std::function<void()> onEvent_;
};

/// A component object and its client.
class Workstation {
 public:
  /// Throws std::runtime_error if the component cannot be created.
  explicit Workstation(const std::string& modulePath);

  void Subscribe(Sink& sink);
  /// The number of listed controllers.
  std::uint32_t Known();
  /// Waits until `count` controllers are listed. Returns false after the time limit.
  bool WaitUntilKnown(std::uint32_t count, std::chrono::milliseconds limit);
  std::uint32_t FirstId();

  KelComPtr<IKelLanSeek> seek;
  KelComPtr<IKelCtrlIdentity> identity;
};

}  // namespace kellanseek::bench

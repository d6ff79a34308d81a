#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "tests/support/Counted.h"

namespace kellanseek::test {

/// The content of a received event.
struct ReceivedEvent {
  std::wstring text;
  ULONG userDef = 0;
  FILETIME time = {};
  bool otherFieldsZero = false;
};

/// A client's sink. Records the events and returns the result of `onNotify`.
class FakeSink final : public Counted<IKelObjectEvents> {
 public:
  using Answer = std::function<HRESULT(const ReceivedEvent& event)>;

  static KelComPtr<FakeSink> Make(Answer onNotify = nullptr) {
    return KelComPtr<FakeSink>::Attach(new FakeSink(std::move(onNotify)));
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_IKelObjectEvents)) return E_NOINTERFACE;
    *object = static_cast<IKelObjectEvents*>(this);
    AddRef();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) override {
    ReceivedEvent received;
    if (event->data.vt == VT_BSTR)
      received.text.assign(event->data.bstrVal, SysStringLen(event->data.bstrVal));
    received.userDef = event->userDef;
    received.time = event->time;
    received.otherFieldsZero = event->reserved1 == 0 && event->reserved2 == 0 && event->reserved3 == 0;
    const std::shared_ptr<void> atTheEnd(nullptr, [&](void*) {  // Of the call, even by an exception.
      const std::lock_guard lock(mutex_);
      events_.push_back(received);
      changed_.notify_all();
    });
    return onNotify_ ? onNotify_(received) : S_OK;
  }

  /// Waits until `count` calls have ended and returns their events. After ten seconds returns what there is.
  std::vector<ReceivedEvent> WaitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(10), [&] { return events_.size() >= count; });
    return events_;
  }
  std::vector<std::wstring> WaitForTexts(std::size_t count) {
    std::vector<std::wstring> texts;
    for (const ReceivedEvent& event : WaitFor(count)) texts.push_back(event.text);
    return texts;
  }

 private:
  explicit FakeSink(Answer onNotify) : onNotify_(std::move(onNotify)) {}

  const Answer onNotify_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ReceivedEvent> events_;
};

}  // namespace kellanseek::test

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

#include "bench/BareTokeniser.h"
#include "diagnostics/Journal.h"
#include "events/EventItemsDB.h"
#include "protocol/MessageReader.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::bench {
namespace {

const std::string kIdentity =
    protocol::MessageWriter(protocol::MessageWriter::LengthDigits::Two, protocol::MessageType::CtrlInfoMsg)
        .Fields(
            "1:Cell7;2:ctrl-0042;3:Line2;4:{7A1C-22};5:/hd0a/Line2;7:6;8:10;9:00-80-f4-0a-11-2c;"
            "b:0;c:0;f:2;10:5;11:1;")
        .Take();

void ParseIdentity(benchmark::State& state) {
  for (auto _ : state) {
    protocol::Message message;
    benchmark::DoNotOptimize(protocol::ParseMessage(kIdentity, kIdentity.size(), message));
    benchmark::DoNotOptimize(message.identity.macAddress.data());
  }
}
BENCHMARK(ParseIdentity);

void BareTokeniser(benchmark::State& state) {
  for (auto _ : state) {
    std::array<std::wstring, 8> texts;
    benchmark::DoNotOptimize(BareTokenise(kIdentity, texts));
    benchmark::DoNotOptimize(texts[7].data());
  }
}
BENCHMARK(BareTokeniser);

/// What the journal notes of a datagram on its way through receiver and dispatcher: the time, that its
/// interface was heard, and two counters.
void JournalOfADatagram(benchmark::State& state) {
  diagnostics::Journal journal;
  std::atomic<std::uint64_t>& lastHeard = journal.LastHeard(0x0A4D0001);
  for (auto _ : state) {
    lastHeard.store(journal.Now(), std::memory_order_relaxed);
    journal.counters.received[1].Add();
    journal.counters.accepted[1].Add();
  }
}
BENCHMARK(JournalOfADatagram);

/// Events of new controllers for a subscriber that never takes them, then an update for each.
void QueueForStalledSubscriber(benchmark::State& state) {
  const auto count = static_cast<std::uint32_t>(state.range(0));
  class Sink : public IKelObjectEvents {
   public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent*) override { return S_OK; }
  } sink;
  for (auto _ : state) {
    events::CEventItemsDB events;
    std::uint32_t cookie = 0;
    events.AddSubscriber(0, KelComPtr<IKelObjectEvents>(&sink), 0, &cookie);
    for (std::uint32_t i = 0; i < count; ++i) events.QueueEvent(11 + i, CtrlAvailable, CtrlNew);
    for (std::uint32_t i = 0; i < count; ++i) events.QueueEvent(11 + i, CtrlAvailable, CtrlUpdated);
  }
}
BENCHMARK(QueueForStalledSubscriber)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

/// Baseline for the getters: a mutex, a hash look-up and a copied text.
void BareLookup(benchmark::State& state) {
  static std::mutex mutex;
  static const std::unordered_map<std::uint32_t, std::wstring> names = [] {
    std::unordered_map<std::uint32_t, std::wstring> all;
    for (std::uint32_t i = 0; i < 10000; ++i) all.emplace(11 + i, L"Controller " + std::to_wstring(i));
    return all;
  }();
  std::uint32_t id = 0;
  for (auto _ : state) {
    const std::lock_guard<std::mutex> lock(mutex);
    const std::wstring& name = names.find(11 + id)->second;
    BSTR copy = SysAllocStringLen(name.data(), static_cast<UINT>(name.size()));
    benchmark::DoNotOptimize(copy);
    SysFreeString(copy);
    id = (id + 7919) % 10000;
  }
}
BENCHMARK(BareLookup)->ThreadRange(1, 2);

}  // namespace
}  // namespace kellanseek::bench

BENCHMARK_MAIN();

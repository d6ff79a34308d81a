// The engine's steps without threads and sockets, at growing numbers of known controllers.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/BareTokeniser.h"
#include "tests/support/EngineHarness.h"

namespace kellanseek::bench {
namespace {

std::string Dotted(std::uint32_t i) {
  return "192.168." + std::to_string(i / 250 % 250) + "." + std::to_string(i % 250 + 1);
}

/// A distinct address for each number. Dotted() repeats beyond 62,500, so later ones get another prefix.
std::string AddressOf(std::uint32_t i) {
  return i < 62500 ? Dotted(i) : "172.16." + Dotted(i - 62500).substr(8);
}

std::string FieldsOf(std::uint32_t i) {
  const std::string number = std::to_string(i);
  return "1:Cell" + number + ";2:ctrl-" + number + ";3:Line2;4:{7A1C-" + number +
         "};5:/hd0a/Line2;7:6;8:10;9:00-80-f4-" + number + ";b:0;c:0;f:2;10:5;11:1;";
}

struct Datagram {
  std::string_view text;
  platform::Ipv4 source = platform::kNoAddress;
};

/// The identity datagrams of `count` controllers, endlessly, in an order that jumps through a table. They are
/// contiguous, because a datagram just received is in the processor's cache too.
class Datagrams {
 public:
  explicit Datagrams(std::uint32_t count) {
    constexpr std::uint32_t kStride = 7919;
    for (std::uint32_t n = 0, i = 0; n < count; ++n, i = (i + kStride) % count) {
      arena_ += test::EngineHarness::Datagram(1, FieldsOf(i)) + '\0';
      sources_.push_back(platform::ParseIpv4(std::string_view(AddressOf(i))));
    }
  }
  Datagram Next() {
    const Datagram next{std::string_view(arena_.data() + begin_), sources_[next_]};
    begin_ += next.text.size() + 1;
    if (++next_ == sources_.size()) begin_ = next_ = 0;
    return next;
  }

 private:
  std::string arena_;
  std::vector<platform::Ipv4> sources_;
  std::size_t begin_ = 0;
  std::size_t next_ = 0;
};

/// An engine with known controllers, more than a network may add if need be, and without refreshes of its
/// own.
struct KnownPlant : test::EngineHarness {
  explicit KnownPlant(const benchmark::State& state)
      : EngineHarness(std::numeric_limits<std::size_t>::max()) {
    settings.RefreshInterval = -1;
    RebuildInterfaces();
    const auto count = static_cast<std::uint32_t>(state.range(0));
    // Twice, as the engine remembers a message only once it changes nothing.
    for (std::uint32_t i = 0; i < 2 * count; ++i) Answer(1, FieldsOf(i % count), AddressOf(i % count));
    events.Take();
  }
};

void DispatchUnchanged(benchmark::State& state) {
  KnownPlant plant(state);
  Datagrams datagrams(static_cast<std::uint32_t>(state.range(0)));
  protocol::Message message;
  for (auto _ : state) {
    const Datagram datagram = datagrams.Next();
    plant.dispatcher.HandleMessage(datagram.text, datagram.text.size(), datagram.source,
                                   {engine::MsgSource::FromResponseSocket, test::kFirstInterface,
                                    plant.interfaces[test::kFirstInterface].address, 0},
                                   message);
  }
}
BENCHMARK(DispatchUnchanged)->RangeMultiplier(10)->Range(100, 100000);

/// Baseline for the dispatch: tokenise, lock, find by address, compare every text.
void BareIngest(benchmark::State& state) {
  const auto count = static_cast<std::uint32_t>(state.range(0));
  using Texts = std::array<std::wstring, 8>;
  Datagrams datagrams(count);
  std::unordered_map<platform::Ipv4, Texts> known;
  for (std::uint32_t i = 0; i < count; ++i) {
    const Datagram datagram = datagrams.Next();
    BareTokenise(datagram.text, known[datagram.source]);
  }
  std::mutex mutex;
  Texts heard;
  for (auto _ : state) {
    const Datagram datagram = datagrams.Next();
    BareTokenise(datagram.text, heard);
    const std::lock_guard<std::mutex> lock(mutex);
    if (known.find(datagram.source)->second != heard) state.SkipWithError("not what was stored");
  }
}
BENCHMARK(BareIngest)->RangeMultiplier(10)->Range(100, 100000);

void IdleTick(benchmark::State& state) {
  KnownPlant plant(state);
  for (auto _ : state) plant.Tick();
}
BENCHMARK(IdleTick)->RangeMultiplier(10)->Range(100, 100000);

/// Every controller's timer runs.
void ArmedTick(benchmark::State& state) {
  KnownPlant plant(state);
  {
    controllers::CtrlTable::Access access(plant.table);
    access.ForEach([&](controllers::CtrlTable::Record record) {
      access.ChangeSchedule(record)->Arm(std::numeric_limits<std::int32_t>::max(), 1);
    });
  }
  for (auto _ : state) plant.Tick();
}
BENCHMARK(ArmedTick)->RangeMultiplier(10)->Range(100, 100000);

/// The interfaces are looked at again, and every record with them.
void Rebuild(benchmark::State& state) {
  KnownPlant plant(state);
  for (auto _ : state) plant.RebuildInterfaces();
}
BENCHMARK(Rebuild)->RangeMultiplier(10)->Range(100, 100000);

}  // namespace
}  // namespace kellanseek::bench

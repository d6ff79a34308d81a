#include "controllers/CtrlTable.h"

#include <algorithm>
#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

#include "controllers/FingerprintIndex.h"
#include "controllers/TextKeys.h"
#include "platform/CodePage.h"

namespace kellanseek::controllers {
namespace mi = boost::multi_index;
namespace {

bool HasKeysOf(const CtrlKeys& record, const CtrlKeys& described) {
  return platform::LocaleEqual(record.macAddress, described.macAddress) &&
         platform::LocaleEqual(record.ctrlAddress, described.ctrlAddress);
}

bool EarlierRecord(const CtrlTable::Record& left, const CtrlTable::Record& right) {
  return left->lanSeekID < right->lanSeekID;
}

struct InOrder {};
struct ById {};
struct ByAddress {};
struct BySystemID {};
struct ByFoldedSystemID {};
struct ByMac {};

}  // namespace

/// The container returns its elements as const, because it could not follow a change of an indexed field.
/// Access::Change() exposes only the fields without an index.
struct CtrlTable::Node {
  mutable CtrlInfo info;
  mutable FingerprintLink<Node> link;  ///< Of the message that the record remembers.
  mutable std::uint32_t messageType{};
};

struct CtrlTable::Contents {
  template <auto Field>
  struct Key {
    using result_type = std::remove_cvref_t<decltype(std::declval<CtrlInfo>().*Field)>;
    const result_type& operator()(const Node& node) const { return node.info.*Field; }
  };
  template <typename Tag, typename KeyOf, typename Hash, typename Equals>
  using Index = mi::hashed_non_unique<mi::tag<Tag>, KeyOf, Hash, Equals>;
  using Container = mi::multi_index_container<
      Node, mi::indexed_by<mi::sequenced<mi::tag<InOrder>>,
                           Index<ByAddress, Key<&CtrlInfo::ctrlAddress>, LocaleHash, LocaleEquals>,
                           Index<BySystemID, Key<&CtrlInfo::systemID>, LocaleHash, LocaleEquals>,
                           Index<ByFoldedSystemID, Key<&CtrlInfo::systemID>, FoldedHash, FoldedEquals>,
                           Index<ByMac, Key<&CtrlInfo::macAddress>, LocaleHash, LocaleEquals>,
                           // Last, because its link then lies beside the id: one cache line for a look-up.
                           mi::hashed_unique<mi::tag<ById>, Key<&CtrlInfo::lanSeekID>>>>;

  explicit Contents(std::size_t maxDynamicRecords)
      : records(WithKey(RandomKey())), maxDynamicRecords(maxDynamicRecords) {
    SpreadGrowth();
  }

  /// An index that grows visits every record. If all grew with the same record, it would keep clients waiting
  /// for a tenth of a second when tens of thousands are known.
  void SpreadGrowth() {
    records.get<ById>().max_load_factor(1.0F);
    records.get<ByAddress>().max_load_factor(1.1F);
    records.get<BySystemID>().max_load_factor(1.2F);
    records.get<ByFoldedSystemID>().max_load_factor(1.3F);
    records.get<ByMac>().max_load_factor(1.4F);
  }

  static Container WithKey(const text::SipKey& key) {
    const auto index = [](auto keyOf, auto hash, auto equals) {
      constexpr std::size_t kBuckets = 0;  // the container's default
      return boost::make_tuple(kBuckets, keyOf, hash, equals);
    };
    return Container(Container::ctor_args_list(
        boost::make_tuple(Container::nth_index<0>::type::ctor_args(),
                          index(Key<&CtrlInfo::ctrlAddress>(), LocaleHash{key}, LocaleEquals()),
                          index(Key<&CtrlInfo::systemID>(), LocaleHash{key}, LocaleEquals()),
                          index(Key<&CtrlInfo::systemID>(), FoldedHash{key}, FoldedEquals()),
                          index(Key<&CtrlInfo::macAddress>(), LocaleHash{key}, LocaleEquals()),
                          Container::nth_index<5>::type::ctor_args())));
  }

  static Record Named(const Node& node) { return {node, node.info}; }
  auto At(Record record) { return records.get<InOrder>().iterator_to(*record.node_); }

  template <typename Tag, typename KeyText>
  Record Earliest(const KeyText& key) const {
    const auto [first, last] = records.get<Tag>().equal_range(key);
    if (first == last) return {};
    auto earliest = first;
    for (auto it = std::next(first); it != last; ++it) {
      if (it->info.lanSeekID < earliest->info.lanSeekID) earliest = it;
    }
    return Named(*earliest);
  }

  template <typename Tag, typename KeyText>
  void Append(Records& found, const KeyText& key) const {
    const auto [first, last] = records.get<Tag>().equal_range(key);
    for (auto it = first; it != last; ++it) found.push_back(Named(*it));
  }

  template <typename Tag, typename KeyText>
  Records All(const KeyText& key) const {
    Records found;
    Append<Tag>(found, key);
    std::sort(found.begin(), found.end(), EarlierRecord);
    return found;
  }

  /// Hashing these texts again allocates no memory.
  void MakeRoomToHash(const std::wstring& systemID, const std::wstring& macAddress) const {
    records.get<BySystemID>().hash_function()(systemID);
    records.get<ByMac>().hash_function()(macAddress);
  }

  template <typename Tag>
  std::size_t IsHeld(const std::wstring& key, std::size_t byMoreThan) const {
    if (key.empty()) return 0;
    auto [first, last] = records.get<Tag>().equal_range(key);
    for (; byMoreThan > 0 && first != last; --byMoreThan) ++first;
    return first != last ? 1 : 0;
  }
  /// Counts the record's non-empty keys (system identity, MAC address, address) that more than `byMoreThan`
  /// stored records share.
  std::size_t KeysHeld(const CtrlKeys& record, std::size_t byMoreThan) const {
    return IsHeld<BySystemID>(record.systemID, byMoreThan) + IsHeld<ByMac>(record.macAddress, byMoreThan) +
           IsHeld<ByAddress>(record.ctrlAddress, byMoreThan);
  }

  /// All records that share one of these keys forget their messages.
  void ForgetMessagesOfRelated(const CtrlKeys& keys) {
    ForgetMessages<BySystemID>(keys.systemID);
    ForgetMessages<ByMac>(keys.macAddress);
    ForgetMessages<ByAddress>(keys.ctrlAddress);
  }
  template <typename Tag>
  void ForgetMessages(const std::wstring& key) {
    if (key.empty()) return;
    const auto [first, last] = records.get<Tag>().equal_range(key);
    for (auto it = first; it != last; ++it) fingerprints.Erase(*it);
  }

  Container records;
  FingerprintIndex<Node> fingerprints;
  /// For each key that several records share, the number of those records minus one; summed over all keys.
  std::size_t sharedKeys = 0;
  const std::size_t maxDynamicRecords;
  std::size_t dynamicPlaces = 0;  ///< That the dynamic records take.
  std::vector<KelComPtr<IUnknown>> toRelease;
  /// Ids of all records with a timer, and some stale ids: of records whose timer has ended, or that are gone.
  std::vector<std::uint32_t> timers;
};

CtrlTable::CtrlTable(std::size_t maxDynamicRecords)
    : contents_(std::make_unique<Contents>(maxDynamicRecords)) {}

CtrlTable::~CtrlTable() = default;

CtrlTable::Access::Access(CtrlTable& table) : table_(table), contents_(*table.contents_) {
  table_.mutex_.Lock();
}

CtrlTable::Access::~Access() {
  std::vector<KelComPtr<IUnknown>> toRelease;
  toRelease.swap(contents_.toRelease);
  table_.mutex_.Unlock();
  if (!toRelease.empty()) platform::CheckNoLockHeld("releases a client's object");
}

std::size_t CtrlTable::Access::Size() const { return contents_.records.size(); }

CtrlTable::Record CtrlTable::Access::First() const {
  const auto& records = contents_.records.get<InOrder>();
  return records.empty() ? Record() : Contents::Named(records.front());
}

CtrlTable::Record CtrlTable::Access::After(Record record) const {
  const auto next = std::next(contents_.At(record));
  return next == contents_.records.get<InOrder>().end() ? Record() : Contents::Named(*next);
}

CtrlTable::Record CtrlTable::Access::Find(std::uint32_t lanSeekID) const {
  const auto& byId = contents_.records.get<ById>();
  const auto found = byId.find(lanSeekID);
  return found == byId.end() ? Record() : Contents::Named(*found);
}

CtrlTable::Record CtrlTable::Access::FindCtrl(const CtrlKeys& described) const {
  return described.ctrlType == RC ? FirstByAddress(described.ctrlAddress)
                                  : FirstBySystemID(described.systemID);
}

CtrlTable::Record CtrlTable::Access::FirstByAddress(const std::wstring& address) const {
  return contents_.Earliest<ByAddress>(address);
}

CtrlTable::Record CtrlTable::Access::FirstBySystemID(const std::wstring& systemID) const {
  return contents_.Earliest<BySystemID>(systemID);
}

CtrlTable::Records CtrlTable::Access::AllByAddress(const std::wstring& address) const {
  return contents_.All<ByAddress>(address);
}

CtrlTable::Records CtrlTable::Access::AllBySystemID(const std::wstring& systemID) const {
  return contents_.All<BySystemID>(systemID);
}

CtrlTable::Records CtrlTable::Access::AllByFoldedSystemID(std::wstring_view systemID) const {
  return contents_.All<ByFoldedSystemID>(systemID);
}

CtrlTable::Records CtrlTable::Access::Related(const CtrlKeys& described) const {
  Records found;
  if (contents_.sharedKeys == 0) {
    // If no two records share a key, a record with all three keys is the only related one.
    const Record known = FirstBySystemID(described.systemID);
    if (known && HasKeysOf(*known, described)) {
      found.push_back(known);
      return found;
    }
  }
  contents_.Append<BySystemID>(found, described.systemID);
  contents_.Append<ByMac>(found, described.macAddress);
  contents_.Append<ByAddress>(found, described.ctrlAddress);
  std::sort(found.begin(), found.end(), EarlierRecord);
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

CtrlTable::Repeated CtrlTable::Access::FindRepeated(std::uint64_t fingerprint) const {
  const Node* const found = contents_.fingerprints.Find(fingerprint);
  return found == nullptr ? Repeated() : Repeated{Contents::Named(*found), found->messageType};
}

void CtrlTable::Access::RememberMessage(Record record, std::uint64_t fingerprint, std::uint32_t messageType) {
  ForgetMessage(record);
  contents_.fingerprints.Insert(*record.node_, fingerprint);
  record.node_->messageType = messageType;
}

void CtrlTable::Access::ForgetMessage(Record record) { contents_.fingerprints.Erase(*record.node_); }

void CtrlTable::Access::NoteHeard(Record record, std::uint64_t when) {
  CtrlInfo& info = *record.info_;
  if (info.firstHeard == 0) info.firstHeard = when;
  info.lastHeard = when;
}

bool CtrlTable::Access::HasRoomForDynamic(const CtrlKeys& keys) const {
  return contents_.dynamicPlaces + PlacesOf(keys) <= contents_.maxDynamicRecords;
}

void CtrlTable::Access::SetIdentity(Record record, std::wstring systemID, std::wstring macAddress) {
  const std::size_t sharedBefore = contents_.KeysHeld(*record, 1);
  contents_.MakeRoomToHash(systemID, macAddress);
  contents_.MakeRoomToHash(record->systemID, record->macAddress);  // Nothing after this can fail.
  if (record->Dynamic()) contents_.dynamicPlaces += PlacesOf(systemID, macAddress) - PlacesOf(*record);
  contents_.records.get<InOrder>().modify(contents_.At(record), [&](Node& node) {
    node.info.systemID.swap(systemID);
    node.info.macAddress.swap(macAddress);
  });
  contents_.sharedKeys = contents_.sharedKeys - sharedBefore + contents_.KeysHeld(*record, 1);
  contents_.ForgetMessagesOfRelated(*record);
}

void CtrlTable::Access::MakeDynamic(Record record) {
  ForgetMessage(record);
  if (!record->Dynamic()) contents_.dynamicPlaces += PlacesOf(*record);
  record.info_->identificationType = DynamicCtrlDefinition;
}

CtrlTable::Record CtrlTable::Access::Add(CtrlInfo& record) {
  const std::size_t shared = contents_.KeysHeld(record, 0);
  record.address_ = record.ctrlAddress.empty() ? platform::kNoAddress
                                               : platform::ParseIpv4(std::wstring_view(record.ctrlAddress));
  if (contents_.timers.capacity() <= contents_.records.size())
    contents_.timers.reserve(2 * contents_.records.size() + 1);
  contents_.fingerprints.Reserve(contents_.records.size() + 1);
  Node node{.info = std::move(record), .link = {}};
  // The container allocates all memory before it moves a node, and moves none if the id is taken.
  // NOLINTNEXTLINE(bugprone-use-after-move): the record is assigned anew.
  const auto giveBack = [&] { record = std::move(node.info); };
  Record added;
  try {
    const auto [position, isNew] = contents_.records.get<InOrder>().push_back(std::move(node));
    if (isNew) added = Contents::Named(*position);
  } catch (...) {
    giveBack();
    throw;
  }
  if (!added) {
    giveBack();
    return {};
  }
  contents_.sharedKeys += shared;
  if (added->Dynamic()) contents_.dynamicPlaces += PlacesOf(*added);
  added.info_->hasTimerEntry_ = false;
  NoteTimer(*added.info_);
  return added;
}

CtrlTable::Removal CtrlTable::Access::PrepareRemoval(Record record) {
  if (record->vcInterface) contents_.toRelease.reserve(contents_.toRelease.size() + 1);
  // Looking up a text allocates memory on systems where locale comparison needs a key.
  return {record, contents_.KeysHeld(*record, 1)};
}

void CtrlTable::Access::Remove(const Removal& removal) {
  CtrlInfo& leaving = *removal.record.info_;
  if (leaving.vcInterface) contents_.toRelease.push_back(std::move(leaving.vcInterface));
  contents_.sharedKeys -= removal.sharedKeys;
  ForgetMessage(removal.record);
  if (leaving.Dynamic()) contents_.dynamicPlaces -= PlacesOf(leaving);
  contents_.records.get<InOrder>().erase(contents_.At(removal.record));
}

bool CtrlTable::Access::AnyTimer() const { return !contents_.timers.empty(); }

void CtrlTable::Access::NoteTimer(CtrlInfo& record) {
  if (record.hasTimerEntry_ || !record.schedule_.HasTimer()) return;
  std::vector<std::uint32_t>& timers = contents_.timers;
  if (timers.size() == timers.capacity()) {
    // The capacity covers one entry per record, so some entries are stale; a pass drops them.
    TimerPass pass(*this);
    while (pass.Next()) {
    }
  }
  if (timers.empty()) WakeTimers();
  timers.push_back(record.lanSeekID);
  record.hasTimerEntry_ = true;
}

CtrlTable::TimerPass::TimerPass(Access& table, std::uint32_t after) : table_(table) {
  std::vector<std::uint32_t>& timers = table_.contents_.timers;
  if (!std::is_sorted(timers.begin(), timers.end())) std::sort(timers.begin(), timers.end());
  const auto first = std::upper_bound(timers.begin(), timers.end(), after);
  kept_ = next_ = static_cast<std::size_t>(first - timers.begin());
}

CtrlTable::TimerPass::~TimerPass() {
  std::vector<std::uint32_t>& timers = table_.contents_.timers;
  timers.erase(timers.begin() + static_cast<std::ptrdiff_t>(kept_),
               timers.begin() + static_cast<std::ptrdiff_t>(next_));
}

CtrlTable::Record CtrlTable::TimerPass::Next() {
  std::vector<std::uint32_t>& timers = table_.contents_.timers;
  while (next_ < timers.size()) {
    const std::uint32_t lanSeekID = timers[next_++];
    const Record found = table_.Find(lanSeekID);
    if (!found) continue;
    const bool hasTimer = found->Schedule().HasTimer();
    found.info_->hasTimerEntry_ = hasTimer;
    if (!hasTimer) continue;
    timers[kept_++] = lanSeekID;
    return found;
  }
  return {};
}

}  // namespace kellanseek::controllers

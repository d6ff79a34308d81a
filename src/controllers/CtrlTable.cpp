#include "controllers/CtrlTable.h"

#include <algorithm>
#include <utility>

#include "platform/CodePage.h"

namespace kellanseek {
namespace {

bool HasKeysOf(const CtrlInfo& record, const CtrlInfo& pattern) {
  return platform::LocaleEqual(record.macAddress, pattern.macAddress) &&
         platform::LocaleEqual(record.ctrlAddress, pattern.ctrlAddress);
}

bool EarlierRecord(const CtrlTable::Iterator& left, const CtrlTable::Iterator& right) {
  return left->lanSeekID < right->lanSeekID;
}

}  // namespace

CtrlTable::Lock::Lock(CtrlTable& table) : table_(table) { table_.mutex_.Lock(); }

CtrlTable::Lock::~Lock() {
  std::vector<KelComPtr<IUnknown>> toRelease;
  toRelease.swap(table_.toRelease_);
  table_.mutex_.Unlock();
}

CtrlTable::CtrlTable(std::size_t maxDynamicRecords)
    : records_([] {
        namespace mi = boost::multi_index;
        const std::uint64_t seed = RandomSeed();
        const LocaleHash locale{seed};
        const FoldedHash folded{seed};
        constexpr std::size_t kBuckets = 0;  // as many as the container likes to begin with
        const mi::member<CtrlInfo, std::wstring, &CtrlInfo::ctrlAddress> address;
        const mi::member<CtrlInfo, std::wstring, &CtrlInfo::systemID> systemID;
        const mi::member<CtrlInfo, std::wstring, &CtrlInfo::macAddress> macAddress;
        return Records::ctor_args_list(boost::make_tuple(
            Records::nth_index<0>::type::ctor_args(), Records::nth_index<1>::type::ctor_args(),
            boost::make_tuple(kBuckets, address, locale, LocaleEquals()),
            boost::make_tuple(kBuckets, systemID, locale, LocaleEquals()),
            boost::make_tuple(kBuckets, systemID, folded, FoldedEquals()),
            boost::make_tuple(kBuckets, macAddress, locale, LocaleEquals())));
      }()),
      maxDynamicRecords_(maxDynamicRecords) {}

template <typename Index, typename Key>
CtrlTable::Iterator CtrlTable::First(const Key& key) {
  const auto [first, last] = records_.get<Index>().equal_range(key);
  if (first == last) return end();
  auto earliest = first;
  for (auto it = std::next(first); it != last; ++it) {
    if (it->lanSeekID < earliest->lanSeekID) earliest = it;
  }
  return records_.project<InOrder>(earliest);
}

template <typename Index, typename Key>
void CtrlTable::Append(Iterators& found, const Key& key) {
  const auto [first, last] = records_.get<Index>().equal_range(key);
  for (auto it = first; it != last; ++it) found.push_back(records_.project<InOrder>(it));
}

CtrlTable::Iterator CtrlTable::Find(std::uint32_t lanSeekID) {
  return records_.project<InOrder>(records_.get<ById>().find(lanSeekID));
}

CtrlTable::Iterator CtrlTable::FindCtrl(const CtrlInfo& pattern) {
  return pattern.ctrlType == RC ? FirstByAddress(pattern.ctrlAddress) : FirstBySystemID(pattern.systemID);
}

CtrlTable::Iterator CtrlTable::FirstByAddress(const std::wstring& address) {
  return First<ByAddress>(address);
}

CtrlTable::Iterator CtrlTable::FirstBySystemID(const std::wstring& systemID) {
  return First<BySystemID>(systemID);
}

CtrlTable::Iterators CtrlTable::AllByAddress(const std::wstring& address) {
  Iterators found;
  Append<ByAddress>(found, address);
  std::sort(found.begin(), found.end(), EarlierRecord);
  return found;
}

CtrlTable::Iterators CtrlTable::AllBySystemID(const std::wstring& systemID) {
  Iterators found;
  Append<BySystemID>(found, systemID);
  std::sort(found.begin(), found.end(), EarlierRecord);
  return found;
}

CtrlTable::Iterators CtrlTable::AllByFoldedSystemID(std::wstring_view systemID) {
  Iterators found;
  Append<ByFoldedSystemID>(found, systemID);
  std::sort(found.begin(), found.end(), EarlierRecord);
  return found;
}

CtrlTable::Iterators CtrlTable::Related(const CtrlInfo& pattern) {
  Iterators found;
  if (sharedKeys_ == 0) {
    // Where no two records share a key, one that has all three of the pattern's is the only one there can be.
    const Iterator known = First<BySystemID>(pattern.systemID);
    if (known != end() && HasKeysOf(*known, pattern)) {
      found.push_back(known);
      return found;
    }
  }
  Append<BySystemID>(found, pattern.systemID);
  Append<ByMac>(found, pattern.macAddress);
  Append<ByAddress>(found, pattern.ctrlAddress);
  std::sort(found.begin(), found.end(), EarlierRecord);
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

template <typename Index>
std::size_t CtrlTable::IsHeld(const std::wstring& key, std::size_t byMoreThan) {
  if (key.empty()) return 0;
  auto [first, last] = records_.get<Index>().equal_range(key);
  for (; byMoreThan > 0 && first != last; --byMoreThan) ++first;
  return first != last ? 1 : 0;
}

std::size_t CtrlTable::KeysHeld(const CtrlInfo& record, std::size_t byMoreThan) {
  return IsHeld<BySystemID>(record.systemID, byMoreThan) + IsHeld<ByMac>(record.macAddress, byMoreThan) +
         IsHeld<ByAddress>(record.ctrlAddress, byMoreThan);
}

void CtrlTable::SetIdentity(Iterator record, std::wstring systemID, std::wstring macAddress) {
  sharedKeys_ -= KeysHeld(*record, 1);
  records_.get<InOrder>().modify(record, [&](CtrlInfo& stored) {
    stored.systemID.swap(systemID);
    stored.macAddress.swap(macAddress);
  });
  sharedKeys_ += KeysHeld(*record, 1);
}

void CtrlTable::MakeDynamic(Iterator record) {
  if (!record->Dynamic()) ++dynamicRecords_;
  Edit(record).identificationType = DynamicCtrlDefinition;
}

CtrlTable::Iterator CtrlTable::AddCtrl(CtrlInfo& record) {
  const std::size_t shared = KeysHeld(record, 0);
  // The container takes all its memory before it moves the record.
  const auto [position, inserted] = records_.get<InOrder>().push_back(std::move(record));
  if (!inserted) return end();
  sharedKeys_ += shared;
  if (position->Dynamic()) ++dynamicRecords_;
  return position;
}

void CtrlTable::PrepareRemoval(Iterator record) {
  if (record->vcInterface) toRelease_.reserve(toRelease_.size() + 1);
}

CtrlTable::Iterator CtrlTable::Remove(Iterator record) {
  CtrlInfo& leaving = Edit(record);
  if (leaving.vcInterface) toRelease_.push_back(std::move(leaving.vcInterface));
  sharedKeys_ -= KeysHeld(leaving, 1);
  if (leaving.Dynamic()) --dynamicRecords_;
  return records_.get<InOrder>().erase(record);
}

}  // namespace kellanseek

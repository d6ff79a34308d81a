#include "controllers/CtrlTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;
using controllers::CtrlKeys;
using controllers::CtrlTable;

using Ids = std::vector<std::uint32_t>;

Ids IdsOf(const CtrlTable::Records& records) {
  Ids ids;
  for (const CtrlTable::Record& record : records) ids.push_back(record->lanSeekID);
  return ids;
}

std::wstring Folded(std::wstring text) {
  for (wchar_t& c : text) c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
  return text;
}

/// Random use of a table, and the same of a plain list that is searched from the front.
class RandomUse {
 public:
  explicit RandomUse(std::uint32_t seed) : random_(seed) {}

  void Step() {
    const CtrlTable::Record record =
        plain_.empty() ? CtrlTable::Record() : table_.Find(Any(plain_).lanSeekID);
    switch (record ? Upto(10) : 0) {
      case 0: Add({}); break;
      case 1: Add(*record); break;
      case 2: Remove(record); break;
      case 3: SetIdentity(record); break;
      case 4:
        table_.MakeDynamic(record);
        Plain(record).identificationType = DynamicCtrlDefinition;
        Forget(record->lanSeekID);
        break;
      case 5: table_.ChangeSchedule(record)->Arm(3, 1); break;
      case 6: table_.ChangeSchedule(record)->Idle(); break;
      case 7:
        table_.Change(record);
        Forget(record->lanSeekID);
        break;
      case 8: Remember(record); break;
      default: Pass(); break;
    }
    Compare();
  }

 private:
  std::size_t Upto(std::size_t end) { return random_() % end; }
  template <typename T>
  T Any(const std::vector<T>& pool) {
    return pool[Upto(pool.size())];
  }
  CtrlInfo& Plain(CtrlTable::Record record) {
    return *std::find_if(plain_.begin(), plain_.end(),
                         [&](const CtrlInfo& each) { return each.lanSeekID == record->lanSeekID; });
  }
  template <typename Predicate>
  Ids Where(Predicate predicate) const {
    Ids ids;
    for (const CtrlInfo& each : plain_)
      if (predicate(each)) ids.push_back(each.lanSeekID);
    return ids;
  }

  // Few keys, so that records come to share some and cease to.
  CtrlKeys AnyKeys() {
    const std::vector<std::wstring> systemIDs = {
        L"{7a1c-Z}", L"{7A1C-z}", L"{7A1C-z", L"\u00C4", L"\u00E4", L"[", L"{", std::wstring(62, L'{')};
    return {Upto(2) != 0 ? RC : VC, Any<std::wstring>({L"", L"10.0.0.1", L"10.0.0.2", L"path"}),
            Any(systemIDs), Any<std::wstring>({L"", L"aa", L"bb", L"cc"})};
  }
  /// A new record, or a copy of another with its schedule.
  void Add(CtrlInfo record) {
    if (Upto(2) != 0) static_cast<CtrlKeys&>(record) = AnyKeys();
    if (Upto(2) != 0) record.identificationType = DynamicCtrlDefinition;
    const bool taken = !plain_.empty() && Upto(8) == 0;
    record.lanSeekID = taken ? Any(plain_).lanSeekID : table_.IssueLanSeekID();
    if (!taken) plain_.push_back(record);
    const std::wstring systemID = record.systemID;
    EXPECT_EQ(static_cast<bool>(table_.Add(record)), !taken);
    EXPECT_EQ(record.systemID, taken ? systemID : L"") << "given back";
  }
  void Remove(CtrlTable::Record record) {
    std::erase_if(plain_, [&](const CtrlInfo& each) { return each.lanSeekID == record->lanSeekID; });
    Forget(record->lanSeekID);
    table_.Remove(record);
  }
  void Remember(CtrlTable::Record record) {
    const std::uint64_t fingerprint = 1 + Upto(kFingerprints);
    if (remembered_.count(fingerprint) != 0) return;
    Forget(record->lanSeekID);
    remembered_[fingerprint] = record->lanSeekID;
    table_.RememberMessage(record, fingerprint, record->lanSeekID + 1);
  }
  void Forget(std::uint32_t lanSeekID) {
    std::erase_if(remembered_, [&](const auto& each) { return each.second == lanSeekID; });
  }
  void SetIdentity(CtrlTable::Record record) {
    const CtrlKeys keys = AnyKeys();
    table_.SetIdentity(record, keys.systemID, keys.macAddress);
    Plain(record).systemID = keys.systemID;
    Plain(record).macAddress = keys.macAddress;
    const auto shares = [](const std::wstring& one, const std::wstring& other) {
      return !one.empty() && one == other;
    };
    for (const CtrlInfo& each : plain_) {
      if (shares(each.systemID, keys.systemID) || shares(each.macAddress, keys.macAddress) ||
          shares(each.ctrlAddress, record->ctrlAddress) || each.lanSeekID == record->lanSeekID)
        Forget(each.lanSeekID);
    }
  }
  void Pass() {
    const Ids expected =
        Where([&](const CtrlInfo& each) { return table_.Find(each.lanSeekID)->Schedule().HasTimer(); });
    Ids visited{0};
    while (Portion(visited)) {
    }
    visited.erase(visited.begin());
    EXPECT_EQ(visited, expected);
  }
  bool Portion(Ids& visited) {
    CtrlTable::TimerPass pass(table_, visited.back());
    for (std::size_t room = 1 + Upto(5); room > 0; --room) {
      const CtrlTable::Record due = pass.Next();
      if (!due) return false;
      visited.push_back(due->lanSeekID);
      const std::size_t fate = Upto(6);
      if (fate == 0) Remove(due);
      if (fate == 1) table_.ChangeSchedule(due)->Idle();
    }
    return true;
  }

  void Compare() {
    Ids all;
    table_.ForEach([&](CtrlTable::Record record) { all.push_back(record->lanSeekID); });
    EXPECT_EQ(all, Where([](const CtrlInfo&) { return true; }));
    EXPECT_EQ(table_.Size(), all.size());
    const auto id = static_cast<std::uint32_t>(Upto(table_.NextLanSeekID() + 2));
    EXPECT_EQ(static_cast<bool>(table_.Find(id)), std::count(all.begin(), all.end(), id) == 1);
    for (std::uint64_t fingerprint = 1; fingerprint <= kFingerprints; ++fingerprint) {
      const CtrlTable::Repeated found = table_.FindRepeated(fingerprint);
      const auto expected = remembered_.find(fingerprint);
      ASSERT_EQ(found.record ? found.record->lanSeekID : 0,
                expected == remembered_.end() ? 0 : expected->second);
      EXPECT_EQ(found.messageType, found.record ? found.record->lanSeekID + 1 : 0);
    }
    std::size_t places = 0;
    for (const CtrlInfo& each : plain_)
      if (each.Dynamic()) places += each.systemID.size() + each.macAddress.size() < 64 ? 1 : 2;
    EXPECT_EQ(table_.HasRoomForDynamic({}), places < kLimit);

    const CtrlKeys asked = plain_.empty() || Upto(2) != 0 ? AnyKeys() : Any(plain_);
    const auto hasAddress = [&](const CtrlKeys& each) { return each.ctrlAddress == asked.ctrlAddress; };
    const auto hasSystemID = [&](const CtrlKeys& each) { return each.systemID == asked.systemID; };
    EXPECT_EQ(IdsOf(table_.AllByAddress(asked.ctrlAddress)), Where(hasAddress));
    EXPECT_EQ(IdsOf(table_.AllBySystemID(asked.systemID)), Where(hasSystemID));
    EXPECT_EQ(IdsOf(table_.AllByFoldedSystemID(asked.systemID)),
              Where([&](const CtrlKeys& each) { return Folded(each.systemID) == Folded(asked.systemID); }));
    const Ids fitting = asked.ctrlType == RC ? Where(hasAddress) : Where(hasSystemID);
    const CtrlTable::Record found = table_.FindCtrl(asked);
    EXPECT_EQ(found ? found->lanSeekID : 0, fitting.empty() ? 0 : fitting.front());
    if (asked.ctrlAddress.empty() || asked.macAddress.empty()) return;
    EXPECT_EQ(IdsOf(table_.Related(asked)), Where([&](const CtrlKeys& each) {
                return hasAddress(each) || hasSystemID(each) || each.macAddress == asked.macAddress;
              }));
  }

  static constexpr std::size_t kLimit = 3;
  static constexpr std::size_t kFingerprints = 12;
  std::mt19937 random_;
  CtrlTable stored_{kLimit};
  CtrlTable::Access table_{stored_};
  std::vector<CtrlInfo> plain_;
  std::map<std::uint64_t, std::uint32_t> remembered_;  ///< The ids by fingerprint.
};

TEST(CtrlTableTest, MatchesAPlainListUnderRandomUse) {
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    RandomUse use(seed);
    for (int step = 0; step < 100; ++step) use.Step();
    ASSERT_FALSE(HasFailure()) << "seed " << seed;
  }
}

TEST(CtrlTableTest, TheObjectOfARemovedControllerIsReleasedAfterTheLock) {
  CtrlTable stored;
  bool released = false;
  KelComPtr<FakeSink> object = FakeSink::Make();
  object->OnDestroyed([&] {
    // Takes the table lock, as the owner's code may.
    const CtrlTable::Access table(stored);
    released = true;
  });
  {
    CtrlTable::Access table(stored);
    CtrlInfo record;
    record.vcInterface = KelComPtr<IUnknown>(object.Get());
    record.lanSeekID = table.IssueLanSeekID();
    const CtrlTable::Record added = table.Add(record);
    object.Reset();
    table.Remove(added);
    EXPECT_FALSE(released);
  }
  EXPECT_TRUE(released);
}

}  // namespace
}  // namespace kellanseek::test

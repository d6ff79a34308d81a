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
using controllers::CtrlTable;

using Ids = std::vector<std::uint32_t>;

std::uint32_t Add(CtrlTable::Access& table, CtrlInfo record) {
  record.lanSeekID = table.IssueLanSeekID();
  return table.Add(record)->lanSeekID;
}

CtrlInfo Record(const wchar_t* address, const wchar_t* systemID, const wchar_t* mac = L"") {
  CtrlInfo record;
  record.ctrlAddress = address;
  record.systemID = systemID;
  record.macAddress = mac;
  return record;
}

Ids IdsOf(const CtrlTable::Records& records) {
  Ids ids;
  for (const CtrlTable::Record& record : records) ids.push_back(record->lanSeekID);
  return ids;
}

Ids AllIds(const CtrlTable::Access& table) {
  Ids ids;
  table.ForEach([&](CtrlTable::Record record) { ids.push_back(record->lanSeekID); });
  return ids;
}

/// The id of a look-up's result; 0 if there is none.
std::uint32_t IdOf(CtrlTable::Record record) { return record ? record->lanSeekID : 0; }

TEST(CtrlTableTest, IdsAreNeverReused) {
  CtrlTable stored;
  EXPECT_EQ(stored.NextLanSeekID(), 11U);
  CtrlTable::Access table(stored);
  EXPECT_EQ(Add(table, Record(L"a", L"")), 11U);
  table.Remove(table.Find(11));
  EXPECT_EQ(Add(table, Record(L"a", L"")), 12U);
  EXPECT_EQ(table.IssueLanSeekID(), 13U) << "issued ids are used up even without a record";
  EXPECT_EQ(Add(table, Record(L"a", L"")), 14U);
  EXPECT_EQ(table.NextLanSeekID(), 15U);
  for (const std::uint32_t id : {0U, 10U, 11U, 13U, 15U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(table.Find(id)) << id;
  }
  CtrlInfo taken = Record(L"b", L"");
  taken.lanSeekID = 12;
  EXPECT_FALSE(table.Add(taken));
  EXPECT_EQ(AllIds(table), (Ids{12, 14}));
}

TEST(CtrlTableTest, FoldsOnlyTheLettersAToZ) {
  CtrlTable stored;
  CtrlTable::Access table(stored);
  for (const wchar_t* systemID : {L"{7a1c-Z}", L"{7A1C-z}", L"{7A1C-z", L"\u00C4", L"\u00E4", L"[", L""}) {
    Add(table, Record(L"", systemID));
  }
  struct Case {
    const wchar_t* systemID;
    Ids folded, exact;
  };
  for (const Case& c : {Case{L"{7A1C-Z}", {11, 12}, {}}, Case{L"{7a1c-Z}", {11, 12}, {11}},
                        Case{L"{7A1C-Z", {13}, {}}, Case{L"\u00C4", {14}, {14}}, Case{L"\u00E4", {15}, {15}},
                        Case{L"[", {16}, {16}}, Case{L"{", {}, {}}, Case{L"", {17}, {17}}}) {
    EXPECT_EQ(IdsOf(table.AllByFoldedSystemID(c.systemID)), c.folded);
    EXPECT_EQ(IdsOf(table.AllBySystemID(c.systemID)), c.exact);
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
    CtrlInfo record = Record(L"", L"{V}");
    record.vcInterface = KelComPtr<IUnknown>(object.Get());
    const std::uint32_t id = Add(table, record);
    record.vcInterface.Reset();
    object.Reset();
    table.Remove(table.Find(id));
    EXPECT_FALSE(released);
  }
  EXPECT_TRUE(released);
}

/// A table and a plain list that undergo the same changes and must return the same results.
class TableAndList {
 public:
  explicit TableAndList(std::uint32_t seed) : random_(seed) {}

  void Change() {
    CtrlTable::Access table(table_);
    const auto chosen = list_.empty() ? 0 : random_() % list_.size();
    const auto what = random_() % 12;
    if (list_.empty() || what < 5) {
      CtrlInfo record = Record(Text(), Text(), Text());
      record.lanSeekID = table.NextLanSeekID();
      Add(table, record);
      list_.push_back(record);
    } else if (what < 8) {
      table.Remove(table.Find(list_[chosen].lanSeekID));
      list_.erase(list_.begin() + static_cast<std::ptrdiff_t>(chosen));
    } else if (what < 10) {
      timers_[list_[chosen].lanSeekID] = random_() % 2 == 0;
      auto schedule = table.ChangeSchedule(table.Find(list_[chosen].lanSeekID));
      if (timers_[list_[chosen].lanSeekID]) {
        schedule->AwaitNextPoll(0);
      } else {
        schedule->Idle();
      }
    } else {
      list_[chosen].systemID = Text();
      list_[chosen].macAddress = Text();
      table.SetIdentity(table.Find(list_[chosen].lanSeekID), list_[chosen].systemID,
                        list_[chosen].macAddress);
    }
  }

  void Compare() {
    CtrlTable::Access table(table_);
    EXPECT_EQ(AllIds(table), Those([](const CtrlInfo&) { return true; }));
    EXPECT_EQ(table.Size(), list_.size());
    const CtrlInfo p = Record(Text(), Text(), Text());
    const Ids byAddress = Those([&](const CtrlInfo& r) { return r.ctrlAddress == p.ctrlAddress; });
    const Ids bySystemID = Those([&](const CtrlInfo& r) { return r.systemID == p.systemID; });
    EXPECT_EQ(IdsOf(table.AllByAddress(p.ctrlAddress)), byAddress);
    EXPECT_EQ(IdsOf(table.AllBySystemID(p.systemID)), bySystemID);
    EXPECT_EQ(IdOf(table.FirstByAddress(p.ctrlAddress)), byAddress.empty() ? 0 : byAddress.front());
    EXPECT_EQ(IdOf(table.FirstBySystemID(p.systemID)), bySystemID.empty() ? 0 : bySystemID.front());
    EXPECT_EQ(IdsOf(table.AllByFoldedSystemID(p.systemID)),
              Those([&](const CtrlInfo& r) { return Lower(r.systemID) == Lower(p.systemID); }));
    EXPECT_EQ(IdsOf(table.Related(p)), Those([&](const CtrlInfo& r) {
                return r.systemID == p.systemID || r.macAddress == p.macAddress ||
                       r.ctrlAddress == p.ctrlAddress;
              }));
    Ids timed;
    CtrlTable::TimerPass pass(table);
    while (const CtrlTable::Record record = pass.Next()) timed.push_back(record->lanSeekID);
    EXPECT_EQ(timed, Those([&](const CtrlInfo& r) { return timers_[r.lanSeekID]; }));
  }

 private:
  /// One of a few texts, so that many records share keys.
  const wchar_t* Text() {
    static constexpr const wchar_t* kTexts[] = {L"", L"a", L"A", L"b", L"ab", L"aB", L"10.0.0.1", L"{B}"};
    return kTexts[random_() % std::size(kTexts)];
  }
  static std::wstring Lower(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) {
      return c == L'A' ? L'a' : c == L'B' ? L'b' : c;
    });
    return text;
  }
  template <typename Wanted>
  Ids Those(Wanted wanted) const {
    Ids ids;
    for (const CtrlInfo& record : list_) {
      if (wanted(record)) ids.push_back(record.lanSeekID);
    }
    return ids;
  }

  std::mt19937 random_;
  CtrlTable table_;
  std::vector<CtrlInfo> list_;
  std::map<std::uint32_t, bool> timers_;
};

TEST(CtrlTableTest, MatchesAPlainListUnderRandomUse) {
  for (std::uint32_t seed = 1; seed <= 50 && !::testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TableAndList both(seed);
    for (int step = 0; step < 300; ++step) {
      both.Change();
      both.Compare();
    }
  }
}

}  // namespace
}  // namespace kellanseek::test

#include "controllers/CtrlTable.h"

#include <gtest/gtest.h>

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

CtrlInfo Record(const wchar_t* address, const wchar_t* systemID) {
  CtrlInfo record;
  record.ctrlAddress = address;
  record.systemID = systemID;
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
  EXPECT_EQ(table.Size(), 2U);
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

}  // namespace
}  // namespace kellanseek::test

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "component/KelEnum.h"

namespace kellanseek {
namespace {

using Ids = std::vector<ULONG>;
using List = KelComPtr<IKelEnumCtrlIdentity>;

class EnumeratorTest : public testing::Test {
 protected:
  List Make(const Ids& ids, KelComPtr<IUnknown> owner = {}) {
    std::vector<AvailableCtrlsListItem> items;
    for (const ULONG id : ids) items.push_back({id});
    auto list = component::CtrlEnum::Create(module);
    list->Init(std::move(items), component::CtrlEnum::Ownership::Taken, std::move(owner));
    return list.As<IKelEnumCtrlIdentity>();
  }
  /// Fetches the next items and returns them with the result.
  static std::pair<HRESULT, Ids> Next(const List& list, ULONG count) {
    std::vector<AvailableCtrlsListItem> items(count + 1, {0xDEAD});
    ULONG fetched = 99;
    const HRESULT result = list->RemNext(count, items.data(), &fetched);
    Ids ids;
    for (ULONG i = 0; i < fetched; ++i) ids.push_back(items[i].lanSeekID);
    EXPECT_EQ(items[fetched].lanSeekID, 0xDEADU) << "wrote past what it told";
    return {result, ids};
  }
  static std::pair<HRESULT, Ids> All(HRESULT result, const Ids& ids) { return {result, ids}; }

  component::ComponentModule module;
};

TEST_F(EnumeratorTest, ListsAndTheirClonesAreIndependentPositionsInTheItems) {
  std::mt19937 random(1);
  for (const Ids& ids : {Ids{}, Ids{11}, Ids{14, 11, 12, 13}}) {
    std::vector<std::pair<List, std::size_t>> lists = {{Make(ids), 0}};
    for (int step = 0; step < 500; ++step) {
      auto& [list, position] = lists[random() % lists.size()];
      const auto count = static_cast<ULONG>(random() % 6);
      const std::size_t left = ids.size() - position;
      const auto begin = ids.begin() + static_cast<std::ptrdiff_t>(position);
      const std::size_t taken = std::min<std::size_t>(count, left);
      const HRESULT result = count <= left ? S_OK : S_FALSE;
      switch (random() % 6) {
        case 0:
        case 1:
          EXPECT_EQ(Next(list, count), All(result, Ids(begin, begin + static_cast<std::ptrdiff_t>(taken))));
          position += taken;
          break;
        case 2:
          EXPECT_EQ(list->Skip(count), result);
          position += taken;
          break;
        case 3:
          EXPECT_EQ(list->Reset(), S_OK);
          position = 0;
          break;
        case 4:  // They change nothing.
          EXPECT_EQ(list->Sort(static_cast<INT>(count) - 1), S_OK);
          EXPECT_EQ(list->Filter(static_cast<INT>(count) - 1), S_OK);
          if (count % 2 == 0) {
            EXPECT_EQ(list->UnFilter(), S_OK);
          }
          break;
        default: {
          List clone;
          ASSERT_EQ(list->Clone(clone.Put()), S_OK);
          const std::size_t same = position;
          if (lists.size() < 4) lists.emplace_back(clone, same);
        }
      }
    }
    EXPECT_EQ(lists[0].first->Skip(0xFFFFFFFFU), S_FALSE);
    EXPECT_EQ(Next(lists[0].first, 1), All(S_FALSE, {}));
  }
}

TEST_F(EnumeratorTest, ChecksPointers) {
  const List list = Make({11, 12});
  AvailableCtrlsListItem item = {};
  ULONG fetched = 0;
  EXPECT_EQ(list->RemNext(1, nullptr, &fetched), E_POINTER);
  EXPECT_EQ(list->RemNext(2, &item, nullptr), E_POINTER);
  EXPECT_EQ(list->RemNext(0, &item, nullptr), E_POINTER);
  EXPECT_EQ(list->Clone(nullptr), E_POINTER);
  EXPECT_EQ(list->RemNext(1, &item, nullptr), S_OK);
  EXPECT_EQ(item.lanSeekID, 11U);
}

TEST_F(EnumeratorTest, RemNextFailsOnAListThatWasNeverFilled) {
  const List list = component::CtrlEnum::Create(module).As<IKelEnumCtrlIdentity>();
  AvailableCtrlsListItem item = {};
  EXPECT_EQ(list->RemNext(1, &item, nullptr), E_FAIL);
  EXPECT_EQ(list->Sort(0), S_OK);
  List clone;
  EXPECT_EQ(list->Clone(clone.Put()), S_OK);
  EXPECT_EQ(clone->RemNext(1, &item, nullptr), E_FAIL);
}

TEST_F(EnumeratorTest, AClonesOwnerStaysAliveAndACopysCloneKeepsItsSourceAlive) {
  KelComPtr<IUnknown> owner = Make({}).As<IUnknown>();
  IUnknown* const counted = owner.Get();
  const auto references = [](IUnknown* object) {
    object->AddRef();
    return object->Release();
  };
  List list = Make({11}, owner);
  EXPECT_EQ(references(counted), 2U);
  List clone;
  ASSERT_EQ(list->Clone(clone.Put()), S_OK);
  EXPECT_EQ(references(counted), 3U)
      << "the clone of a list that was handed its items takes that list's owner";
  EXPECT_EQ(references(list.Get()), 1U);
  List second;
  ASSERT_EQ(clone->Clone(second.Put()), S_OK);
  EXPECT_EQ(references(counted), 3U);
  EXPECT_EQ(references(clone.Get()), 2U) << "the clone of a copy keeps that copy";
}

TEST_F(EnumeratorTest, EachInterfaceReturnsTheOthers) {
  const List list = Make({11, 12});
  const auto internal = list.As<IKelEnumInternal>();
  ASSERT_TRUE(internal);
  EXPECT_EQ(internal.As<IKelEnumCtrlIdentity>(), list);
  EXPECT_EQ(internal.As<IUnknown>(), list.As<IUnknown>());
  void* found = this;
  EXPECT_EQ(list->QueryInterface(IID_IKelLanSeek, &found), E_NOINTERFACE);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(list->QueryInterface(IID_IUnknown, nullptr), E_POINTER);

  ULONG count = 0;
  const AvailableCtrlsListItem* items = nullptr;
  list->Skip(1);
  EXPECT_EQ(internal->GetItems(&count, &items), S_OK);
  EXPECT_EQ(count, 2U);
  EXPECT_EQ(items[0].lanSeekID, 11U);
  EXPECT_EQ(items[1].lanSeekID, 12U);
  EXPECT_EQ(internal->GetItems(nullptr, nullptr), S_OK);
}

}  // namespace
}  // namespace kellanseek

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"

namespace kellanseek::test {
namespace {

using Ids = std::vector<ULONG>;

class ListsTest : public testing::Test, protected ComponentHarness {
 protected:
  ListsTest() { Create(); }

  void RegisterVC(const std::wstring& systemID) { EXPECT_EQ(Register(systemID, FakeVC::Make().Get()), S_OK); }
  void Publish(const std::string& systemID) { EXPECT_EQ(Forward(1, "1:n;4:" + systemID + ";"), S_OK); }
};

TEST_F(ListsTest, ListsPublishedControllersAboveTheMark) {
  ULONG mark = 5;
  EXPECT_EQ(List(mark), Ids());
  EXPECT_EQ(mark, 5U);
  for (const wchar_t* id : {L"a", L"b", L"c", L"d"}) RegisterVC(id);
  for (const char* id : {"a", "b", "d"}) Publish(id);
  EXPECT_EQ(List(), (Ids{11, 12, 14}));
  mark = 12;
  EXPECT_EQ(List(mark), Ids{14});
  EXPECT_EQ(mark, 14U);
  EXPECT_EQ(List(mark), Ids());
  EXPECT_EQ(mark, 14U);
  Publish("c");
  EXPECT_EQ(List(mark), Ids()) << "its number is below the mark";
  EXPECT_EQ(List(), (Ids{11, 12, 13, 14}));
}

TEST_F(ListsTest, UnpublishedVirtualControllersHaveTheirOwnList) {
  AddRemote(L"10.0.0.5");
  RegisterVC(L"a");
  RegisterVC(L"b");
  Publish("b");
  ULONG mark = 0;
  EXPECT_EQ(List(mark, true), Ids{12});
  EXPECT_EQ(mark, 12U);
  EXPECT_EQ(List(), Ids{13});
  EXPECT_EQ(virtualControllers->PreUnRegister(KelBstr(L"b").Get()), S_OK);
  EXPECT_EQ(List(mark, true), Ids{13});
  EXPECT_EQ(List(), Ids());
}

TEST_F(ListsTest, ChecksArguments) {
  using Method = HRESULT (STDMETHODCALLTYPE IKelLanSeek2::*)(KelRetrievalParams*, IKelEnumCtrlIdentity**);
  const std::map<std::string, Method> methods = {
      {"GetCtrlList", &IKelLanSeek2::GetCtrlList},
      {"GetUnpublishedVCList", &IKelLanSeek2::GetUnpublishedVCList}};
  for (const auto& [name, method] : methods) {
    const auto call = [&, method = method](KelRetrievalParams* parameters, IKelEnumCtrlIdentity** list) {
      return (seek.Get()->*method)(parameters, list);
    };
    KelRetrievalParams parameters = {3, {}, -2, 0};
    IKelEnumCtrlIdentity* list = reinterpret_cast<IKelEnumCtrlIdentity*>(this);
    EXPECT_EQ(call(&parameters, nullptr), E_POINTER);
    EXPECT_EQ(ErrorMessageOf(name), L"");
    EXPECT_EQ(call(nullptr, &list), E_POINTER);
    EXPECT_EQ(ErrorMessageOf(name), L"");
    EXPECT_EQ(list, nullptr);
    for (const LONG wrong : {0, 10, -1}) {
      parameters.noOfElts = wrong;
      list = reinterpret_cast<IKelEnumCtrlIdentity*>(this);
      EXPECT_EQ(call(&parameters, &list), E_INVALIDARG);
      EXPECT_EQ(ErrorMessageOf(name), L"Only RetrieveAll supported");
      EXPECT_EQ(list, nullptr);
      EXPECT_EQ(parameters.noOfElts, wrong);
      EXPECT_EQ(parameters.mark, 3U);
    }
  }
}

TEST_F(ListsTest, AListIsASnapshotThatOutlivesTheObject) {
  RegisterVC(L"a");
  RegisterVC(L"b");
  Publish("a");
  Publish("b");
  KelRetrievalParams parameters = {0, {{1, 2, 3, 4}}, -2, 0};
  KelComPtr<IKelEnumCtrlIdentity> list;
  ASSERT_EQ(seek->GetCtrlList(&parameters, list.Put()), S_OK);
  EXPECT_EQ(Ids(parameters.cursor.cursor, parameters.cursor.cursor + 4), (Ids{1, 2, 3, 4}))
      << "the cursor is carried untouched";
  virtualControllers->UnRegister(KelBstr(L"a").Get());
  ReleaseAll();
  AvailableCtrlsListItem items[4] = {};
  ULONG fetched = 0;
  EXPECT_EQ(list->RemNext(4, items, &fetched), S_FALSE);
  EXPECT_EQ(fetched, 2U);
  EXPECT_EQ(items[0].lanSeekID, 11U);
  EXPECT_EQ(items[1].lanSeekID, 12U);
  list.Reset();
  EXPECT_FALSE(module.InUse());
}

}  // namespace
}  // namespace kellanseek::test

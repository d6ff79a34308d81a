#include "component/Registration.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/FakeRegistryStore.h"

namespace kellanseek {
namespace {

using component::RegistrationScope;

using test::FakeRegistryStore;

const std::wstring kClassID = L"{2B474DCE-7759-49B8-B088-5A5DE5943E2F}";
const std::wstring kClass = L"HKEY_CLASSES_ROOT\\CLSID\\" + kClassID;
const std::wstring kVersioned = L"HKEY_CLASSES_ROOT\\KelLanSeek.KelLanSeek.1";
const std::wstring kUnversioned = L"HKEY_CLASSES_ROOT\\KelLanSeek.KelLanSeek";

class RegistrationTest : public testing::Test {
 protected:
  RegistrationTest() { store.values = kForeign; }

  HRESULT Register() {
    return component::RegisterComponent(store, scope, L"/opt/lib/libKelLanSeek.so.1", why);
  }
  HRESULT Unregister() { return component::UnregisterComponent(store, scope, why); }

  const std::map<FakeRegistryStore::Name, std::wstring> kForeign = {
      {{L"HKEY_CLASSES_ROOT\\CLSID\\{00000000-0000-0000-0000-000000000001}", L""}, L"another class"},
      {{L"HKEY_CLASSES_ROOT\\KelLanSeek.KelLanSeek.12", L""}, L"another program"},
      {{L"HKEY_LOCAL_MACHINE\\Software\\Tarnwell\\Velmora\\KelAPI", L"ConfigDir"}, L"/etc/kel"}};

  RegistrationScope scope = RegistrationScope::Machine;
  FakeRegistryStore store;
  std::wstring why;
};

TEST_F(RegistrationTest, WritesExactlyTheClassKeys) {
  ASSERT_EQ(Register(), S_OK);
  auto expected = kForeign;
  expected.insert({{{kVersioned, L""}, L"KelLanSeek Class"},
                   {{kVersioned + L"\\CLSID", L""}, kClassID},
                   {{kUnversioned, L""}, L"KelLanSeek Class"},
                   {{kUnversioned + L"\\CLSID", L""}, kClassID},
                   {{kUnversioned + L"\\CurVer", L""}, L"KelLanSeek.KelLanSeek.1"},
                   {{kClass, L""}, L"KelLanSeek Class"},
                   {{kClass + L"\\ProgID", L""}, L"KelLanSeek.KelLanSeek.1"},
                   {{kClass + L"\\VersionIndependentProgID", L""}, L"KelLanSeek.KelLanSeek"},
                   {{kClass + L"\\InprocServer32", L""}, L"/opt/lib/libKelLanSeek.so.1"},
                   {{kClass + L"\\InprocServer32", L"ThreadingModel"}, L"Free"},
                   {{kClass + L"\\TypeLib", L""}, L"{959E8B02-6B52-4115-A248-49DB1654166E}"}});
  EXPECT_EQ(store.values, expected);
  EXPECT_EQ(why, L"");
}

TEST_F(RegistrationTest, RegisteringAgainRecreatesTheClassAndUnregisteringRemovesOnlyIt) {
  ASSERT_EQ(Register(), S_OK);
  const auto once = store.values;
  store.values[{kClass + L"\\Stray", L""}] = L"left from an older version";
  ASSERT_EQ(Register(), S_OK);
  EXPECT_EQ(store.values, once);
  EXPECT_EQ(store.removed, (std::vector<std::wstring>{kClass, kClass}));
  for (const char* const time : {"once", "again"}) {
    EXPECT_EQ(Unregister(), S_OK) << time;
    EXPECT_EQ(store.values, kForeign) << time;
    EXPECT_EQ(store.removed.back(), L"(the store)") << time;
  }
}

TEST_F(RegistrationTest, PerUserRegistrationUsesTheUsersKeys) {
  ASSERT_EQ(Register(), S_OK);
  const auto forAll = store.values;
  store.values = kForeign;
  scope = RegistrationScope::User;
  ASSERT_EQ(Register(), S_OK);
  std::map<FakeRegistryStore::Name, std::wstring> moved = kForeign;
  const std::wstring root = L"HKEY_CLASSES_ROOT\\";
  for (const auto& [name, value] : forAll) {
    if (kForeign.contains(name)) continue;
    moved[{L"HKEY_CURRENT_USER\\Software\\Classes\\" + name.first.substr(root.size()), name.second}] = value;
  }
  EXPECT_EQ(store.values, moved);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_EQ(store.values, kForeign);
}

TEST_F(RegistrationTest, ReportsWhatCouldNotBeWrittenOrRemoved) {
  ASSERT_EQ(Register(), S_OK);
  const auto registered = store.values;
  store.readOnly = true;
  EXPECT_EQ(Register(), E_ACCESSDENIED);
  EXPECT_EQ(why, L"Could not write " + kClass + L"\\InprocServer32: the store is read-only");
  EXPECT_EQ(Unregister(), E_ACCESSDENIED);
  EXPECT_EQ(why, L"Could not remove " + kClass + L": the store is read-only");
  EXPECT_EQ(store.values, registered);

  store.readOnly = false;
  store.refused = L"/a path\nthat cannot be kept";
  EXPECT_EQ(component::RegisterComponent(store, scope, store.refused, why), E_INVALIDARG);
  EXPECT_EQ(store.values, registered) << "the existing registration stays intact";
}

TEST_F(RegistrationTest, ProgIdsStayWhileTheOtherWordSizeIsRegistered) {
  ASSERT_EQ(Register(), S_OK);
  store.otherSize = {kClass};
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_TRUE(store.values.contains({L"HKEY_CLASSES_ROOT\\KelLanSeek.KelLanSeek\\CLSID", L""}));
  EXPECT_FALSE(store.values.contains({kClass, L""}));
  store.otherSize.clear();
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_EQ(store.values, kForeign);
}

}  // namespace
}  // namespace kellanseek

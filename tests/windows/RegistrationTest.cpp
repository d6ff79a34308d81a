#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "ComponentModule.h"
#include "tests/support/Wine.h"

namespace {

using kellanseek::test::UnderWine;
using namespace std::string_literals;

const std::wstring kClass = L"CLSID\\{2B474DCE-7759-49B8-B088-5A5DE5943E2F}";
const std::wstring kTypeLibrary = L"TypeLib\\{959E8B02-6B52-4115-A248-49DB1654166E}\\1.0";

std::optional<std::wstring> Value(HKEY root, const std::wstring& key, const wchar_t* name = L"") {
  std::array<wchar_t, 1024> text = {};
  DWORD bytes = sizeof text;
  const LSTATUS status = RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
  if (status != ERROR_SUCCESS) return std::nullopt;
  return text.data();
}

std::optional<std::wstring> ClassesValue(const std::wstring& key, const wchar_t* name = L"") {
  return Value(HKEY_CLASSES_ROOT, key, name);
}

class Registration : public testing::Test {
 protected:
  void TearDown() override { module_.Unregister(); }

  static HRESULT Create(const CLSID& clsid, const IID& iid) {
    KelComPtr<IUnknown> object;
    return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, object.PutVoid());
  }

  ComponentModule module_;
};

// The keys themselves are compared where they are written, on a store in memory.
TEST_F(Registration, TheSystemKeepsTheKeysUntilTheyAreRemoved) {
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(module_.Register(), S_OK);
    EXPECT_EQ(ClassesValue(L"KelLanSeek.KelLanSeek\\CurVer"), L"KelLanSeek.KelLanSeek.1");
    EXPECT_EQ(ClassesValue(kClass + L"\\InprocServer32"), module_.Path());
    EXPECT_EQ(ClassesValue(kClass + L"\\InprocServer32", L"ThreadingModel"), L"Free");
    EXPECT_EQ(ClassesValue(kTypeLibrary), L"KelLanSeek 1.0 Type Library");
    EXPECT_EQ(ClassesValue(kClass + L"\\Stray"), std::nullopt) << "the class key is made anew";
    RegSetKeyValueW(HKEY_CLASSES_ROOT, (kClass + L"\\Stray").c_str(), nullptr, REG_SZ, L"x", sizeof L"x");
  }
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(module_.Unregister(), S_OK);
    for (const std::wstring& key :
         {L"KelLanSeek.KelLanSeek.1"s, L"KelLanSeek.KelLanSeek"s, kClass, kTypeLibrary})
      EXPECT_EQ(ClassesValue(key), std::nullopt);
  }
}

TEST_F(Registration, ClassIsCreatedByIdentifierAndByProgId) {
  ASSERT_EQ(module_.Register(), S_OK);
  EXPECT_EQ(Create(CLSID_KelLanSeek, IID_IKelLanSeek), S_OK);
  for (const wchar_t* progId : {L"KelLanSeek.KelLanSeek", L"KelLanSeek.KelLanSeek.1"}) {
    CLSID clsid = {};
    ASSERT_EQ(CLSIDFromProgID(progId, &clsid), S_OK);
    EXPECT_EQ(Create(clsid, IID_IKelCtrlIdentity3), S_OK);
  }
}

TEST_F(Registration, ProgIdsStayWhileTheOtherWordSizeIsRegistered) {
  const std::wstring key = L"Software\\Classes\\" + kClass;
  constexpr REGSAM kOtherView = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
  HKEY other = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE | kOtherView, nullptr,
                            &other, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(other);
  // A 32-bit system has only one set of classes.
  HKEY own = nullptr;
  const bool apart = RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &own) != ERROR_SUCCESS;
  if (!apart) RegCloseKey(own);
  ASSERT_EQ(module_.Register(), S_OK);
  EXPECT_EQ(module_.Unregister(), S_OK);
  EXPECT_EQ(ClassesValue(L"KelLanSeek.KelLanSeek"),
            apart ? std::optional(L"KelLanSeek Class"s) : std::nullopt)
      << "where each size has classes of its own";
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), kOtherView, 0);
  EXPECT_EQ(module_.Unregister(), S_OK);
  EXPECT_EQ(ClassesValue(L"KelLanSeek.KelLanSeek"), std::nullopt);
}

TEST_F(Registration, TheTypeLibraryStaysWhileTheOtherWordSizeIsRegistered) {
  const std::wstring classes = L"Software\\Classes\\";
  const std::wstring otherFile =
      classes + kTypeLibrary + (sizeof(void*) == 8 ? L"\\0\\win32" : L"\\0\\win64");
  const std::wstring ownFile = kTypeLibrary + (sizeof(void*) == 8 ? L"\\0\\win64" : L"\\0\\win32");
  const std::wstring interfaceKey = L"Interface\\{E4BD1362-2395-447F-911F-0AC363E1E047}";
  ASSERT_EQ(module_.Register(), S_OK);
  ASSERT_NE(ClassesValue(interfaceKey), std::nullopt);
  HKEY other = nullptr;
  constexpr REGSAM kOtherView = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, (classes + interfaceKey).c_str(), 0, nullptr, 0,
                            KEY_ALL_ACCESS | kOtherView, nullptr, &other, nullptr),
            ERROR_SUCCESS);
  ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, otherFile.c_str(), nullptr, REG_SZ, L"other.dll",
                            sizeof L"other.dll"),
            ERROR_SUCCESS);

  EXPECT_EQ(module_.Unregister(), S_OK);
  EXPECT_EQ(ClassesValue(ownFile), std::nullopt);
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, otherFile), L"other.dll");
  EXPECT_EQ(RegQueryInfoKeyW(other, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr),
            ERROR_SUCCESS)
      << "the other size's interface is there";

  RegCloseKey(other);
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, (classes + interfaceKey).c_str(), kOtherView, 0);
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, (classes + kTypeLibrary.substr(0, kTypeLibrary.rfind(L'\\'))).c_str());
}

/// Registers for the calling user alone.
class UserRegistration : public Registration {
 protected:
  UserRegistration() { SetEnvironmentVariableW(L"KELLANSEEK_REGISTER", L"user"); }
  ~UserRegistration() override { SetEnvironmentVariableW(L"KELLANSEEK_REGISTER", nullptr); }

  static std::optional<std::wstring> Of(HKEY root, const std::wstring& key) {
    return Value(root, L"Software\\Classes\\" + key);
  }
};

TEST_F(UserRegistration, UsesOnlyTheUsersKeysAndRemovesThem) {
  std::vector<std::wstring> keys = {L"KelLanSeek.KelLanSeek", L"KelLanSeek.KelLanSeek.1\\CLSID",
                                    kClass + L"\\InprocServer32"};
  // Wine registers a type library for all users, and looks up classes only among the machine's.
  if (!UnderWine()) keys.push_back(kTypeLibrary);
  for (int time = 0; time < 2; ++time) {
    ASSERT_EQ(module_.Register(), S_OK);
    for (const std::wstring& key : keys) {
      EXPECT_NE(Of(HKEY_CURRENT_USER, key), std::nullopt) << std::string(key.begin(), key.end());
      EXPECT_EQ(Of(HKEY_LOCAL_MACHINE, key), std::nullopt) << std::string(key.begin(), key.end());
    }
    EXPECT_EQ(Of(HKEY_CURRENT_USER, kClass + L"\\InprocServer32"), module_.Path());
  }
  EXPECT_EQ(ClassesValue(kTypeLibrary), L"KelLanSeek 1.0 Type Library");
  EXPECT_EQ(Create(CLSID_KelLanSeek, IID_IKelLanSeek), UnderWine() ? REGDB_E_CLASSNOTREG : S_OK);
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(module_.Unregister(), S_OK);
    EXPECT_EQ(ClassesValue(kTypeLibrary), std::nullopt);
    for (const std::wstring& key : keys) EXPECT_EQ(Of(HKEY_CURRENT_USER, key), std::nullopt);
  }
}

}  // namespace

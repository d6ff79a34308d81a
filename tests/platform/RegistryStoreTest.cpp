#include "platform/RegistryStore.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/include/ScratchRegistry.h"
#include "tests/platform/OrdinaryUser.h"

namespace kellanseek::test {
namespace {

const std::wstring kKey = L"HKEY_CLASSES_ROOT\\KelLanSeek.KelLanSeek\\CLSID";

TEST(RegistryStoreTest, AUserWithoutWritePermissionGetsTheirOwnStore) {
  const ScratchRegistry scratch;
  ASSERT_EQ(::chmod(scratch.Directory().c_str(), 0777), 0);
  ScratchRegistry::SetEnvironment("KELLANSEEK_REGISTRY", nullptr);
  ScratchRegistry::SetEnvironment("HOME", scratch.Directory().c_str());
  platform::RegistryStore& store = platform::SystemRegistryStore();
  const std::string own = scratch.Directory() + "/.config/kellanseek/registry";
  const OrdinaryUser user;
  EXPECT_EQ(store.FileOfChanges(), std::wstring(own.begin(), own.end()));
  ASSERT_EQ(store.Write(kKey, L"", L"mine"), S_OK);
  EXPECT_TRUE(std::filesystem::exists(own));
  std::wstring value;
  EXPECT_EQ(store.Read(kKey, L"", 10, value), S_OK);
  EXPECT_EQ(value, L"mine");
  EXPECT_EQ(store.TakeBack(kKey), S_OK);
  EXPECT_EQ(store.DropNeedlessStore(), S_OK);
  EXPECT_FALSE(std::filesystem::exists(own));
  EXPECT_EQ(store.TakeBack(kKey), S_FALSE);
}

}  // namespace
}  // namespace kellanseek::test

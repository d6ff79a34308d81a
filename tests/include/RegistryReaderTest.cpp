#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>

#include <kellanseek/com.h>

#include "ScratchRegistry.h"

namespace {

using kellanseek::com::FindRegistryValue;
using kellanseek::com::kMaxRegistryBytes;
using kellanseek::com::ReadRegistryStore;
using kellanseek::com::RegistryStorePath;
using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(RegistryReaderTest, FindsTheEffectiveValue) {
  struct Case {
    const char* what;
    std::string_view store;
    std::string_view key;
    std::string_view name;
    std::optional<std::string_view> value;
  };
  const Case cases[] = {
      {"plain", "[A\\B]\nConfigDir=/etc/plant\n", "A\\B", "ConfigDir", "/etc/plant"},
      {"no line end", "[A\\B]\nConfigDir=/etc/plant", "A\\B", "ConfigDir", "/etc/plant"},
      {"default value", "[A]\n@=text\n", "A", "", "text"},
      {"other case", "[software\\TARNWELL]\nCONFIGdir=x\n", "Software\\Tarnwell", "ConfigDir", "x"},
      {"only A to Z fold", "[\xC3\x84]\n@=x\n", "\xC3\xA4", "", std::nullopt},
      {"verbatim value", "[A]\nn= a=b ; c \t\n", "A", "n", " a=b ; c \t"},
      {"empty value", "[A]\nn=\n", "A", "n", ""},
      {"line ends of Windows", "[A]\r\nn=x\r\n", "A", "n", "x"},
      {"only the last return goes", "[A]\nn=x\r\r\n", "A", "n", "x\r"},
      {"blanks around name and section", " \t[A] \n\t n =x\n", "A", "n", "x"},
      {"byte order mark", "\xEF\xBB\xBF[A]\nn=x\n", "A", "n", "x"},
      {"comments", "#[A]\n[A]\n# n=1\n;n=2\nn=3\n", "A", "n", "3"},
      {"the last one counts", "[A]\nn=1\n[B]\nn=2\n[a]\nN=3\n[B]\nn=4\n", "A", "n", "3"},
      {"longer key", "[A\\B\\C]\nn=1\n", "A\\B", "n", std::nullopt},
      {"shorter key", "[A]\nn=1\n", "A\\B", "n", std::nullopt},
      {"longer name", "[A]\nnn=1\n", "A", "n", std::nullopt},
      {"before any section", "n=1\n[A]\n", "A", "n", std::nullopt},
      {"name alone", "[A]\nn\n", "A", "n", std::nullopt},
      {"value without a name", "[A]\n=1\n", "A", "", std::nullopt},
      {"section without end", "[Ax\nn=1\n", "A", "n", std::nullopt},
      {"section without end ends the one before", "[A]\n[\nn=1\n", "A", "n", std::nullopt},
      {"brackets in a key", "[A[1]]\nn=1\n", "A[1]", "n", "1"},
      {"empty section name", "[]\nn=1\n", "", "n", "1"},
      {"zero bytes are bytes", "[A\0]\nn=1\n[A]\nn\0=2\nn=3\0\n"sv, "A", "n", "3\0"sv},
      {"empty store", "", "A", "n", std::nullopt},
      {"half a byte order mark", "\xEF\xBB", "A", "n", std::nullopt},
  };
  for (const Case& c : cases) EXPECT_EQ(FindRegistryValue(c.store, c.key, c.name), c.value) << c.what;
}

TEST(RegistryReaderTest, ReadsOnlyRegularFilesOfLimitedSize) {
  const ScratchRegistry scratch;
  const std::string path = scratch.Path();
  EXPECT_FALSE(ReadRegistryStore(path)) << "missing";
  EXPECT_FALSE(ReadRegistryStore(scratch.Directory())) << "directory";

  scratch.Write("");
  EXPECT_EQ(ReadRegistryStore(path), "");
  const std::string full(kMaxRegistryBytes, ' ');
  scratch.Write(full);
  EXPECT_EQ(ReadRegistryStore(path), full);
  scratch.Write(full + " ");
  EXPECT_FALSE(ReadRegistryStore(path)) << "too large";

  const std::string pipe = scratch.Directory() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_FALSE(ReadRegistryStore(pipe)) << "pipe that nobody writes to";
}

TEST(RegistryReaderTest, StorePathIsThatOfTheEnvironmentThenTheUserThenTheMachine) {
  const ScratchRegistry scratch;
  EXPECT_EQ(RegistryStorePath(), scratch.Path());

  ScratchRegistry::SetEnvironment("KELLANSEEK_REGISTRY", "");
  ScratchRegistry::SetEnvironment("HOME", scratch.Directory().c_str());
  EXPECT_EQ(RegistryStorePath(), "/etc/kellanseek/registry");
  scratch.MakeHomeStore();
  EXPECT_EQ(RegistryStorePath(), scratch.Directory() + "/.config/kellanseek/registry");
  ScratchRegistry::SetEnvironment("HOME", nullptr);
  EXPECT_EQ(RegistryStorePath(), "/etc/kellanseek/registry");
}

}  // namespace

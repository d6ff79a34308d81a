#include "platform/linux/RegistryFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/RegistryStore.h"
#include "tests/include/ScratchRegistry.h"
#include "tests/platform/OrdinaryUser.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {
namespace {

using platform::RegistryFile;
using namespace std::string_literals;

constexpr std::size_t kRoom = 1000;
const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\Software\\Tarnwell\\Velmora\\KelAPI";

class RegistryFileTest : public ::testing::Test {
 protected:
  std::wstring Value(const std::wstring& key, const std::wstring& name) {
    std::wstring value = L"(untouched)";
    const HRESULT result = store.Read(key, name, kRoom, value);
    return result == S_OK ? value : result == S_FALSE ? L"(none)" : L"(failed)";
  }

  std::set<std::string> FileNames() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(scratch.Path()))
      names.insert(entry.path().filename().string());
    return names;
  }
  /// Writes while no file may grow beyond four bytes.
  HRESULT WriteWithoutRoom() {
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit tiny{4, usual.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &tiny);
    const HRESULT result = store.Write(L"A\\B", L"n", L"2");
    setrlimit(RLIMIT_FSIZE, &usual);
    signal(SIGXFSZ, handler);
    return result;
  }

  ScratchDirectory scratch;
  RegistryFile store{scratch.File("registry")};
};

TEST_F(RegistryFileTest, KeepsUnrelatedLines) {
  struct Case {
    const char* what;
    std::string before;
    std::string after;  ///< After n=new is written to the key A\B.
  };
  const Case cases[] = {
      {"empty store", "", "[A\\B]\nn=new\n"},
      {"new key", "# mine\n[C]\nx=1\n", "# mine\n[C]\nx=1\n\n[A\\B]\nn=new\n"},
      {"new value", "[A\\B]\nx=1\n\n[C]\nx=1\n", "[A\\B]\nx=1\nn=new\n\n[C]\nx=1\n"},
      {"changed value", "[a\\b]\n; why\n N = old\nx=1\n", "[a\\b]\n; why\n N =new\nx=1\n"},
      {"the value that counts", "[A\\B]\nn=1\n[C]\nn=2\n[A\\B]\nn=3\n",
       "[A\\B]\nn=1\n[C]\nn=2\n[A\\B]\nn=new\n"},
      {"last line without an end", "[A\\B]\nx=1", "[A\\B]\nx=1\nn=new\n"},
      {"changed last line without an end", "[A\\B]\nn=1", "[A\\B]\nn=new"},
      {"line ends of Windows", "[A\\B]\r\nn=1\r\nx=1\r\n", "[A\\B]\r\nn=new\r\nx=1\r\n"},
      {"byte order mark", "\xEF\xBB\xBF[A\\B]\nn=1\n", "\xEF\xBB\xBF[A\\B]\nn=new\n"},
      {"bytes that are no text", "\xFF\xFE=\x01\n[A\\B]\nn=1\n", "\xFF\xFE=\x01\n[A\\B]\nn=new\n"},
      {"broken section", "[A\\B\nn=1\n", "[A\\B\nn=1\n\n[A\\B]\nn=new\n"},
      {"values in comments", "[A\\B]\n#n=1\n;n=2\n", "[A\\B]\n#n=1\n;n=2\nn=new\n"},
  };
  for (const Case& c : cases) {
    scratch.Write("registry", c.before);
    EXPECT_EQ(store.Write(L"A\\B", L"n", L"new"), S_OK) << c.what;
    EXPECT_EQ(scratch.Read("registry"), c.after) << c.what;
    EXPECT_EQ(Value(L"A\\B", L"n"), L"new") << c.what;
  }
}

TEST_F(RegistryFileTest, RemovesAKeyWithItsSubkeysAndKeepsComments) {
  const std::pair<std::string, std::string> cases[] = {
      {"[A\\B]\nn=1\n[C]\nx=1\n[a\\b\\D]\nn=2\n[A\\B]\nm=3\n", "[C]\nx=1\n"},
      {"# why\n[A\\B]\n; kept\nn=1\njunk\n[A\\BC]\nn=2\n", "# why\n; kept\njunk\n[A\\BC]\nn=2\n"},
      {"[A]\nn=1\n[A\\B]\n[broken\nn=2\n", "[A]\nn=1\n[broken\nn=2\n"},
      {"[A\\BC]\nn=1\n[A]\nn=2\n", ""},
  };
  for (const auto& [before, after] : cases) {
    scratch.Write("registry", before);
    EXPECT_EQ(store.RemoveTree(L"A\\B"), after.empty() ? S_FALSE : S_OK) << before;
    EXPECT_EQ(scratch.Read("registry"), after.empty() ? before : after);
  }
}

TEST_F(RegistryFileTest, ReadsBackExactlyTheWrittenTexts) {
  for (const wchar_t* const value :
       {L"", L" ends in blanks \t", L"a=b", L"# no comment", L"[no section]", L"\u00E4\u20AC\U0001F600",
        L"tab\there", L"\xDC80 from a byte", L"\x1F\x7F"}) {
    EXPECT_EQ(store.Write(kKey, L"n", value), S_OK);
    EXPECT_EQ(Value(kKey, L"n"), value);
  }
  EXPECT_EQ(store.Write(L"HKEY\\a]b[ c", L"N\u00E4me with blanks", L"x"), S_OK);
  EXPECT_EQ(Value(L"hkey\\A]B[ C", L"n\u00E4ME WITH BLANKS"), L"x");
}

TEST_F(RegistryFileTest, RefusesTextsThatCannotBeReadBack) {
  scratch.Write("registry", "[A\\B]\nn=1\n");
  const auto refused = [&](const std::wstring& key, const std::wstring& name, const std::wstring& value) {
    EXPECT_EQ(store.Write(key, name, value), E_INVALIDARG) << ::testing::PrintToString(key + name + value);
    EXPECT_NE(store.LastErrorText().find(L"cannot hold"), std::wstring::npos);
  };
  for (const std::wstring& value :
       {L"two\nlines"s, L"return\r"s, L"zero\0byte"s, L"half a pair \xD800"s, L"\xDCC3\xDCA4"s}) {
    refused(L"A\\B", L"n", value);
  }
  for (const wchar_t* const name : {L"n=", L" n", L"#n", L"[n", L"@", L";"}) refused(L"A\\B", name, L"x");
  for (const wchar_t* const key : {L"", L"A\nB", L"A\\"}) refused(key, L"n", L"x");
  EXPECT_EQ(store.RemoveTree(L"A"), E_INVALIDARG) << "a root key";
  EXPECT_EQ(scratch.Read("registry"), "[A\\B]\nn=1\n");
}

TEST_F(RegistryFileTest, LimitsTheLengthOfAValue) {
  EXPECT_EQ(store.Write(kKey, L"n", L"12345"), S_OK);
  std::wstring value = L"before";
  EXPECT_TRUE(FAILED(store.Read(kKey, L"n", 4, value)));
  EXPECT_EQ(value, L"before");
  EXPECT_EQ(store.Read(kKey, L"n", 5, value), S_OK);
}

TEST_F(RegistryFileTest, ReportsWhyAStoreCannotBeChangedAndKeepsIt) {
  const std::string content = "[A\\B]\nn=1\n";
  const auto refused = [&](const wchar_t* reason, HRESULT expected) {
    EXPECT_EQ(store.Write(L"A\\B", L"n", L"2"), expected);
    EXPECT_NE(store.LastErrorText().find(reason), std::wstring::npos) << reason;
    EXPECT_EQ(store.RemoveTree(L"A\\B"), expected);
  };
  scratch.Write("registry", content);
  ASSERT_EQ(::chmod(scratch.File("registry").c_str(), 0444), 0);
  refused(L"read-only", E_ACCESSDENIED);
  EXPECT_EQ(scratch.Read("registry"), content);
  ASSERT_EQ(::chmod(scratch.File("registry").c_str(), 0644), 0);

  const std::string damaged = content + "x=\0\0\0\n"s;
  scratch.Write("registry", damaged);
  refused(L"damaged: there is a zero byte in line 3", E_FAIL);
  EXPECT_EQ(scratch.Read("registry"), damaged);

  scratch.Write("registry", content);
  EXPECT_EQ(WriteWithoutRoom(), E_FAIL);
  EXPECT_NE(store.LastErrorText().find(L"too large"), std::wstring::npos) << store.LastErrorText();
  EXPECT_EQ(scratch.Read("registry"), content);
  EXPECT_EQ(FileNames(), (std::set<std::string>{"registry", "registry.lock"}));

  std::filesystem::remove(scratch.File("registry"));
  std::filesystem::create_directory(scratch.File("registry"));
  refused(L"irectory", E_FAIL);
  EXPECT_EQ(Value(L"A\\B", L"n"), L"(failed)");
}

TEST_F(RegistryFileTest, ReportsMissingPermission) {
  scratch.Write("registry", "[A\\B]\nn=1\n");
  ASSERT_EQ(::chmod(scratch.Path().c_str(), 0555), 0);
  {
    const OrdinaryUser user;
    EXPECT_EQ(store.Write(L"A\\B", L"n", L"2"), E_ACCESSDENIED);
    EXPECT_NE(store.LastErrorText().find(L"ermission"), std::wstring::npos);
    EXPECT_EQ(Value(L"A\\B", L"n"), L"1");
  }
  ASSERT_EQ(::chmod(scratch.Path().c_str(), 0755), 0);
}

TEST_F(RegistryFileTest, KeepsLinksAndPermissionsAndLeavesNoTemporaryFilesBehind) {
  scratch.Write("real", "[A\\B]\nn=1\n");
  ASSERT_EQ(::chmod(scratch.File("real").c_str(), 0640), 0);
  std::filesystem::create_symlink("real", scratch.File("registry"));
  EXPECT_EQ(store.Write(L"A\\B", L"n", L"2"), S_OK);
  EXPECT_TRUE(std::filesystem::is_symlink(scratch.File("registry")));
  EXPECT_EQ(scratch.Read("real"), "[A\\B]\nn=2\n");
  struct stat status = {};
  ASSERT_EQ(::stat(scratch.File("real").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
  EXPECT_EQ(store.RemoveTree(L"A\\B"), S_OK);
  EXPECT_EQ(FileNames(), (std::set<std::string>{"real", "registry", "real.lock"}));
}

TEST_F(RegistryFileTest, AUsersStoreIsCreatedOnWritingAsACopyOfTheMachines) {
  const std::string machine = "[A\\B]\nn=1\n";
  scratch.Write("machine", machine);
  RegistryFile own(scratch.File("own"), scratch.File("machine"));
  std::wstring value;
  EXPECT_EQ(own.Read(kKey, L"n", kRoom, value), S_FALSE);
  EXPECT_EQ(own.RemoveTree(L"A\\B"), S_FALSE);
  EXPECT_EQ(own.TakeBack(L"A\\B"), S_FALSE);
  EXPECT_EQ(own.DropNeedlessStore(), S_FALSE);
  for (const char* const file : {"own", "own.lock"})
    EXPECT_FALSE(std::filesystem::exists(scratch.File(file))) << file;
  EXPECT_EQ(own.Write(L"A\\C", L"x", L"2"), S_OK);
  EXPECT_EQ(scratch.Read("own"), machine + "\n[A\\C]\nx=2\n");
  EXPECT_EQ(scratch.Read("machine"), machine);
  scratch.Write("machine", "[A\\B]\nn=\0\n"s);
  EXPECT_EQ(RegistryFile(scratch.File("other"), scratch.File("machine")).Write(L"A\\C", L"x", L"2"), E_FAIL);
  EXPECT_NE(own.LastErrorText().find(L"machine is damaged"), std::wstring::npos);
}

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

TEST_F(RegistryFileTest, TakingBackRestoresTheMachinesKeys) {
  struct Case {
    const char* what;
    const char* machine;
    const char* own;
    HRESULT result;
    const char*
        after;  ///< After A\B is taken back; null if the file is then deleted because it adds nothing.
  };
  const Case cases[] = {
      {"nothing of the user's", "[A\\B]\nn=1\n", "[A\\B]\nn=1\n[C]\nx=2\n", S_OK, "[A\\B]\nn=1\n[C]\nx=2\n"},
      {"in other letters", "[A\\B]\nN=1\n", "[a\\b]\nn=1\n[C]\nx=2\n", S_OK, "[a\\b]\nn=1\n[C]\nx=2\n"},
      {"a value, and more", "[A\\B]\nn=1\n", "[A\\B]\nn=2\n[A\\B\\D]\nm=2\n[C]\nx=2\n", S_OK,
       "[C]\nx=2\n\n[A\\B]\nn=1\n"},
      {"where the machine has none", "[C]\nx=2\n", "[C]\nx=3\n[A\\B]\nn=2\n", S_OK, "[C]\nx=3\n"},
      {"no such key", "[A\\B]\nn=1\n", "[A\\BB]\nn=2\n", S_FALSE, "[A\\BB]\nn=2\n"},
      {"nothing else", "[A\\B]\nn=1\n", "[A\\B]\nn=2\n", S_OK, nullptr},
      {"nothing else, a copy before that", "# all\n[C]\nx=2\n", "# all\n[C]\nx=2\n[A\\B]\nn=2\n", S_OK,
       nullptr},
      {"part of the machine's", "[C]\nx=2\nY=3\n", "[c]\ny=3\n", S_FALSE, nullptr},
      {"a comment", "[A\\B]\nn=1\n", "# mine\n[A\\B]\nn=2\n", S_OK, "# mine\n\n[A\\B]\nn=1\n"},
      {"a value that no longer counts", "[C]\nx=2\n", "[C]\nx=1\nx=2\n", S_FALSE, nullptr},
      {"byte order marks", "\xEF\xBB\xBF[A\\B]\nn=1\n", "\xEF\xBB\xBF[A\\B]\nn=2\n[C]\nx=2\n", S_OK,
       "\xEF\xBB\xBF[C]\nx=2\n\n[A\\B]\nn=1\n"},
      {"a copy, but for the mark", "# all\n[C]\nx=2\n", "\xEF\xBB\xBF# all\n[C]\nx=2\n[A\\B]\nn=2\n", S_OK,
       nullptr},
      {"a mark that stood inside", nullptr, "[A\\B]\nn=2\n\xEF\xBB\xBF[C]\nx=2\n", S_OK,
       "\n\xEF\xBB\xBF[C]\n"},
      {"no store of the machine's", nullptr, "[A\\B]\nn=2\n", S_OK, nullptr},
  };
  for (const Case& c : cases) {
    std::filesystem::remove(scratch.File("machine"));
    if (c.machine != nullptr) scratch.Write("machine", c.machine);
    scratch.Write("own", c.own);
    RegistryFile own(scratch.File("own"), scratch.File("machine"));
    EXPECT_EQ(own.TakeBack(L"A\\B"), c.result) << c.what;
    EXPECT_EQ(own.DropNeedlessStore(), c.after == nullptr ? S_OK : S_FALSE) << c.what;
    EXPECT_EQ(std::filesystem::exists(scratch.File("own")), c.after != nullptr) << c.what;
    EXPECT_EQ(scratch.Read("own"), c.after == nullptr ? "" : c.after) << c.what;
  }
  scratch.Write("registry", "");
  EXPECT_EQ(store.DropNeedlessStore(), S_FALSE) << "the store replaces no other";
}

TEST_F(RegistryFileTest, ConcurrentWritersLoseNothing) {
  constexpr int kWrites = 15;
  const auto write = [&](int writer) {
    for (int i = 0; i < kWrites; ++i) {
      const std::wstring name = L"w" + std::to_wstring(writer) + L"-" + std::to_wstring(i);
      if (store.Write(kKey, name, name) != S_OK) return false;
    }
    return true;
  };
  const pid_t child = ::fork();
  if (child == 0) ::_exit(write(0) && write(1) ? 0 : 1);
  std::vector<std::thread> threads;
  for (int writer = 2; writer < 5; ++writer) {
    threads.emplace_back([&, writer] { EXPECT_TRUE(write(writer)); });
  }
  for (std::thread& thread : threads) thread.join();
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  for (int writer = 0; writer < 5; ++writer) {
    for (int i = 0; i < kWrites; ++i) {
      const std::wstring name = L"w" + std::to_wstring(writer) + L"-" + std::to_wstring(i);
      EXPECT_EQ(Value(kKey, name), name);
    }
  }
}

}  // namespace
}  // namespace kellanseek::test

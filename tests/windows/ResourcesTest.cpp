#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "ComponentModule.h"

namespace {

class Resources : public testing::Test {
 protected:
  static std::wstring VersionText(const std::wstring& file, const std::wstring& name) {
    std::vector<std::byte> version(GetFileVersionInfoSizeW(file.c_str(), nullptr));
    void* value = nullptr;
    UINT length = 0;
    const bool found =
        GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(version.size()), version.data()) != FALSE &&
        VerQueryValueW(version.data(), (L"\\StringFileInfo\\040904B0\\" + name).c_str(), &value, &length) !=
            FALSE;
    return found ? static_cast<const wchar_t*>(value) : L"";
  }

  ComponentModule module_;
};

TEST_F(Resources, ProjectNameIsString100) {
  std::array<wchar_t, 64> name = {};
  LoadStringW(module_.Handle(), 100, name.data(), static_cast<int>(name.size()));
  EXPECT_EQ(std::wstring(name.data()), L"KelLanSeek");
}

/// The name of the type that the first field of a record points to.
std::wstring PointeeOfFirstField(ITypeLib& library, std::wstring record) {
  KelComPtr<ITypeInfo> type;
  MEMBERID member = MEMBERID_NIL;
  USHORT found = 1;
  library.FindName(record.data(), 0, type.Put(), &member, &found);
  VARDESC* field = nullptr;
  if (!type || FAILED(type->GetVarDesc(0, &field))) return L"no such record";
  const TYPEDESC& kind = field->elemdescVar.tdesc;
  KelComPtr<ITypeInfo> pointee;
  if (kind.vt == VT_PTR) type->GetRefTypeInfo(kind.lptdesc->hreftype, pointee.Put());
  type->ReleaseVarDesc(field);
  KelBstr name;
  if (pointee) pointee->GetDocumentation(MEMBERID_NIL, name.Put(), nullptr, nullptr, nullptr);
  return name.Text();
}

// The marshaller knows only the system's own type as an identifier.
TEST_F(Resources, IdentifiersInTheRecordsOfTheTypeLibraryAreOfTheSystemType) {
  KelComPtr<ITypeLib> library;
  ASSERT_EQ(LoadTypeLibEx(module_.Path().c_str(), REGKIND_NONE, library.Put()), S_OK);
  for (const wchar_t* const record : {L"VCInterface", L"KelEventParams"})
    EXPECT_EQ(PointeeOfFirstField(*library.Get(), record), L"GUID");
}

TEST_F(Resources, VersionResourceDescribesTheFile) {
  const std::filesystem::path folder = std::filesystem::path(module_.Path()).parent_path();
  for (const wchar_t* name : {L"KelLanSeek.dll", L"kelseek.exe", L"kelsim.exe"}) {
    const std::wstring file = (folder / name).wstring();
    EXPECT_EQ(VersionText(file, L"ProductName"), L"KelLanSeek");
    EXPECT_EQ(VersionText(file, L"OriginalFilename"), name);
    EXPECT_EQ(VersionText(file, L"FileVersion"), KELLANSEEK_VERSION);
  }
}

TEST_F(Resources, ToolsRunWithTheRightsOfTheirCaller) {
  for (const wchar_t* name : {L"kelseek.exe", L"kelsim.exe"}) {
    const auto file = std::filesystem::path(module_.Path()).parent_path() / name;
    const HMODULE program = LoadLibraryExW(file.wstring().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(program, nullptr);
    const HRSRC manifest = FindResourceW(program, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
    ASSERT_NE(manifest, nullptr);
    const auto* text = static_cast<const char*>(LockResource(LoadResource(program, manifest)));
    EXPECT_NE(std::string(text, SizeofResource(program, manifest)).find("level=\"asInvoker\""),
              std::string::npos);
    FreeLibrary(program);
  }
}

/// Activates a manifest during its lifetime.
class Manifest {
 public:
  explicit Manifest(const std::filesystem::path& file) {
    const std::wstring path = file.wstring();
    const std::wstring folder = file.parent_path().wstring();
    ACTCTXW wanted = {};
    wanted.cbSize = sizeof wanted;
    wanted.dwFlags = ACTCTX_FLAG_ASSEMBLY_DIRECTORY_VALID;
    wanted.lpSource = path.c_str();
    wanted.lpAssemblyDirectory = folder.c_str();
    context_ = CreateActCtxW(&wanted);
    active_ = context_ != INVALID_HANDLE_VALUE && ActivateActCtx(context_, &cookie_) != FALSE;
  }
  ~Manifest() {
    if (active_) DeactivateActCtx(0, cookie_);
    if (context_ != INVALID_HANDLE_VALUE) ReleaseActCtx(context_);
  }
  Manifest(const Manifest&) = delete;
  Manifest& operator=(const Manifest&) = delete;

  bool Active() const { return active_; }

 private:
  HANDLE context_ = INVALID_HANDLE_VALUE;
  ULONG_PTR cookie_ = 0;
  bool active_ = false;
};

TEST_F(Resources, ManifestActivatesTheClassWithoutRegistration) {
  const auto create = [] {
    CLSID clsid = {};
    HRESULT result = CLSIDFromProgID(L"KelLanSeek.KelLanSeek.1", &clsid);
    KelComPtr<IKelLanSeek> seek;
    if (SUCCEEDED(result)) {
      result = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek, seek.PutVoid());
    }
    return result;
  };
  module_.Unregister();
  ASSERT_TRUE(FAILED(create()));
  const Manifest manifest(std::filesystem::path(module_.Path()).parent_path() / "KelLanSeek.X.manifest");
  ASSERT_TRUE(manifest.Active());
  EXPECT_EQ(create(), S_OK);
}

}  // namespace

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>
#include <thread>

#include <kellanseek/KelLanSeek.h>

#include "SampleModule.h"
#include "ScratchRegistry.h"

namespace {

const std::string kModule = KELLANSEEK_SAMPLE_MODULE;

std::string ClassSection(REFCLSID clsid, const std::string& module) {
  return "[HKEY_CLASSES_ROOT\\CLSID\\" + kellanseek::com::GuidText(clsid) + "\\InprocServer32]\n@=" + module +
         "\n";
}

HRESULT Create(REFCLSID clsid, KelComPtr<IKelBase>& object) {
  return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IKelBase, object.PutVoid());
}

TEST(ActivationTest, CreatesARegisteredClassAndSharesItsMemory) {
  const ScratchRegistry registry;
  registry.Write(ClassSection(CLSID_Sample, kModule));
  KelComPtr<IKelBase> object;
  ASSERT_EQ(Create(CLSID_Sample, object), S_OK);
  KelBstr text;
  EXPECT_EQ(object->GetLastErrorInfo(text.Put()), S_OK);
  EXPECT_EQ(text.View(), L"from the module");
}

TEST(ActivationTest, ReportsBrokenRegistrations) {
  const ScratchRegistry registry;
  struct Case {
    const char* what;
    std::string store;
    HRESULT result;
  };
  const Case cases[] = {
      {"no class", "[HKEY_CLASSES_ROOT]\n", REGDB_E_CLASSNOTREG},
      {"no module", ClassSection(CLSID_Sample, ""), REGDB_E_CLASSNOTREG},
      {"module that is not there", ClassSection(CLSID_Sample, "/nowhere/libnone.so"), CO_E_DLLNOTFOUND},
      {"module without its full path", ClassSection(CLSID_Sample, "libm.so.6"), CO_E_DLLNOTFOUND},
      {"zero byte in the path", ClassSection(CLSID_Sample, kModule + '\0' + "x"), CO_E_DLLNOTFOUND},
      {"registry as module", ClassSection(CLSID_Sample, registry.Path()), CO_E_DLLNOTFOUND},
      {"other class", ClassSection(CLSID_SampleNoFactory, kModule), REGDB_E_CLASSNOTREG},
  };
  for (const Case& c : cases) {
    registry.Write(c.store);
    KelComPtr<IKelBase> object;
    EXPECT_EQ(Create(CLSID_Sample, object), c.result) << c.what;
    EXPECT_FALSE(object) << c.what;
  }
}

TEST(ActivationTest, PassesOnTheResultsOfModuleAndClass) {
  const ScratchRegistry registry;
  registry.Write(ClassSection(CLSID_Sample, kModule) + ClassSection(CLSID_KelLanSeek, kModule) +
                 ClassSection(CLSID_SampleNoFactory, kModule));
  KelComPtr<IKelBase> object;
  EXPECT_EQ(Create(CLSID_KelLanSeek, object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(Create(CLSID_SampleNoFactory, object), CO_E_ERRORINDLL);

  void* other = &object;
  EXPECT_EQ(CoCreateInstance(CLSID_Sample, nullptr, CLSCTX_ALL, IID_IKelLanSeek, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  ASSERT_EQ(Create(CLSID_Sample, object), S_OK);
  EXPECT_EQ(CoCreateInstance(CLSID_Sample, object.Get(), CLSCTX_ALL, IID_IUnknown, &other),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(CoCreateInstance(CLSID_Sample, nullptr, 4, IID_IUnknown, &other), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(CoCreateInstance(CLSID_Sample, nullptr, CLSCTX_ALL, IID_IUnknown, nullptr), E_POINTER);
}

TEST(ActivationTest, LoadsAModuleByPathAndKeepsItLoaded) {
  const ScratchRegistry registry;
  const auto create = [](const auto* path, void** object) {
    return KelCreateInstanceFromModule(path, CLSID_Sample, IID_IKelBase, object);
  };
  KelComPtr<IKelBase> object;
  EXPECT_EQ(create(std::wstring(kModule.begin(), kModule.end()).c_str(), object.PutVoid()), S_OK);
  EXPECT_TRUE(object);
  EXPECT_EQ(create("/nowhere", object.PutVoid()), CO_E_DLLNOTFOUND);
  EXPECT_FALSE(object);
  EXPECT_EQ(create("libm.so.6", object.PutVoid()), CO_E_ERRORINDLL);
  EXPECT_EQ(create(kModule.c_str(), nullptr), E_POINTER);
  EXPECT_EQ(create(kModule.c_str(), object.PutVoid()), S_OK);

  object.Reset();
  void* const module = ::dlopen(kModule.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(module, nullptr) << "no object is left, but the module stays";
  ::dlclose(module);
}

TEST(ActivationTest, WidePathsAreUtf8) {
  EXPECT_EQ(kellanseek::com::Utf8(L"/a\u00E9\u20AC\U0001F600"), "/a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  const std::wstring noCodePoints = {L'a', static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000),
                                     L'b'};
  EXPECT_EQ(kellanseek::com::Utf8(noCodePoints), "a??b");
}

TEST(ActivationTest, ProgIdsResolveToTheClass) {
  const ScratchRegistry registry;
  registry.Write(
      "[HKEY_CLASSES_ROOT\\KelLanSeek.KelLanSeek\\CLSID]\n@={2B474DCE-7759-49B8-B088-5A5DE5943E2F}\n"
      "[HKEY_CLASSES_ROOT\\Damaged\\CLSID]\n@={2B474DCE}\n");
  CLSID clsid = {};
  EXPECT_EQ(CLSIDFromProgID(L"kellanseek.kellanseek", &clsid), S_OK);
  EXPECT_TRUE(clsid == CLSID_KelLanSeek);
  EXPECT_EQ(CLSIDFromString(L"KelLanSeek.KelLanSeek", &clsid), S_OK);
  EXPECT_TRUE(clsid == CLSID_KelLanSeek);
  for (const wchar_t* const wrong : {L"", L"Damaged", L"KelLanSeek", L"KelLanSeek.KelLanSeek\\CLSID]\n[x"}) {
    EXPECT_EQ(CLSIDFromProgID(wrong, &clsid), CO_E_CLASSSTRING);
    EXPECT_TRUE(clsid == GUID_NULL);
  }
  EXPECT_EQ(CLSIDFromProgID(nullptr, &clsid), E_INVALIDARG);
}

TEST(ApartmentTest, InitialisationIsCountedPerThread) {
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
  std::thread([] {
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
  }).join();
  CoUninitialize();
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
  CoUninitialize();
  CoUninitialize();
  CoUninitialize();
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  CoUninitialize();
}

}  // namespace

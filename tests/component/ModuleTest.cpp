#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include <kellanseek/KelLanSeek.h>

#include "tests/support/FakeSink.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {
namespace {

/// A copy of the built module, loaded for one test, with its own registry and without network interfaces.
class ModuleTest : public testing::Test {
 protected:
  ModuleTest() {
    directory_.Write("registry", "[HKEY_LOCAL_MACHINE\\Software\\Tarnwell\\Velmora\\KelAPI]\nConfigDir=" +
                                     directory_.Path() + "\n");
    directory_.Write(
        "lanseekconf.xml",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><KelLanSeekConfigurations><CommunicationSettings>"
        "<DynamicDetectionEnabled>0</DynamicDetectionEnabled></CommunicationSettings>"
        "</KelLanSeekConfigurations>");
    setenv("KELLANSEEK_REGISTRY", directory_.File("registry").c_str(), 1);
    std::filesystem::copy_file(KELLANSEEK_MODULE, directory_.File("v\u00e4rde.so.1.2.3"));
    std::filesystem::create_symlink("v\u00e4rde.so.1.2.3", path_);
    module_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  ~ModuleTest() override {
    if (module_ != nullptr) dlclose(module_);
  }

  void SetUp() override { ASSERT_NE(module_, nullptr) << dlerror(); }

  HRESULT CanUnloadNow() const { return Call("DllCanUnloadNow"); }
  HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) const {
    using Function = HRESULT (*)(REFCLSID, REFIID, void**);
    return reinterpret_cast<Function>(dlsym(module_, "DllGetClassObject"))(clsid, iid, object);
  }
  template <typename Interface>
  KelComPtr<Interface> Create() const {
    KelComPtr<IClassFactory> factory;
    EXPECT_EQ(GetClassObject(CLSID_KelLanSeek, IID_IClassFactory, factory.PutVoid()), S_OK);
    KelComPtr<Interface> object;
    EXPECT_EQ(factory->CreateInstance(nullptr, *KelInterfaceId<Interface>, object.PutVoid()), S_OK);
    return object;
  }
  HRESULT Call(const char* function) const {
    return reinterpret_cast<HRESULT (*)()>(dlsym(module_, function))();
  }
  bool Loaded() const {
    void* const loaded = dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (loaded != nullptr) dlclose(loaded);
    return loaded != nullptr;
  }

  ScratchDirectory directory_;
  const std::string path_ = directory_.File("v\u00e4rde.so.1");
  void* module_ = nullptr;
};

TEST_F(ModuleTest, ReturnsAFactoryForItsOnlyClass) {
  void* object = this;
  EXPECT_EQ(GetClassObject(IID_IKelLanSeek, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(GetClassObject(CLSID_KelLanSeek, IID_IKelLanSeek, &object), E_NOINTERFACE);
  EXPECT_EQ(GetClassObject(CLSID_KelLanSeek, IID_IClassFactory, nullptr), E_POINTER);
  EXPECT_EQ(CanUnloadNow(), S_OK);
}

TEST_F(ModuleTest, CanBeUnloadedOnceTheLastObjectAndListAreReleased) {
  for (int cycle = 0; cycle < 3; ++cycle) {
    auto seek = Create<IKelLanSeek>();
    ASSERT_TRUE(seek);
    EXPECT_EQ(CanUnloadNow(), S_FALSE);
    KelRetrievalParams parameters = {0, {}, -2, 0};
    KelComPtr<IKelEnumCtrlIdentity> list;
    EXPECT_EQ(seek->GetCtrlList(&parameters, list.Put()), S_OK);
    seek.Reset();
    EXPECT_EQ(CanUnloadNow(), S_FALSE);
    list.Reset();
    EXPECT_EQ(CanUnloadNow(), S_OK);
  }
  dlclose(std::exchange(module_, nullptr));
  EXPECT_FALSE(Loaded());
}

/// The event thread that made the last release may still be executing code of the module.
TEST_F(ModuleTest, CanBeUnloadedAfterASinkMadeTheLastRelease) {
  auto last = Create<IKelVCLanSeek>();
  ASSERT_TRUE(last);
  std::promise<void> called;
  const auto ready = called.get_future().share();
  const auto sink = FakeSink::Make([&](const ReceivedEvent&) {
    ready.wait();
    last.Reset();
    return S_OK;
  });
  KelEventParams parameters = {nullptr, sink.Get(), 0, 0, 0, Data};
  ULONG cookie = 0;
  ASSERT_EQ(last.As<IKelLanSeekSubscribe>()->Subscribe(&parameters, &cookie), S_OK);
  GUID riid = IID_KelVirtualController;
  VCInterface vci = {&riid, sink.Get()};
  ASSERT_EQ(last->Register(KelBstr(L"p").Get(), KelBstr(L"s").Get(), 1, &vci), S_OK);
  ASSERT_EQ(last->ForwardMessage(KelBstr(L"Lanseek;11;1;4:s;").Get()), S_OK);
  called.set_value();
  while (CanUnloadNow() != S_OK) std::this_thread::yield();
  dlclose(std::exchange(module_, nullptr));
  EXPECT_TRUE(Loaded()) << "the detached thread may still run code of the module";
  EXPECT_EQ(sink->References(), 1U);
  EXPECT_EQ(sink->WaitFor(1).size(), 1U);
}

}  // namespace
}  // namespace kellanseek::test

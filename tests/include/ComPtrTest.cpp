#include <gtest/gtest.h>

#include <utility>

#include <kellanseek/KelLanSeek.h>

namespace {

/// An object on the stack that counts its references. Supports IKelBase.
class Counted final : public IKelBase {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool offered = iid == IID_IKelBase || iid == *KelInterfaceId<IUnknown>;
    *object = offered ? static_cast<IKelBase*>(this) : nullptr;
    if (!offered) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override {
    if (holder != nullptr) emptyAtRelease = !*holder;
    return --references;
  }
  HRESULT STDMETHODCALLTYPE GetLastErrorInfo(BSTR*) override { return S_OK; }

  ULONG references = 0;
  const KelComPtr<IKelBase>* holder = nullptr;
  bool emptyAtRelease = false;
};

TEST(KelComPtrTest, OneReferencePerOwner) {
  Counted object;
  {
    KelComPtr<IKelBase> first(&object);
    EXPECT_EQ(object.references, 1U);
    KelComPtr<IKelBase> second = first;
    EXPECT_EQ(object.references, 2U);
    KelComPtr<IKelBase> third = std::move(second);
    EXPECT_EQ(object.references, 2U);
    EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): moved-from is empty
    third = first;
    EXPECT_EQ(object.references, 2U);
    third = std::move(first);
    EXPECT_EQ(object.references, 1U);
    KelComPtr<IKelBase>& itself = third;
    third = itself;
    third = std::move(itself);
    EXPECT_EQ(object.references, 1U);
    EXPECT_TRUE(third == &object);
    third = nullptr;
    EXPECT_EQ(object.references, 0U);
    EXPECT_TRUE(third == nullptr);
  }
  EXPECT_EQ(object.references, 0U);
}

TEST(KelComPtrTest, IsEmptyBeforeTheObjectIsReleased) {
  Counted object;
  KelComPtr<IKelBase> owner(&object);
  object.holder = &owner;
  owner.Reset();
  EXPECT_TRUE(object.emptyAtRelease);
}

TEST(KelComPtrTest, QueriesByTheInterfacesOwnIdentifier) {
  Counted object;
  const KelComPtr<IUnknown> owner(&object);
  EXPECT_TRUE(owner.As<IKelBase>() == &object);
  KelComPtr<IKelLanSeek> missing;
  EXPECT_EQ(owner.QueryTo(missing), E_NOINTERFACE);
  EXPECT_FALSE(missing);
  EXPECT_EQ(KelComPtr<IUnknown>().QueryTo(missing), E_POINTER);
  EXPECT_EQ(object.references, 1U);
}

}  // namespace

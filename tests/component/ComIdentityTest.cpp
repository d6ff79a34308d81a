#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "component/ClassFactory.h"
#include "tests/component/ComponentHarness.h"

namespace kellanseek::test {
namespace {

using component::CKelLanSeek;
using component::ClassFactory;

const std::vector<const IID*> kInterfaces = {
    &IID_IKelCtrlIdentity, &IID_IKelLanSeek,       &IID_IKelLanSeekSubscribe,  &IID_IKelVCLanSeek,
    &IID_IKelBase,         &IID_IKelLanSeekConfig, &IID_IKelCtrlIdentity2,     &IID_IKelLanSeek2,
    &IID_IKelVCLanSeek2,   &IID_IKelCtrlIdentity3, &IID_IKelLanSeekDiagnostics};

/// IDispatch, ISupportErrorInfo, and interfaces of other objects.
const std::vector<IID> kNotOffered = {KelGuid("00020400-0000-0000-C000-000000000046"),
                                      KelGuid("DF0B3D60-548F-101B-8E65-08002B2BD119"),
                                      IID_IKelEnumCtrlIdentity, IID_IKelObjectEvents};

KelComPtr<IUnknown> QueryFor(IUnknown* object, REFIID iid) {
  KelComPtr<IUnknown> found;
  EXPECT_EQ(object->QueryInterface(iid, found.PutVoid()), S_OK);
  return found;
}

class ComIdentityTest : public testing::Test, protected ComponentHarness {
 protected:
  ComIdentityTest() {
    Create();
    object_ = KelComPtr<IUnknown>(seek.Get());
  }

  KelComPtr<IUnknown> object_;
};

TEST_F(ComIdentityTest, EveryInterfaceReturnsEveryOtherAndTheSameIUnknown) {
  const auto unknown = QueryFor(object_.Get(), IID_IUnknown);
  EXPECT_EQ(unknown, QueryFor(object_.Get(), IID_IKelCtrlIdentity));
  for (const IID* from : kInterfaces) {
    const auto start = QueryFor(object_.Get(), *from);
    EXPECT_EQ(QueryFor(start.Get(), IID_IUnknown), unknown);
    for (const IID* to : kInterfaces) EXPECT_EQ(QueryFor(start.Get(), *to), QueryFor(object_.Get(), *to));
  }
}

TEST_F(ComIdentityTest, QueryForAnUnknownInterfaceReturnsNull) {
  for (const IID& iid : kNotOffered) {
    void* found = this;
    EXPECT_EQ(object_->QueryInterface(iid, &found), E_NOINTERFACE);
    EXPECT_EQ(found, nullptr);
  }
  EXPECT_EQ(object_->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(ComIdentityTest, InterfacesShareOneReferenceCountAndTheLastReleaseUnlocksTheModule) {
  ReleaseAll();
  EXPECT_EQ(object_->AddRef(), 2U);
  auto other = QueryFor(object_.Get(), IID_IKelBase);
  EXPECT_EQ(other->AddRef(), 4U);
  EXPECT_EQ(object_->Release(), 3U);
  EXPECT_EQ(other->Release(), 2U);
  object_.Reset();
  EXPECT_TRUE(module.InUse());
  EXPECT_EQ(other.Detach()->Release(), 0U);
  EXPECT_FALSE(module.InUse());
}

/// A client's object that aggregates the component.
class Outer final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!IsEqualIID(iid, IID_IUnknown)) return inner->QueryInterface(iid, object);
    *object = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }

  std::atomic<ULONG> references{1};
  KelComPtr<IUnknown> inner;
};

class AggregationTest : public testing::Test, protected ComponentHarness {
 protected:
  AggregationTest() {
    EXPECT_EQ(CKelLanSeek::Create(&outer, IID_IUnknown, outer.inner.PutVoid(), environment, module), S_OK);
  }

  Outer outer;
};

TEST_F(AggregationTest, InterfacesBelongToTheOuterObject) {
  EXPECT_EQ(outer.references, 1U);
  EXPECT_NE(outer.inner.Get(), &outer);
  for (const IID* iid : kInterfaces) {
    const auto part = QueryFor(&outer, *iid);
    EXPECT_EQ(outer.references, 2U);
    EXPECT_EQ(QueryFor(part.Get(), IID_IUnknown), &outer);
    EXPECT_NE(part, outer.inner);
  }
  EXPECT_EQ(outer.references, 1U);
  EXPECT_EQ(QueryFor(outer.inner.Get(), IID_IUnknown), outer.inner);
  void* found = this;
  EXPECT_EQ(outer.inner->QueryInterface(kNotOffered[0], &found), E_NOINTERFACE);
  EXPECT_EQ(found, nullptr);
}

TEST_F(AggregationTest, OnlyTheInnerReferenceKeepsTheObjectAlive) {
  EXPECT_EQ(outer.inner->AddRef(), 2U);
  EXPECT_EQ(outer.inner->Release(), 1U);
  EXPECT_TRUE(module.InUse());
  outer.inner.Reset();
  EXPECT_FALSE(module.InUse());
  EXPECT_EQ(outer.references, 1U);
}

TEST_F(AggregationTest, AggregationRequiresIUnknownAtCreation) {
  void* created = this;
  EXPECT_EQ(CKelLanSeek::Create(&outer, IID_IKelLanSeek, &created, environment, module),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(created, nullptr);
}

TEST(ClassFactoryTest, CreatesCountsAndLocks) {
  ComponentHarness world;
  KelComPtr<IClassFactory> factory;
  ASSERT_EQ(ClassFactory::Create(IID_IClassFactory, factory.PutVoid(), world.environment, world.module),
            S_OK);
  EXPECT_EQ(QueryFor(factory.Get(), IID_IUnknown), factory.Get());
  void* found = &world;
  EXPECT_EQ(factory->QueryInterface(IID_IKelLanSeek, &found), E_NOINTERFACE);
  EXPECT_EQ(found, nullptr);

  KelComPtr<IKelLanSeek> seek;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IKelLanSeek, seek.PutVoid()), S_OK);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IKelLanSeek, nullptr), E_POINTER);
  EXPECT_EQ(factory->CreateInstance(nullptr, kNotOffered[0], &found), E_NOINTERFACE);
  seek.Reset();
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_TRUE(world.module.InUse());
  factory.Reset();
  EXPECT_TRUE(world.module.InUse()) << "a client's lock outlasts the factory";
  ASSERT_EQ(ClassFactory::Create(IID_IClassFactory, factory.PutVoid(), world.environment, world.module),
            S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_TRUE(world.module.InUse());
  factory.Reset();
  EXPECT_FALSE(world.module.InUse());

  EXPECT_EQ(ClassFactory::Create(IID_IKelLanSeek, &found, world.environment, world.module), E_NOINTERFACE);
  EXPECT_EQ(ClassFactory::Create(IID_IUnknown, nullptr, world.environment, world.module), E_POINTER);
  EXPECT_FALSE(world.module.InUse());
}

}  // namespace
}  // namespace kellanseek::test

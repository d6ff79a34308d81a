#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "ComponentModule.h"

namespace {

/// A type as described by the type library.
struct Described {
  TYPEATTR attributes = {};
  std::map<std::wstring, ULONG> fields;           ///< Offsets of a record's fields.
  std::map<std::wstring, std::wstring> pointees;  ///< Target types of the fields that point to a named type.
  std::map<std::wstring, LONG> constants;         ///< Values of an enumeration.
  std::vector<std::wstring> methods;              ///< The interface's own methods, in slot order.
};

std::wstring TakeName(BSTR name) {
  std::wstring text = name == nullptr ? L"" : name;
  SysFreeString(name);
  return text;
}

std::wstring MemberName(ITypeInfo& type, MEMBERID member) {
  BSTR name = nullptr;
  UINT count = 0;
  type.GetNames(member, &name, 1, &count);
  return TakeName(name);
}

/// The name of the type that a field points to; empty if it has none.
std::wstring Pointee(ITypeInfo& type, const TYPEDESC& field) {
  ITypeInfo* pointee = nullptr;
  if (field.vt != VT_PTR || field.lptdesc->vt != VT_USERDEFINED ||
      FAILED(type.GetRefTypeInfo(field.lptdesc->hreftype, &pointee))) {
    return {};
  }
  BSTR name = nullptr;
  pointee->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
  pointee->Release();
  return TakeName(name);
}

Described Describe(ITypeInfo& type) {
  Described described;
  TYPEATTR* attributes = nullptr;
  if (FAILED(type.GetTypeAttr(&attributes))) return described;
  described.attributes = *attributes;
  for (UINT index = 0; index < attributes->cVars; ++index) {
    VARDESC* variable = nullptr;
    if (FAILED(type.GetVarDesc(index, &variable))) continue;
    const std::wstring name = MemberName(type, variable->memid);
    if (variable->varkind == VAR_CONST) {
      described.constants[name] = variable->lpvarValue->lVal;
    } else {
      described.fields[name] = variable->oInst;
      described.pointees[name] = Pointee(type, variable->elemdescVar.tdesc);
    }
    type.ReleaseVarDesc(variable);
  }
  for (UINT index = 0; index < attributes->cFuncs; ++index) {
    FUNCDESC* function = nullptr;
    if (FAILED(type.GetFuncDesc(index, &function))) continue;
    described.methods.push_back(MemberName(type, function->memid));
    type.ReleaseFuncDesc(function);
  }
  type.ReleaseTypeAttr(attributes);
  return described;
}

std::map<std::wstring, Described> DescribeAll(ITypeLib& library) {
  std::map<std::wstring, Described> types;
  for (UINT index = 0; index < library.GetTypeInfoCount(); ++index) {
    ITypeInfo* type = nullptr;
    BSTR name = nullptr;
    if (FAILED(library.GetTypeInfo(index, &type))) continue;
    library.GetDocumentation(static_cast<INT>(index), &name, nullptr, nullptr, nullptr);
    types[TakeName(name)] = Describe(*type);
    type->Release();
  }
  return types;
}

class TypeLibrary : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(module_.Loaded());
    ASSERT_EQ(module_.Register(), S_OK);
    ITypeLib* library = nullptr;
    ASSERT_EQ(LoadRegTypeLib(LIBID_KELLANSEEKLib, 1, 0, LOCALE_NEUTRAL, &library), S_OK);
    types_ = DescribeAll(*library);
    library->Release();
  }
  void TearDown() override { module_.Unregister(); }

  component::ComponentModule module_;
  std::map<std::wstring, Described> types_;
};

TEST_F(TypeLibrary, RecordsMatchTheCompilersLayout) {
  EXPECT_EQ(types_[L"KelRetrievalParams"].attributes.cbSizeInstance, sizeof(KelRetrievalParams));
  EXPECT_EQ(types_[L"KelRetrievalParams"].fields,
            (std::map<std::wstring, ULONG>{{L"mark", 0}, {L"cursor", 4}, {L"noOfElts", 20}, {L"bLast", 24}}));
  EXPECT_EQ(types_[L"KelEventParams"].attributes.cbSizeInstance, sizeof(KelEventParams));
  EXPECT_EQ(types_[L"KelEventParams"].fields[L"subscriptionType"],
            offsetof(KelEventParams, subscriptionType));
  EXPECT_EQ(types_[L"KelEventParams"].fields[L"containData"], offsetof(KelEventParams, containData));
  EXPECT_EQ(types_[L"VCInterface"].attributes.cbSizeInstance, sizeof(VCInterface));
  EXPECT_EQ(types_[L"VCInterface"].fields[L"pVC"], offsetof(VCInterface, pVC));
  EXPECT_EQ(types_[L"AvailableCtrlsListItem"].attributes.cbSizeInstance, sizeof(AvailableCtrlsListItem));
}

TEST_F(TypeLibrary, IdentifiersInRecordsUseTheSystemType) {
  EXPECT_EQ(types_[L"VCInterface"].pointees[L"vc_riid"], L"GUID");
  EXPECT_EQ(types_[L"KelEventParams"].pointees[L"riid"], L"GUID");
}

TEST_F(TypeLibrary, InterfacesMatchTheirIdentifiersAndSlots) {
  EXPECT_TRUE(IsEqualGUID(types_[L"KelLanSeek"].attributes.guid, CLSID_KelLanSeek));
  EXPECT_TRUE(IsEqualGUID(types_[L"IKelCtrlIdentity3"].attributes.guid, IID_IKelCtrlIdentity3));
  EXPECT_EQ(types_[L"IKelLanSeek"].methods,
            (std::vector<std::wstring>{L"GetCtrlList", L"RefreshForID", L"GetCtrlFromSystemID",
                                       L"GetCtrlFromIPAddress", L"Ping", L"UnpackSubscriptionData",
                                       L"GetCtrlFromURL"}));
  // Three methods of IUnknown, seventeen of IKelCtrlIdentity, one of IKelCtrlIdentity2, one of its own.
  EXPECT_EQ(types_[L"IKelCtrlIdentity3"].attributes.cbSizeVft, 22 * sizeof(void*));
  EXPECT_EQ(types_[L"KelLanSeek"].attributes.cImplTypes, 10);
}

TEST_F(TypeLibrary, EnumerationsMatchTheirValues) {
  EXPECT_EQ(types_[L"LanSeekEventReason"].constants.size(), 9U);
  EXPECT_EQ(types_[L"LanSeekEventReason"].constants[L"CtrlReconnected"], CtrlReconnected);
  EXPECT_EQ(types_[L"KelCtrlType"].constants[L"RemoteVC"], RemoteVC);
}

}  // namespace

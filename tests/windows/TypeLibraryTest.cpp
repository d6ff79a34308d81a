#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>

#include "ComponentModule.h"

namespace {

/// A record as described by the type library, whose definitions the generated test compares with the headers.
struct Described {
  ULONG size = 0;
  std::map<std::wstring, ULONG> fields;           ///< Offsets.
  std::map<std::wstring, std::wstring> pointees;  ///< Target types of the fields that point to a named type.
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
  described.size = attributes->cbSizeInstance;
  for (UINT index = 0; index < attributes->cVars; ++index) {
    VARDESC* variable = nullptr;
    if (FAILED(type.GetVarDesc(index, &variable))) continue;
    if (variable->varkind != VAR_CONST) {
      const std::wstring name = MemberName(type, variable->memid);
      described.fields[name] = variable->oInst;
      described.pointees[name] = Pointee(type, variable->elemdescVar.tdesc);
    }
    type.ReleaseVarDesc(variable);
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

  ComponentModule module_;
  std::map<std::wstring, Described> types_;
};

TEST_F(TypeLibrary, RecordsMatchTheCompilersLayout) {
  EXPECT_EQ(types_[L"KelRetrievalParams"].size, sizeof(KelRetrievalParams));
  EXPECT_EQ(types_[L"KelRetrievalParams"].fields,
            (std::map<std::wstring, ULONG>{{L"mark", 0}, {L"cursor", 4}, {L"noOfElts", 20}, {L"bLast", 24}}));
  EXPECT_EQ(types_[L"KelEventParams"].size, sizeof(KelEventParams));
  EXPECT_EQ(types_[L"KelEventParams"].fields[L"subscriptionType"],
            offsetof(KelEventParams, subscriptionType));
  EXPECT_EQ(types_[L"KelEventParams"].fields[L"containData"], offsetof(KelEventParams, containData));
  EXPECT_EQ(types_[L"VCInterface"].size, sizeof(VCInterface));
  EXPECT_EQ(types_[L"VCInterface"].fields[L"pVC"], offsetof(VCInterface, pVC));
  EXPECT_EQ(types_[L"AvailableCtrlsListItem"].size, sizeof(AvailableCtrlsListItem));
}

TEST_F(TypeLibrary, IdentifiersInRecordsUseTheSystemType) {
  EXPECT_EQ(types_[L"VCInterface"].pointees[L"vc_riid"], L"GUID");
  EXPECT_EQ(types_[L"KelEventParams"].pointees[L"riid"], L"GUID");
}

}  // namespace

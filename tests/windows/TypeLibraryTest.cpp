#include <gtest/gtest.h>

#include <map>
#include <string>

#include "ComponentModule.h"

namespace {

/// The target types of a record's fields that point to a named type, as the type library describes them.
using Pointees = std::map<std::wstring, std::wstring>;

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

Pointees Describe(ITypeInfo& type) {
  Pointees pointees;
  TYPEATTR* attributes = nullptr;
  if (FAILED(type.GetTypeAttr(&attributes))) return pointees;
  for (UINT index = 0; index < attributes->cVars; ++index) {
    VARDESC* variable = nullptr;
    if (FAILED(type.GetVarDesc(index, &variable))) continue;
    if (variable->varkind != VAR_CONST) {
      pointees[MemberName(type, variable->memid)] = Pointee(type, variable->elemdescVar.tdesc);
    }
    type.ReleaseVarDesc(variable);
  }
  type.ReleaseTypeAttr(attributes);
  return pointees;
}

std::map<std::wstring, Pointees> DescribeAll(ITypeLib& library) {
  std::map<std::wstring, Pointees> types;
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
  std::map<std::wstring, Pointees> types_;
};

TEST_F(TypeLibrary, IdentifiersInRecordsUseTheSystemType) {
  EXPECT_EQ(types_[L"VCInterface"][L"vc_riid"], L"GUID");
  EXPECT_EQ(types_[L"KelEventParams"][L"riid"], L"GUID");
}

}  // namespace

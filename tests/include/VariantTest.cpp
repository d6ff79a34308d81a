#include <gtest/gtest.h>

#include <cstring>

#include <kellanseek/com.h>

namespace {

TEST(VariantTest, ClearFreesOwnedTextOnceAndAcceptsNumbersAndNullTexts) {
  VARIANT value;
  std::memset(&value, 0xAA, sizeof(value));
  VariantInit(&value);
  EXPECT_EQ(value.vt, VT_EMPTY);
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(L"11;1;0;");
  // The second call must not free the text again.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(VariantClear(&value), S_OK);
    EXPECT_EQ(value.vt, VT_EMPTY);
  }
  value.vt = VT_I4;
  value.lVal = -1;
  EXPECT_EQ(VariantClear(&value), S_OK);
  value.vt = VT_BSTR;
  value.bstrVal = nullptr;
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
}

TEST(VariantTest, ClearKeepsReferencedValuesAndRejectsUnknownTypes) {
  KelBstr text(L"kept");
  BSTR reference = text.Get();
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_BSTR | VT_BYREF;
  value.pbstrVal = &reference;
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
  EXPECT_EQ(text.View(), L"kept");
  value.vt = 0x0FF0;
  EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE);
  EXPECT_EQ(value.vt, 0x0FF0);
}

#ifndef _WIN32
TEST(VariantTest, ClearRejectsArrays) {
  const KelBstr text(L"kept");
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_ARRAY | VT_BSTR;
  value.bstrVal = text.Get();
  EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE);
  EXPECT_EQ(text.View(), L"kept");
  EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
}
#endif

}  // namespace

#include <gtest/gtest.h>

#include <kellanseek/com.h>

namespace {

TEST(SubsetTest, AnArrayInAVariantIsNotTakenForItsElements) {
  const KelBstr text(L"kept");
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_ARRAY | VT_BSTR;
  value.bstrVal = text.Get();
  EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE);
  EXPECT_EQ(text.View(), L"kept");
  EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
}

}  // namespace

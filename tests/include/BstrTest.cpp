#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include <kellanseek/com.h>

namespace {

using namespace std::string_view_literals;

std::uint32_t LengthBefore(BSTR text) {
  std::uint32_t length = 0;
  std::memcpy(&length, reinterpret_cast<const char*>(text) - 4, 4);
  return length;
}

TEST(BstrTest, StoresTheByteLengthBeforeAndAZeroAfterTheText) {
  struct Case {
    const char* what;
    KelBstr owner;
    UINT bytes;
    const void* content = nullptr;  ///< Null if not checked.
  };
  const UINT width = sizeof(OLECHAR);
  const Case cases[] = {
      {"text", KelBstr::Attach(SysAllocString(L"Line 4")), 6 * width, L"Line 4"},
      {"empty text", KelBstr::Attach(SysAllocString(L"")), 0},
      {"part of a text", KelBstr::Attach(SysAllocStringLen(L"Line 4", 4)), 4 * width, L"Line"},
      {"embedded zero", KelBstr::Attach(SysAllocStringLen(L"a\0b", 3)), 3 * width, L"a\0b"},
      {"no text but a length", KelBstr::Attach(SysAllocStringLen(nullptr, 7)), 7 * width},
      {"bytes that are no whole characters", KelBstr::Attach(SysAllocStringByteLen("abcdefg", 7)), 7,
       "abcdefg"},
      {"no bytes", KelBstr::Attach(SysAllocStringByteLen(nullptr, 0)), 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    BSTR const text = c.owner.Get();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(LengthBefore(text), c.bytes);
    EXPECT_EQ(SysStringByteLen(text), c.bytes);
    EXPECT_EQ(SysStringLen(text), c.bytes / width);
    if (c.content != nullptr) {
      EXPECT_EQ(std::memcmp(text, c.content, c.bytes), 0);
    }
    OLECHAR end = L'x';
    std::memcpy(&end, reinterpret_cast<const char*>(text) + c.bytes, sizeof(end));
    EXPECT_EQ(end, L'\0');
  }
}

TEST(BstrTest, NullHasLengthZeroAndOverlongTextsBecomeNull) {
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  EXPECT_EQ(SysStringLen(nullptr), 0U);
  EXPECT_EQ(SysStringByteLen(nullptr), 0U);
  SysFreeString(nullptr);
  EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFFU), nullptr);
  EXPECT_EQ(SysAllocStringLen(nullptr, 0x80000000U), nullptr);
  EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFEU), nullptr);
}

TEST(KelBstrTest, CopiesAreIndependentAndMovesTransferOwnership) {
  KelBstr first(L"a\0b"sv);
  KelBstr copy(first);
  EXPECT_NE(copy.Get(), first.Get());
  EXPECT_EQ(copy.View(), L"a\0b"sv);

  BSTR const held = first.Get();
  KelBstr moved(std::move(first));
  EXPECT_EQ(moved.Get(), held);
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): moved-from is empty

  copy = std::move(moved);
  EXPECT_EQ(copy.Get(), held);
  EXPECT_FALSE(moved);  // NOLINT(bugprone-use-after-move)

  KelBstr& itself = copy;
  copy = itself;
  EXPECT_EQ(copy.View(), L"a\0b"sv);
  copy = std::move(itself);
  EXPECT_EQ(copy.View(), L"a\0b"sv);
}

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
#ifndef _WIN32
  value.vt = VT_ARRAY | VT_BSTR;
  value.bstrVal = text.Get();
  EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE);
  EXPECT_EQ(text.View(), L"kept");
  EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
#endif
}

}  // namespace

#include "diagnostics/KelObjectBase.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace kellanseek::diagnostics {
namespace {

class Holder final : public CKelObjectBase {};

std::wstring TextOf(CKelObjectBase& holder) {
  KelBstr text;
  EXPECT_EQ(holder.GetErrorText(text.Put()), S_OK);
  return text.Text();
}

TEST(KelObjectBaseTest, TruncatesMessagesToTheBuffer) {
  Holder holder;
  ReportError(holder, E_FAIL, L"U", {L"%s", 7}, std::wstring(5000, L'x'));
  EXPECT_EQ(TextOf(holder), std::wstring(kErrorBuffer - 1, L'x') + L":U[7]; ");
}

TEST(KelObjectBaseTest, KeepsATextUntilItIsCleared) {
  Holder holder;
  const KelBstr leftOver(L"left over");
  for (const char* const time : {"before the first failure", "once it is cleared"}) {
    SCOPED_TRACE(time);
    BSTR text = leftOver.Get();
    EXPECT_EQ(holder.GetErrorText(&text), S_OK);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(holder.SetErrorText(L"given"), S_OK);
    EXPECT_EQ(TextOf(holder), L"given");
    EXPECT_EQ(holder.SetErrorText(nullptr), S_OK);
  }
}

TEST(KelObjectBaseTest, ReadersSeeWholeTexts) {
  Holder holder;
  holder.SetErrorText(L"");
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i)
      ReportError(holder, E_FAIL, L"U", {L"%s", 1}, std::wstring(40, L"ab"[i % 2]));
  });
  for (int i = 0; i < 2000; ++i) {
    const std::wstring text = TextOf(holder);
    if (text.empty()) continue;
    ASSERT_EQ(text, std::wstring(40, text[0]) + L":U[1]; ");
  }
  writer.join();
}

}  // namespace
}  // namespace kellanseek::diagnostics

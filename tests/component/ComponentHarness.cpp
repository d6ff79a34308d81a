#include "tests/component/ComponentHarness.h"

#include <gtest/gtest.h>

#include <regex>

namespace kellanseek::test {

std::wstring ComponentHarness::ErrorMessage(std::size_t places) {
  const std::wstring text = ErrorText();
  const std::wregex form(L"(.*):\\w+\\[\\d+\\]; ((KelLanSeekImpl\\[\\d+\\]; )*)");
  std::wsmatch match;
  if (!std::regex_match(text, match, form)) return L"malformed: " + text;
  const std::wstring outer = match[2];
  const auto found = static_cast<std::size_t>(std::count(outer.begin(), outer.end(), L'[')) + 1;
  return found == places ? match[1].str() : L"wrong number of places: " + text;
}

std::wstring ComponentHarness::ErrorMessageOf(const std::string& method) {
  const std::wstring text = ErrorText();
  EXPECT_EQ(methodOfPlace_.emplace(text.substr(text.rfind(L':') + 1), method).first->second, method);
  return ErrorMessage();
}

std::vector<ULONG> ComponentHarness::List(ULONG& mark, bool unpublished) {
  KelRetrievalParams parameters = {};
  parameters.mark = mark;
  parameters.noOfElts = -2;
  KelComPtr<IKelEnumCtrlIdentity> list;
  EXPECT_EQ(unpublished ? seek->GetUnpublishedVCList(&parameters, list.Put())
                        : seek->GetCtrlList(&parameters, list.Put()),
            S_OK);
  EXPECT_EQ(parameters.bLast, 1);
  std::vector<ULONG> ids;
  AvailableCtrlsListItem item = {};
  while (list->RemNext(1, &item, nullptr) == S_OK) ids.push_back(item.lanSeekID);
  EXPECT_EQ(static_cast<std::size_t>(parameters.noOfElts), ids.size());
  mark = parameters.mark;
  return ids;
}

}  // namespace kellanseek::test

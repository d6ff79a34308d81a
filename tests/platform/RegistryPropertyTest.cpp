#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <kellanseek/com.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/RegistryText.h"

namespace kellanseek::test {
namespace {

using platform::WithoutRegistryTree;
using platform::WithRegistryValue;

const std::vector<std::string> kKeys = {"A", "A\\B", "A\\B\\C", "A\\BC", "a\\b\\D", "R\\{1}"};
const std::vector<std::string> kNames = {"", "n", "m", "Name", "N"};

std::string Folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), com::FoldCase);
  return text;
}

using Model = std::map<std::pair<std::string, std::string>, std::string>;

std::vector<std::string> Comments(std::string_view store) {
  std::vector<std::string> comments;
  while (!store.empty()) {
    const std::string_view line = com::TakeLine(store);
    if (line.starts_with("#") || line.starts_with("junk")) comments.emplace_back(line);
  }
  return comments;
}

/// Random lines of a store, valid and invalid.
rc::Gen<std::string> AnyStore() {
  const auto line = rc::gen::oneOf(
      rc::gen::map(rc::gen::elementOf(kKeys), [](const std::string& key) { return "[" + key + "]\n"; }),
      rc::gen::map(rc::gen::elementOf(kNames),
                   [](const std::string& name) { return (name.empty() ? "@" : name) + "=old\n"; }),
      rc::gen::elementOf(
          std::vector<std::string>{"\n", "# comment\n", "junk\n", "[broken\n", " \t\r\n", "=x\n"}));
  return rc::gen::map(rc::gen::container<std::vector<std::string>>(line),
                      [](const std::vector<std::string>& lines) {
                        std::string store;
                        for (const std::string& each : lines) store += each;
                        return store;
                      });
}

Model ReadAll(const std::string& store) {
  Model model;
  for (const std::string& key : kKeys) {
    for (const std::string& name : kNames) {
      const auto value = com::FindRegistryValue(store, key, name);
      if (value) model[{Folded(key), Folded(name)}] = *value;
    }
  }
  return model;
}

/// The public header's reader returns what the component wrote, whatever else the store contains.
RC_GTEST_PROP(RegistryProperty, TheReaderFindsEveryWrittenValue, ()) {
  std::string store = *AnyStore();
  const std::vector<std::string> comments = Comments(store);
  Model model = ReadAll(store);
  const int steps = *rc::gen::inRange(1, 12);
  for (int step = 0; step < steps; ++step) {
    const std::string key = *rc::gen::elementOf(kKeys);
    if (*rc::gen::inRange(0, 3) > 0) {
      const std::string name = *rc::gen::elementOf(kNames);
      const std::string value = *rc::gen::suchThat(rc::gen::string<std::string>(), platform::IsRegistryValue);
      store = WithRegistryValue(store, key, name, value);
      model[{Folded(key), Folded(name)}] = value;
    } else {
      std::erase_if(model, [tree = Folded(key)](const auto& each) {
        return each.first.first == tree || each.first.first.starts_with(tree + "\\");
      });
      store = WithoutRegistryTree(store, key).value_or(store);
    }
    RC_ASSERT(ReadAll(store) == model);
    RC_ASSERT(Comments(store) == comments);
  }
}

}  // namespace
}  // namespace kellanseek::test

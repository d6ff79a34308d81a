#include "platform/linux/RegistryText.h"

#include <kellanseek/com.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace kellanseek::platform {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kDefaultName = "@";
constexpr std::string_view kLineBreakers("\r\n\0", 3);

struct Line {
  enum class Kind { Header, Value, Blank, Other };

  Kind kind = Kind::Other;
  std::string_view whole;  ///< With its line end.
  std::string_view text;   ///< Without its line end.
  std::string_view key;    ///< The section it belongs to or begins; empty if none.
  std::string_view name;   ///< The name, if the line sets a value.
};

Line Classify(std::string_view text, std::string_view section) {
  Line line;
  line.text = text;
  line.key = section;
  const std::string_view content = com::TrimBlanks(text);
  const std::size_t equals = text.find('=');
  if (content.empty()) {
    line.kind = Line::Kind::Blank;
  } else if (content.front() == '[') {
    line.kind = Line::Kind::Header;
    line.key = content.back() == ']' ? content.substr(1, content.size() - 2) : std::string_view();
  } else if (content.front() != '#' && content.front() != ';' && equals != std::string_view::npos) {
    line.kind = Line::Kind::Value;
    line.name = com::TrimBlanks(text.substr(0, equals));
  }
  return line;
}

/// Splits a store without a byte order mark into classified lines.
std::vector<Line> Lines(std::string_view store) {
  std::vector<Line> lines;
  std::string_view section;
  while (!store.empty()) {
    std::string_view rest = store;
    const std::string_view text = com::TakeLine(rest);
    Line line = Classify(text, section);
    line.whole = store.substr(0, store.size() - rest.size());
    section = line.key;
    lines.push_back(line);
    store = rest;
  }
  return lines;
}

std::string_view TakeByteOrderMark(std::string_view& store) {
  if (!store.starts_with(kByteOrderMark)) return {};
  store.remove_prefix(kByteOrderMark.size());
  return kByteOrderMark;
}

void EndLastLine(std::string& text) {
  if (!text.empty() && text.back() != '\n') text += '\n';
}

bool InTree(std::string_view key, std::string_view tree) {
  if (key.size() < tree.size() || !com::SameRegistryName(key.substr(0, tree.size()), tree)) return false;
  return key.size() == tree.size() || key[tree.size()] == '\\';
}

struct Value {
  std::string_view key;
  std::string_view name;
  std::string_view value;

  bool operator==(const Value& other) const { return value == other.value; }
};

std::string Folded(std::string_view text) {
  std::string folded(text);
  std::transform(folded.begin(), folded.end(), folded.begin(), com::FoldCase);
  return folded;
}

/// The effective values below a key and its subkeys, or of the whole store if `tree` is empty.
std::map<std::pair<std::string, std::string>, Value> Values(std::string_view store,
                                                            std::string_view tree = {}) {
  std::map<std::pair<std::string, std::string>, Value> values;
  TakeByteOrderMark(store);
  for (const Line& line : Lines(store)) {
    // A value with an empty name cannot be looked up.
    if (line.kind != Line::Kind::Value || line.key.empty() || line.name.empty()) continue;
    if (!tree.empty() && !InTree(line.key, tree)) continue;
    values[{Folded(line.key), Folded(line.name)}] = {line.key, line.name,
                                                     line.text.substr(line.text.find('=') + 1)};
  }
  return values;
}

std::set<std::string_view> Comments(std::string_view store) {
  std::set<std::string_view> comments;
  TakeByteOrderMark(store);
  for (const Line& line : Lines(store)) {
    if (line.kind == Line::Kind::Other) comments.insert(line.text);
  }
  return comments;
}

}  // namespace

std::string WithRegistryValue(std::string_view store, std::string_view key, std::string_view name,
                              std::string_view value) {
  if (name.empty()) name = kDefaultName;
  std::string result(TakeByteOrderMark(store));
  const std::vector<Line> lines = Lines(store);
  const Line* present = nullptr;
  const Line* lastOfKey = nullptr;
  for (const Line& line : lines) {
    if (line.kind == Line::Kind::Blank || !com::SameRegistryName(line.key, key)) continue;
    lastOfKey = &line;
    if (line.kind == Line::Kind::Value && com::SameRegistryName(line.name, name)) present = &line;
  }

  const std::string valueLine = std::string(name) + "=" + std::string(value) + "\n";
  for (const Line& line : lines) {
    if (&line == present) {
      result.append(line.text.substr(0, line.text.find('=') + 1)).append(value);
      result.append(line.whole.substr(line.text.size()));
    } else {
      result.append(line.whole);
      if (present == nullptr && &line == lastOfKey) {
        EndLastLine(result);
        result.append(valueLine);
      }
    }
  }
  if (lastOfKey == nullptr) {
    EndLastLine(result);
    if (!lines.empty() && lines.back().kind != Line::Kind::Blank) result += '\n';
    result.append("[").append(key).append("]\n").append(valueLine);
  }
  return result;
}

std::optional<std::string> WithoutRegistryTree(std::string_view store, std::string_view key) {
  std::string_view lines = store;
  std::string result(TakeByteOrderMark(lines));
  bool found = false;
  for (const Line& line : Lines(lines)) {
    if (!line.key.empty() && InTree(line.key, key)) {
      found = true;
      if (line.kind != Line::Kind::Other) continue;
    }
    result.append(line.whole);
  }
  if (!found) return std::nullopt;
  // A byte order mark inside the text is meaningless and must not become one by moving to the front.
  if (!store.starts_with(kByteOrderMark) && result.starts_with(kByteOrderMark)) return "\n" + result;
  return result;
}

std::optional<std::string> WithRegistryTreeOf(std::string_view store, std::string_view other,
                                              std::string_view key) {
  std::optional<std::string> result = WithoutRegistryTree(store, key);
  const auto values = Values(other, key);
  if (!result) return std::nullopt;
  if (values == Values(store, key)) return std::string(store);
  for (const auto& [names, value] : values)
    result = WithRegistryValue(*result, value.key, value.name, value.value);
  return result;
}

bool IsPartOfRegistry(std::string_view store, std::string_view other) {
  const auto part = Values(store);
  const auto whole = Values(other);
  const auto comments = Comments(other);
  const auto own = Comments(store);
  return std::includes(comments.begin(), comments.end(), own.begin(), own.end()) &&
         std::all_of(part.begin(), part.end(), [&whole](const auto& entry) {
           const auto found = whole.find(entry.first);
           return found != whole.end() && found->second == entry.second;
         });
}

bool IsRegistryKey(std::string_view key) {
  return !key.empty() && key.front() != '\\' && key.back() != '\\' &&
         key.find_first_of(kLineBreakers) == std::string_view::npos;
}

bool IsRegistryName(std::string_view name) {
  if (name.empty()) return true;
  const bool plain = name.find_first_of(kLineBreakers) == std::string_view::npos &&
                     name.find('=') == std::string_view::npos && com::TrimBlanks(name) == name;
  return plain && name.front() != '[' && name.front() != '#' && name.front() != ';' && name != kDefaultName;
}

bool IsRegistryValue(std::string_view value) {
  return value.find_first_of(kLineBreakers) == std::string_view::npos;
}

}  // namespace kellanseek::platform

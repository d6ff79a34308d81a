#include "platform/win32/ElementLines.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace kellanseek::platform {

namespace {

/// In two-byte encodings the ASCII characters of the markup alternate with NULs.
std::string WithoutNuls(std::string_view document) {
  std::string text;
  text.reserve(document.size());
  std::copy_if(document.begin(), document.end(), std::back_inserter(text),
               [](char character) { return character != '\0'; });
  return text;
}

/// The end of a start tag. A ">" inside quotes does not end it.
std::size_t EndOfStartTag(std::string_view markup) {
  char quote = '\0';
  for (std::size_t at = 0; at < markup.size(); ++at) {
    const char character = markup[at];
    if (quote != '\0') {
      if (character == quote) quote = '\0';
    } else if (character == '"' || character == '\'') {
      quote = character;
    } else if (character == '>') {
      return at + 1;
    }
  }
  return markup.size();
}

std::size_t EndAfter(std::string_view markup, std::string_view terminator) {
  const std::size_t found = markup.find(terminator);
  return found == std::string_view::npos ? markup.size() : found + terminator.size();
}

/// The length of the markup that begins with the "<" at the front.
std::size_t MarkupLength(std::string_view markup) {
  if (markup.starts_with("<!--")) return EndAfter(markup, "-->");
  if (markup.starts_with("<![CDATA[")) return EndAfter(markup, "]]>");
  if (markup.starts_with("<?")) return EndAfter(markup, "?>");
  return EndOfStartTag(markup);
}

}  // namespace

ElementLines::ElementLines(std::string_view document) {
  const std::string text = WithoutNuls(document);
  std::vector<std::size_t> open;
  std::size_t line = 1;
  std::size_t counted = 0;
  for (std::size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at)) {
    const std::string_view markup = std::string_view(text).substr(at);
    const std::string_view tag = markup.substr(0, MarkupLength(markup));
    line += static_cast<std::size_t>(std::count(text.data() + counted, text.data() + at, '\n'));
    counted = at;
    at += tag.size();
    if (tag.starts_with("<!") || tag.starts_with("<?")) continue;
    if (tag.starts_with("</")) {
      if (!open.empty()) open.pop_back();
      continue;
    }
    const std::size_t element = Add(open.empty() ? kNone : open.back(), line);
    depth_ = std::max(depth_, open.size() + 1);
    if (!tag.ends_with("/>")) open.push_back(element);
  }
}

std::size_t ElementLines::Add(std::size_t parent, std::size_t line) {
  const std::size_t element = elements_.size();
  elements_.push_back({line});
  if (!Known(parent)) return element;
  Element& above = elements_[parent];
  (above.lastChild == kNone ? above.firstChild : elements_[above.lastChild].nextSibling) = element;
  above.lastChild = element;
  return element;
}

}  // namespace kellanseek::platform

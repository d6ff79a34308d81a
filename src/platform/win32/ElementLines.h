#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace kellanseek::platform {

/// The starting lines of the elements of a well-formed document, as a tree of the same shape. The system's
/// XML library does not record them.
class ElementLines {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  static constexpr std::size_t kRoot = 0;

  /// Without a document every line is 0.
  ElementLines() = default;
  explicit ElementLines(std::string_view document);

  /// Nesting depth of the elements; 1 if there is only the root.
  std::size_t Depth() const { return depth_; }
  /// Counted from 1; 0 for an unknown element.
  std::size_t LineOf(std::size_t element) const { return Known(element) ? elements_[element].line : 0; }
  std::size_t FirstChild(std::size_t element) const {
    return Known(element) ? elements_[element].firstChild : kNone;
  }
  std::size_t NextSibling(std::size_t element) const {
    return Known(element) ? elements_[element].nextSibling : kNone;
  }

 private:
  struct Element {
    std::size_t line = 0;
    std::size_t firstChild = kNone;
    std::size_t nextSibling = kNone;
    std::size_t lastChild = kNone;
  };

  bool Known(std::size_t element) const { return element < elements_.size(); }
  std::size_t Add(std::size_t parent, std::size_t line);

  std::vector<Element> elements_;
  std::size_t depth_ = 0;
};

}  // namespace kellanseek::platform

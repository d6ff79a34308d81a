#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "screen/Key.h"

namespace kellanseek::kelseek {

/// Decodes the bytes that a terminal sends: characters in UTF-8 and escape sequences of the VT100 family, cut
/// anywhere between two calls. Sequences of other keys are dropped, and so is what is no UTF-8.
class KeyReader {
 public:
  std::vector<KeyPress> Read(std::string_view bytes);

  /// Whether the last bytes may be the beginning of a longer sequence.
  bool Pending() const { return !pending_.empty(); }
  /// Nothing followed for a moment: the beginning stands for itself, above all a single Escape.
  std::vector<KeyPress> Flush();

 private:
  std::string pending_;
};

}  // namespace kellanseek::kelseek

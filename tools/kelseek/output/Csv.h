#pragma once

#include <string>
#include <vector>

namespace kellanseek::kelseek {

/// One line of a CSV file after RFC 4180, with its line end. Texts are UTF-8 and become safe to print, and
/// safe for spreadsheets, which take a text for a formula if it begins with one of = + - @, a tab or a
/// carriage return: such a text gets a leading apostrophe.
std::string CsvLine(const std::vector<std::string>& cells);

}  // namespace kellanseek::kelseek

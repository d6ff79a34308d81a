#pragma once

#include <kellanseek/client.hpp>

#include <optional>
#include <string>

namespace kellanseek::kelseek {

/// The text of a static controller file with one more controller, as an entry in front of the end of the root
/// element; everything else stays as it is. In ISO-8859-1, as these files are. nullopt if the text has no
/// such root element.
std::optional<std::string> WithController(const std::string& file, const client::Controller& controller);

/// The configuration directory of this process. Throws CommandError if there is none.
std::wstring DirectoryForSaving();

struct Saved {
  std::wstring file;
  bool wasThere = false;  ///< An entry had the address already, so the file was not changed.
};
/// Writes a controller into the static controller file of a directory; creates both if necessary. The file is
/// replaced as a whole, after the component's own parser has read the new one. Calls at the same time, of
/// this process or others, wait for each other, up to ten seconds. Throws CommandError with the reason; the
/// file is then as it was.
Saved SaveController(const std::wstring& directory, const client::Controller& controller);

}  // namespace kellanseek::kelseek

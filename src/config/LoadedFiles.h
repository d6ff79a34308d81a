#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "config/Elements.h"

namespace kellanseek::config {

/// What became of a configuration file at the creation of a component object.
struct LoadedFile {
  enum class Outcome {
    NoDirectory,  ///< No configuration directory is set.
    Absent,       ///< The file does not exist.
    Refused,      ///< It could not be read or is no valid file; the settings keep their values.
    Read,
  };
  Outcome outcome = Outcome::NoDirectory;
  std::wstring path;
  std::wstring remark;  ///< Why the file was refused, for the user.
};

struct LoadedFiles {
  std::wstring directory;
  LoadedFile settings;
  LoadedFile controllers;
  std::vector<const Element*> settingsStated;  ///< The elements whose texts were read.
  std::size_t controllersListed{};             ///< Entries of the file.
  std::size_t controllersAccepted{};           ///< Of these.
};

}  // namespace kellanseek::config

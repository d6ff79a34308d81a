#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "diagnostics/NoDebugOutput.h"

namespace kellanseek::fuzz {

/// Ends the program, and with it the run, where something does not hold.
inline void Require(bool held) {
  if (!held) std::abort();
}

/// A file in memory with a path, to feed arbitrary bytes to code that reads files.
class FuzzFile {
 public:
  explicit FuzzFile(std::string_view bytes) : descriptor_(::memfd_create("fuzz", 0)) {
    Require(::write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  }
  ~FuzzFile() { ::close(descriptor_); }
  FuzzFile(const FuzzFile&) = delete;
  FuzzFile& operator=(const FuzzFile&) = delete;

  std::wstring Path() const { return L"/proc/self/fd/" + std::to_wstring(descriptor_); }

 private:
  int descriptor_;
};

/// Reads a file with a parser of the component. Returns whether the file was accepted, which depends on its
/// beginning alone unless memory runs out.
template <typename Parser, typename Into>
bool ReadWith(const FuzzFile& file, Into& into, bool enoughMemory = true) {
  diagnostics::NoDebugOutput output;
  Parser parser(output);
  const bool opened = SUCCEEDED(parser.Init(file.Path()));
  const bool read = SUCCEEDED(parser.GetInformation(into));
  Require(opened == read || (opened && !enoughMemory));
  return read;
}

}  // namespace kellanseek::fuzz

#include "platform/WireTap.h"

namespace kellanseek::platform {

// Windows has no such service without a driver of its own.
std::unique_ptr<WireTap> OpenWireTap(std::string& why) {
  why = "Windows needs a driver for it.";
  return nullptr;
}

}  // namespace kellanseek::platform

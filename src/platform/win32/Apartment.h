#pragma once

#include "platform/win32/System.h"

#include <objbase.h>

namespace kellanseek::platform {

/// Keeps the calling thread in the multithreaded COM apartment for the lifetime of a scope. A thread that is
/// already in a single-threaded apartment stays there, which serves as well.
class MultithreadedApartment {
 public:
  MultithreadedApartment() : joined_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
  ~MultithreadedApartment() {
    if (joined_) CoUninitialize();
  }
  MultithreadedApartment(const MultithreadedApartment&) = delete;
  MultithreadedApartment& operator=(const MultithreadedApartment&) = delete;

 private:
  bool joined_;
};

}  // namespace kellanseek::platform

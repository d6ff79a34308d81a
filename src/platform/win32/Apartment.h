#pragma once

#include "platform/win32/System.h"

#include <objbase.h>

namespace kellanseek::platform {

/// Makes the calling thread a member of the multithreaded COM apartment for the life of a scope. A thread
/// that has joined a single-threaded one stays there, which serves as well.
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

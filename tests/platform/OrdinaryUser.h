#pragma once

#include <unistd.h>

#include <stdexcept>

namespace kellanseek::test {

/// Drops the superuser's rights during its lifetime, for tests of missing permissions. For tests with one
/// thread.
class OrdinaryUser {
 public:
  OrdinaryUser() : before_(::geteuid()) {
    constexpr uid_t kNobody = 65534;
    if (before_ == 0 && ::seteuid(kNobody) != 0)
      throw std::runtime_error("cannot give the superuser's rights up");
  }
  ~OrdinaryUser() {
    if (::geteuid() != before_ && ::seteuid(before_) != 0) ::_exit(1);
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  uid_t before_;
};

}  // namespace kellanseek::test

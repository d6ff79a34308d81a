#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/NetworkAddresses.h"

namespace kellanseek::test {

/// A host whose addresses the test sets. Thread-safe.
class FakeNetworkAddresses : public platform::NetworkAddresses {
 public:
  void AddInterface(std::uint32_t index, std::initializer_list<std::uint8_t> physicalAddress) {
    platform::InterfaceRow row;
    row.adminStatus = platform::kInterfaceUp;
    row.physicalAddressLength = physicalAddress.size();
    std::copy(physicalAddress.begin(), physicalAddress.end(), row.physicalAddress.begin());
    SetInterface(index, row);
  }
  void SetInterface(std::uint32_t index, const platform::InterfaceRow& row) {
    const std::lock_guard lock(mutex_);
    interfaces_[index] = row;
  }
  void AddAddress(std::uint32_t interfaceIndex, std::string_view address, std::string_view mask) {
    const std::lock_guard lock(mutex_);
    addresses_.push_back({platform::ParseIpv4(address), platform::ParseIpv4(mask), interfaceIndex});
  }
  void RemoveAddress(std::string_view address) {
    const std::lock_guard lock(mutex_);
    std::erase_if(addresses_, [wanted = platform::ParseIpv4(address)](const platform::AddressRow& row) {
      return row.address == wanted;
    });
  }

  std::optional<std::vector<platform::AddressRow>> Addresses() override {
    const std::lock_guard lock(mutex_);
    return addresses_;
  }
  std::optional<platform::InterfaceRow> Interface(std::uint32_t interfaceIndex) override {
    const std::lock_guard lock(mutex_);
    const auto found = interfaces_.find(interfaceIndex);
    if (found == interfaces_.end()) return std::nullopt;
    return found->second;
  }

  std::vector<platform::InterfaceDetails> Details() override {
    const std::lock_guard lock(mutex_);
    std::vector<platform::InterfaceDetails> all;
    for (const auto& [index, row] : interfaces_) {
      const bool isUp = row.adminStatus == platform::kInterfaceUp;
      const bool isLoopback = row.type == platform::kLoopbackInterface;
      all.push_back({index, L"eth" + std::to_wstring(index), isUp, isUp, isLoopback, false, true, false});
    }
    return all;
  }

 private:
  std::mutex mutex_;
  std::vector<platform::AddressRow> addresses_;
  std::map<std::uint32_t, platform::InterfaceRow> interfaces_;
};

}  // namespace kellanseek::test

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "EngineHarness.h"
#include "controllers/CtrlInfo.h"

namespace kellanseek::test {

/// The rules for answers and notices as a plain walk over a plain list, for comparison with the indexed ones.
class PlainEngine {
 public:
  std::vector<CtrlInfo> records;
  std::vector<ClientEvent> events;
  std::uint32_t nextId = 11;

  /// Types 1 to 4. `pattern` has its address, interface and kind as the dispatcher would have set them.
  void Handle(std::uint32_t type, CtrlInfo pattern, engine::MsgSource source, std::int32_t position,
              platform::Ipv4 interfaceAddress);
  void Remove(std::size_t position, LanSeekEventReason reason, bool keep) {
    RemoveActive(position, reason, keep);
  }

 private:
  static constexpr int kNotRun = -1;

  void RemoveActive(std::size_t& position, LanSeekEventReason reason, bool keep = false);
  bool Collide(std::uint32_t type, CtrlInfo& pattern, engine::MsgSource source, int& out);
  int FindCtrl(const CtrlInfo& pattern) const;
  void Identity(int p, const CtrlInfo& pattern, std::int32_t position, platform::Ipv4 interfaceAddress);
  void Alive(int p, const CtrlInfo& pattern, std::int32_t position, platform::Ipv4 interfaceAddress);
  void AddNew(CtrlInfo pattern, bool published);
};

}  // namespace kellanseek::test

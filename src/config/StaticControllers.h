#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "config/Settings.h"
#include "controllers/CtrlInfo.h"
#include "controllers/TextKeys.h"
#include "diagnostics/Trace.h"

namespace kellanseek::config {

/// Decides, in file order, which static controllers to accept. In complete-info mode the network will neither
/// complete nor correct them, so they need a system ID and a version, and system IDs must differ.
class StaticControllerCheck {
 public:
  enum class Verdict {
    Accepted,
    NoAddress,
    InvalidAddress,
    NoSystemID,
    NoVersion,
    AddressConflict,
    SystemIDConflict,
  };
  struct Decision {
    Verdict verdict = Verdict::Accepted;
    std::size_t conflicting{};  ///< For a conflict: index of the earlier controller among the accepted.
  };

  explicit StaticControllerCheck(bool completeInfoMode);

  /// Decides on the next controller. An accepted controller counts in the conflicts of later ones.
  Decision Decide(const controllers::CtrlInfo& controller);

 private:
  using Positions =
      std::unordered_map<std::wstring, std::size_t, controllers::LocaleHash, controllers::LocaleEquals>;

  Decision Judge(const controllers::CtrlInfo& controller) const;

  bool completeInfoMode_;
  std::size_t accepted_ = 0;
  Positions byAddress_;
  Positions bySystemID_;
};

/// Returns the accepted controllers, without lanSeekIDs, and traces the reason for each rejected one.
std::vector<controllers::CtrlInfo> AcceptStaticControllers(std::vector<controllers::CtrlInfo> listed,
                                                           const CKelLanSeekConfigSettings& settings,
                                                           const diagnostics::Tracer& trace);

}  // namespace kellanseek::config

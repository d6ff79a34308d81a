#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "config/Settings.h"
#include "controllers/CtrlInfo.h"
#include "controllers/TextKeys.h"
#include "diagnostics/Trace.h"

namespace kellanseek::config {

/// Decides, controller by controller in the order of the file, which static controllers are taken. Without
/// broadcasts and polls nothing on the network will complete or correct them, so then they must be complete
/// in themselves.
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
    std::size_t conflicting = 0;  ///< For the two conflicts: which of the accepted ones, counted from 0.
  };

  explicit StaticControllerCheck(bool completeInfoMode);

  /// Decides on the next controller; an accepted one takes part in the conflicts of later ones.
  Decision Decide(const CtrlInfo& controller);

 private:
  using Positions = std::unordered_map<std::wstring, std::size_t, LocaleHash, LocaleEquals>;

  Decision Judge(const CtrlInfo& controller) const;

  bool completeInfoMode_;
  std::size_t accepted_ = 0;
  Positions byAddress_;
  Positions bySystemID_;
};

/// The static controllers to start with, ready to be put into the table under a lanSeekID each. Every other
/// one gives a trace with the reason.
std::vector<CtrlInfo> AcceptStaticControllers(std::vector<CtrlInfo> listed,
                                              const CKelLanSeekConfigSettings& settings,
                                              const diagnostics::Tracer& trace);

}  // namespace kellanseek::config

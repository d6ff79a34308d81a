#include "config/StaticControllers.h"

#include <string_view>
#include <utility>

#include "platform/Ipv4.h"

namespace kellanseek::config {
namespace {

using controllers::CtrlInfo;

using Verdict = StaticControllerCheck::Verdict;

void TraceRejection(Verdict verdict, const std::wstring& address, const std::wstring& conflictingAddress,
                    const diagnostics::Tracer& trace) {
  switch (verdict) {
    case Verdict::Accepted: return;
    case Verdict::NoAddress:
      return trace.LongError(L"Lanseek configuration: Static controller with no IP-address found. Removed.");
    case Verdict::InvalidAddress:
      return trace.LongError(L"Lanseek configuration: Static controller has invalid IP-address %s. Removed.",
                             address);
    case Verdict::NoSystemID:
      return trace.LongError(L"LanSeek configuration: Static controller %s has invalid system ID. Removed",
                             address);
    case Verdict::NoVersion:
      return trace.LongError(L"LanSeek configuration: Static controller %s has invalid version info. Removed",
                             address);
    case Verdict::AddressConflict:
      return trace.LongError(L"LanSeek configuration: IP-conflict for static controllers %s.", address);
    case Verdict::SystemIDConflict:
      return trace.LongError(
          L"LanSeek configuration: System ID conflict for static controllers %s and %s. The latter is "
          L"removed",
          conflictingAddress, address);
  }
}

}  // namespace

StaticControllerCheck::StaticControllerCheck(bool completeInfoMode)
    : completeInfoMode_(completeInfoMode),
      byAddress_(0, controllers::LocaleHash{controllers::RandomKey()}),
      bySystemID_(0, controllers::LocaleHash{controllers::RandomKey()}) {}

StaticControllerCheck::Decision StaticControllerCheck::Judge(const CtrlInfo& controller) const {
  if (controller.ctrlAddress.empty()) return {Verdict::NoAddress};
  if (platform::ParseIpv4(std::wstring_view(controller.ctrlAddress)) == platform::kNoAddress) {
    return {Verdict::InvalidAddress};
  }
  if (completeInfoMode_ && controller.systemID.empty()) return {Verdict::NoSystemID};
  if (completeInfoMode_ && controller.versionMajor == controllers::kVersionUnknown)
    return {Verdict::NoVersion};

  // The earliest accepted controller that conflicts is reported; if it conflicts on both keys, the address.
  const auto sameAddress = byAddress_.find(controller.ctrlAddress);
  const auto sameSystem = completeInfoMode_ ? bySystemID_.find(controller.systemID) : bySystemID_.end();
  const std::size_t addressAt = sameAddress == byAddress_.end() ? accepted_ : sameAddress->second;
  const std::size_t systemAt = sameSystem == bySystemID_.end() ? accepted_ : sameSystem->second;
  if (addressAt == accepted_ && systemAt == accepted_) return {Verdict::Accepted};
  if (addressAt <= systemAt) return {Verdict::AddressConflict, addressAt};
  return {Verdict::SystemIDConflict, systemAt};
}

StaticControllerCheck::Decision StaticControllerCheck::Decide(const CtrlInfo& controller) {
  const Decision decision = Judge(controller);
  if (decision.verdict == Verdict::Accepted) {
    byAddress_.emplace(controller.ctrlAddress, accepted_);
    if (completeInfoMode_) bySystemID_.emplace(controller.systemID, accepted_);
    ++accepted_;
  }
  return decision;
}

std::vector<CtrlInfo> AcceptStaticControllers(std::vector<CtrlInfo> listed,
                                              const CKelLanSeekConfigSettings& settings,
                                              const diagnostics::Tracer& trace) {
  StaticControllerCheck check(settings.CompleteInfoMode());
  std::size_t accepted = 0;  // They stand at the front of the list.
  for (CtrlInfo& controller : listed) {
    const auto decision = check.Decide(controller);
    if (decision.verdict != Verdict::Accepted) {
      const bool conflict = decision.conflicting < accepted;
      TraceRejection(decision.verdict, controller.ctrlAddress,
                     conflict ? listed[decision.conflicting].ctrlAddress : std::wstring(), trace);
      continue;
    }
    if (settings.CompleteInfoMode()) {
      controller.ctrlStatus = CtrlAvailable;
      controller.published = true;
    }
    if (CtrlInfo& place = listed[accepted++]; &place != &controller) place = std::move(controller);
  }
  listed.resize(accepted);
  return listed;
}

}  // namespace kellanseek::config

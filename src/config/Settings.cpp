#include "config/Settings.h"

#include <algorithm>
#include <limits>

#include "controllers/PollSchedule.h"

namespace kellanseek::config {
namespace {

constexpr std::int32_t kMillisecondsPerSecond = 1000;
constexpr std::int32_t kMaxInt = std::numeric_limits<std::int32_t>::max();

std::int32_t SafeRetries(std::int32_t configured) { return std::min(configured, kMaxInt - 1); }

std::int32_t SafeInterval(std::int32_t configured) { return configured == 0 ? 1 : configured; }

platform::Ipv4 Address(const std::wstring& text) {
  return text.empty() ? platform::kNoAddress : platform::ParseIpv4(std::wstring_view(text));
}

}  // namespace

bool SubNetEntry::Valid() const {
  return Address(IPNumber) != platform::kNoAddress && Address(SubNetMask) != platform::kNoAddress;
}

bool SubNetEntry::Matches(platform::Ipv4 address, platform::Ipv4 mask) const {
  return Valid() && Address(SubNetMask) == mask && (Address(IPNumber) & mask) == (address & mask);
}

bool CKelLanSeekConfigSettings::Selects(platform::Ipv4 address, platform::Ipv4 mask) const {
  if (InterfaceMode == AllInterfaces) return true;
  const bool listed = std::any_of(SubNets.begin(), SubNets.end(),
                                  [&](const SubNetEntry& entry) { return entry.Matches(address, mask); });
  return listed == (InterfaceMode == UseListed);
}

void CKelLanSeekConfigSettings::ValidateInterfaces(const diagnostics::Tracer& tracer) {
  const auto removed = std::erase_if(SubNets, [](const SubNetEntry& entry) { return !entry.Valid(); });
  for (std::size_t i = 0; i < removed; ++i) {
    tracer.Error(L"CKelLanSeekConfigSettings: Bad interface specified. Removed");
  }
  if (DynamicDetectionEnabled == 0) {
    InterfaceMode = UseListed;
    SubNets.clear();
  } else if (InterfaceMode == UseListed && SubNets.empty()) {
    DynamicDetectionEnabled = 0;
  }
}

std::int32_t CKelLanSeekConfigSettings::TickMilliseconds() const {
  return std::clamp(TickInterval, 1, kMillisecondsPerSecond);
}

std::int32_t CKelLanSeekConfigSettings::TicksPerSecond() const {
  return kMillisecondsPerSecond / TickMilliseconds();
}

std::int32_t CKelLanSeekConfigSettings::Ticks(std::int32_t seconds) const {
  if (seconds < 0) return controllers::kNone;
  return static_cast<std::int32_t>(std::min<std::int64_t>(std::int64_t{TicksPerSecond()} * seconds, kMaxInt));
}

std::int32_t CKelLanSeekConfigSettings::RefreshIntervalTicks() const {
  return Ticks(SafeInterval(RefreshInterval));
}

std::int32_t CKelLanSeekConfigSettings::NonLocalRefreshIntervalTicks() const {
  return Ticks(SafeInterval(NonLocalRefreshInterval));
}

std::int32_t CKelLanSeekConfigSettings::RetryCount() const { return SafeRetries(Retries); }

std::int32_t CKelLanSeekConfigSettings::NonLocalRetryCount() const { return SafeRetries(NonLocalRetries); }

std::uint32_t CKelLanSeekConfigSettings::MaxRequestsPerTick() const {
  const std::int64_t requests =
      std::int64_t{TickMilliseconds()} * MaxRequestsPerSecond / kMillisecondsPerSecond;
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(requests, 1, kMaxInt));
}

}  // namespace kellanseek::config

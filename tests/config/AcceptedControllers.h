#pragma once

#include <string>
#include <vector>

#include "config/StaticControllers.h"
#include "tests/support/FakeDebugOutput.h"

namespace kellanseek::test {

inline controllers::CtrlInfo Controller(const std::wstring& address, const std::wstring& systemID = L"",
                                        std::uint32_t major = 6) {
  controllers::CtrlInfo record;
  record.ctrlAddress = address;
  record.systemID = systemID;
  record.versionMajor = major;
  return record;
}

inline config::CKelLanSeekConfigSettings Settings(bool completeInfoMode) {
  config::CKelLanSeekConfigSettings settings;
  if (completeInfoMode) settings.DynamicDetectionEnabled = settings.NonLocalUpdatesEnabled = 0;
  return settings;
}

/// The accepted addresses and the traces.
struct Outcome {
  std::vector<std::wstring> addresses;
  std::vector<std::wstring> messages;
  bool operator==(const Outcome&) const = default;
};

inline Outcome Accept(const std::vector<controllers::CtrlInfo>& listed, bool completeInfoMode) {
  FakeDebugOutput traces;
  Outcome outcome;
  const auto accepted =
      config::AcceptStaticControllers(listed, Settings(completeInfoMode), {traces, L"KelLanSeekImpl"});
  for (const controllers::CtrlInfo& each : accepted) outcome.addresses.push_back(each.ctrlAddress);
  outcome.messages = traces.Messages();
  return outcome;
}

}  // namespace kellanseek::test

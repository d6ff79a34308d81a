#pragma once

#include <cstdint>
#include <string_view>

#include <kellanseek/KelLanSeek.h>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "diagnostics/Trace.h"
#include "engine/CtrlLifecycle.h"
#include "platform/Process.h"

namespace kellanseek::engine {

/// The virtual controllers that run as processes on this host. Thread-safe.
class LocalVCs {
 public:
  LocalVCs(controllers::CtrlTable& table, const config::CKelLanSeekConfigSettings& settings,
           CtrlLifecycle& lifecycle, platform::ProcessTable& processes, platform::DebugOutput& debugOutput);

  /// Registers a virtual controller, unlisted until its identity message arrives. Returns S_OK; E_INVALIDARG
  /// if `vci`, its object or the identity is missing or its interface is not IID_KelVirtualController;
  /// KEL_E_SYSTEMID_PRESENT if any record has the system identity.
  HRESULT RegisterVC(std::wstring_view systemPath, std::wstring_view systemID, std::uint32_t processID,
                     RemoteVCPublication remotePublication, const VCInterface* vci);

  /// Withdraws the controller with this system identity; with `keep` its record stays, unlisted. Returns S_OK
  /// or KEL_E_NOT_FOUND.
  HRESULT RemoveVC(std::wstring_view systemID, bool keep);

 private:
  controllers::CtrlTable& table_;
  const config::CKelLanSeekConfigSettings& settings_;
  CtrlLifecycle& lifecycle_;
  platform::ProcessTable& processes_;
  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::engine

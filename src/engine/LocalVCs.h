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

/// The virtual controllers that run as processes on this host. Callable from any thread.
class LocalVCs {
 public:
  LocalVCs(CtrlTable& table, const CKelLanSeekConfigSettings& settings, CtrlLifecycle& lifecycle,
           platform::ProcessTable& processes, platform::DebugOutput& debugOutput);

  /// Takes a virtual controller in, unlisted until its own identity message comes. S_OK; E_INVALIDARG when
  /// `vci`, its object or the identity is missing or its interface is not the one that every virtual
  /// controller offers; KEL_E_SYSTEMID_PRESENT when any record has that system identity.
  HRESULT RegisterVC(std::wstring_view systemPath, std::wstring_view systemID, std::uint32_t processID,
                     RemoteVCPublication remotePublication, const VCInterface* vci);

  /// Withdraws the controller with that system identity; with `keep` its record stays, unlisted. S_OK or
  /// KEL_E_NOT_FOUND.
  HRESULT RemoveVC(std::wstring_view systemID, bool keep);

 private:
  CtrlTable& table_;
  const CKelLanSeekConfigSettings& settings_;
  CtrlLifecycle& lifecycle_;
  platform::ProcessTable& processes_;
  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::engine

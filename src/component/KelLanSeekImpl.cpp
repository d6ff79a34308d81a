#include "component/KelLanSeekImpl.h"

#include <exception>
#include <memory>
#include <string>

#include "config/Configuration.h"
#include "diagnostics/StartThread.h"
#include "platform/Process.h"
#include "platform/Thread.h"

namespace kellanseek::component {
namespace {

/// The reference count during destruction, so high that temporary references do not destroy the object again.
constexpr ULONG kDestroying = 0x40000000;

}  // namespace

HRESULT CKelLanSeek::Create(IUnknown* outer, REFIID iid, void** object,
                            const ComponentEnvironment& environment, ComponentModule& module) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr && !IsEqualIID(iid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
  CKelLanSeek* created = nullptr;
  HRESULT result = S_OK;
  try {
    created = new CKelLanSeek(outer, environment, module);
    // References taken and released during the start must not destroy the object.
    created->AddOwnRef();
    created->FinalConstruct();
    created->references_.fetch_sub(1, std::memory_order_relaxed);
    result = created->inner_.QueryInterface(iid, object);
  } catch (const std::bad_alloc&) {
    result = E_OUTOFMEMORY;
  } catch (const std::exception& error) {
    // For instance if the system has no event left for the object.
    diagnostics::Tracer(environment.engine.debugOutput, diagnostics::kComponentUnit)
        .LongError(L"CKelLanSeek::Create. Failed: %s", error.what());
    result = E_UNEXPECTED;
  } catch (...) {
    result = E_UNEXPECTED;
  }
  if (FAILED(result) && created != nullptr) created->Destroy();
  return result;
}

CKelLanSeek::CKelLanSeek(IUnknown* outer, const ComponentEnvironment& environment, ComponentModule& module)
    : CKelBase(static_cast<diagnostics::CKelObjectBase&>(*this)),
      moduleLock_(module),
      process_(platform::CurrentProcessId()),
      controlling_(outer != nullptr ? outer : &inner_),
      registry_(environment.registry),
      addresses_(environment.engine.addresses),
      trace_(environment.engine.debugOutput, diagnostics::kComponentUnit),
      engine_(table_, events_, settings_, *this, journal_, environment.engine),
      worker_(events_, journal_, environment.engine.debugOutput) {}

void CKelLanSeek::FinalConstruct() {
  Configure();
  engine_.Init();
  engine_.Start();
  worker_.Start(std::make_shared<const ModuleLock>(moduleLock_));
}

void CKelLanSeek::Configure() {
  std::wstring directory;
  if (config::ConfiguredDirectory(registry_, directory) != S_OK) {
    trace_.LongError(L"CKelLanSeek::FinalConstruct. Could not read the registry key ConfigDir.");
    return;
  }
  AddStaticControllers(config::LoadConfiguration(directory, settings_, trace_, &files_));
}

void CKelLanSeek::AddStaticControllers(std::vector<controllers::CtrlInfo> controllers) {
  controllers::CtrlTable::Access table(table_);
  for (controllers::CtrlInfo& controller : controllers) {
    controller.lanSeekID = table.IssueLanSeekID();
    try {
      if (table.Add(controller)) continue;
    } catch (const std::bad_alloc&) {
      // Traced like any other failure.
    }
    trace_.LongError(L"LanSeek configuration: Error when inserting static ctrl %s", controller.ctrlAddress);
  }
}

void CKelLanSeek::FinalRelease() {
  // Before the destruction, because its threads call this object. The worker's destructor stops the worker.
  engine_.Stop();
  delete this;
}

void CKelLanSeek::Destroy() noexcept {
  // A child created by fork has none of the threads, and locks that they held stay locked in it. Stopping or
  // destroying anything could hang, so the object stays as it is.
  if (platform::CurrentProcessId() != process_) return;
  references_.store(kDestroying, std::memory_order_relaxed);
  if (engine_.OnReceiverThread()) return DestroyElsewhere();
  FinalRelease();
}

void CKelLanSeek::DestroyElsewhere() noexcept {
  try {
    platform::Thread ending;
    const auto end = [this, keepLoaded = moduleLock_] { FinalRelease(); };
    if (diagnostics::StartThread(ending, "KelRelease", end, {trace_, journal_})) ending.Detach();
  } catch (const std::bad_alloc&) {
    // As without a thread: the object is not destroyed, so the module stays loaded.
  }
}

void CKelLanSeek::OnInterfacesChanged() {
  if (settings_.DetectInterfaceChanges != 0) engine_.RebuildNetwork();
}

HRESULT CKelLanSeek::ReportCaught(HRESULT result, int line) noexcept {
  try {
    return Fail(result, {L"", line});
  } catch (const std::bad_alloc&) {
    return result;
  }
}

}  // namespace kellanseek::component

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "diagnostics/NoDebugOutput.h"
#include "fuzz/FuzzFile.h"
#include "fuzz/Shortage.h"
#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"
#include "text/Utf8.h"

using namespace kellanseek;
using fuzz::Require;

namespace {

/// A component with two configured controllers, and what its clients call. One serves all inputs, because its
/// threads take long to start.
class Component : public test::ComponentHarness {
 public:
  Component() {
    Configure(test::NothingAsked(),
              test::StaticController("10.0.0.5", "A") + test::StaticController("10.0.0.6", "10.0.0.6"));
    const engine::EngineEnvironment& all = environment.engine;
    Create({{network, addresses, all.watchAddressChanges, all.reverseLookup, all.processes, noOutput_},
            environment.registry});
  }

  ~Component() { ReleaseAll(); }

  void Begin(fuzz::Shortage& shortage) { shortage_ = &shortage; }
  /// Leaves the component as it was before the input.
  void End() {
    for (const KelBstr& each : registered_) virtualControllers->UnRegister(each.Get());
    registered_.clear();
  }

  /// The first byte selects the method.
  void Take(std::string_view piece) {
    if (piece.empty()) return;
    // Bytes above 127 become characters that no code page has.
    const KelBstr text(std::wstring(piece.begin() + 1, piece.end()));
    switch (piece.front()) {
      case 'r': return Register(text);
      case 'd': Result([&] { return virtualControllers->UnRegister(text.Get()); }); return;
      case 'f': Result([&] { return virtualControllers->ForwardMessage(text.Get()); }); return;
      default: return FindByURL(text);
    }
  }

  void CheckReport() {
    KelBstr text;
    const auto diagnostics = seek.As<IKelLanSeekDiagnostics>();
    if (FAILED(Result([&] { return diagnostics->GetReport(text.Put()); })))
      Require(diagnostics->GetReport(text.Put()) == S_OK);
    Require(!nlohmann::json::parse(text::ToUtf8(text.Text()))["controllers"].empty());
  }

 private:
  /// A method reports that memory ran out, if it was what it could not do without.
  template <typename Method>
  HRESULT Result(Method method) {
    const bool before = shortage_->Happened();
    HRESULT result = S_OK;
    Require(shortage_->Run([&] { result = method(); }));
    Require(result != E_OUTOFMEMORY || before != shortage_->Happened());
    return result;
  }

  void Register(const KelBstr& text) {
    registered_.push_back(text);
    const auto object = test::FakeVC::Make();
    GUID offered = IID_KelVirtualController;
    VCInterface vci{&offered, object.Get()};
    Result([&] { return virtualControllers->Register(text.Get(), text.Get(), kProcess, &vci); });
  }

  /// Only the part up to a slash counts, and what is found has it as its address or as its system identity.
  void FindByURL(const KelBstr& url) {
    ULONG found = 0;
    if (Result([&] { return seek->GetCtrlFromURL(url.Get(), &found); }) == E_OUTOFMEMORY)
      seek->GetCtrlFromURL(url.Get(), &found);
    std::wstring host(url.View().substr(url.View().starts_with(L'/') ? 1 : 0));
    host = host.substr(0, host.find(L'/'));
    ULONG byAddress = 0;
    ULONG bySystemID = 0;
    const KelBstr key(host);
    seek->GetCtrlFromIPAddress(key.Get(), &byAddress);
    seek->GetCtrlFromSystemID(key.Get(), &bySystemID);
    Require(found == 0 || found == byAddress || found == bySystemID);
    const bool isAddress = host.size() >= 7 && platform::ParseIpv4(host) != platform::kNoAddress;
    Require(found == (isAddress && host.size() <= 15 ? byAddress : bySystemID));
    KelBstr address;
    if (byAddress == 0) return;
    Require(identity->GetCtrlAddress(byAddress, address.Put()) == S_OK && address.Text() == host);
  }

  diagnostics::NoDebugOutput noOutput_;
  fuzz::Shortage* shortage_ = nullptr;
  std::vector<KelBstr> registered_;
};

}  // namespace

/// The input is a client's calls, one per line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(bytes), size);
  fuzz::Shortage shortage(rest);
  static Component component;
  component.Begin(shortage);
  while (!rest.empty()) {
    const std::string_view piece = rest.substr(0, rest.find('\n'));
    component.Take(piece);
    rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
  }
  component.CheckReport();
  component.Take("u/10.0.0.5/x");
  component.End();
  return 0;
}

#include "platform/HostProbe.h"
#include "platform/win32/Apartment.h"

#include <netfw.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kellanseek::platform {
namespace {

using Answer = HostFirewall::Answer;

Answer AnswerOf(bool value) { return value ? Answer::Yes : Answer::No; }

struct Releasing {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using Owned = std::unique_ptr<Interface, Releasing>;

/// A text property of a rule; empty if it is not set.
template <typename Read>
std::wstring TextProperty(Read read) {
  BSTR text = nullptr;
  if (FAILED(read(&text)) || text == nullptr) return {};
  std::wstring copy(text, SysStringLen(text));
  SysFreeString(text);
  return copy;
}

/// Whether a list such as "5512,5600-5700" has the port. Nothing and "*" stand for all ports.
bool HasPort(std::wstring_view list, std::uint16_t port) {
  if (list.empty() || list == L"*") return true;
  while (!list.empty()) {
    const std::wstring part(list.substr(0, list.find(L',')));
    list.remove_prefix(std::min(list.size(), part.size() + 1));
    wchar_t* end = nullptr;
    const unsigned long from = std::wcstoul(part.c_str(), &end, 10);
    const unsigned long to = *end == L'-' ? std::wcstoul(end + 1, nullptr, 10) : from;
    if (from != 0 && from <= port && port <= to) return true;
  }
  return false;
}

std::wstring ProgramPath() {
  std::array<wchar_t, 1024> path{};
  const DWORD size = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return {path.data(), size};
}

/// What the rules do with datagrams that come in for this program.
class InboundRules {
 public:
  InboundRules(const std::vector<std::uint16_t>& ports, long profiles, bool allowedWithoutRule)
      : ports_(ports),
        allowed_(ports.size(), allowedWithoutRule),
        blocked_(ports.size(), false),
        profiles_(profiles) {}

  void Apply(INetFwRule& rule) {
    if (!Concerns(rule)) return;
    NET_FW_ACTION action = NET_FW_ACTION_BLOCK;
    if (FAILED(rule.get_Action(&action))) return;
    const std::wstring list = TextProperty([&](BSTR* text) { return rule.get_LocalPorts(text); });
    for (std::size_t i = 0; i < ports_.size(); ++i) {
      if (!HasPort(list, ports_[i])) continue;
      (action == NET_FW_ACTION_ALLOW ? allowed_ : blocked_)[i] = true;
    }
  }
  /// A rule that blocks counts more than any that allows.
  bool AllLetIn() const {
    for (std::size_t i = 0; i < ports_.size(); ++i)
      if (!allowed_[i] || blocked_[i]) return false;
    return true;
  }

 private:
  bool Concerns(INetFwRule& rule) const {
    constexpr LONG kUdp = 17;
    constexpr LONG kAnyProtocol = 256;
    VARIANT_BOOL enabled = VARIANT_FALSE;
    NET_FW_RULE_DIRECTION direction = NET_FW_RULE_DIR_OUT;
    LONG protocol = 0;
    long profiles = 0;
    if (FAILED(rule.get_Enabled(&enabled)) || enabled == VARIANT_FALSE ||
        FAILED(rule.get_Direction(&direction)) || direction != NET_FW_RULE_DIR_IN ||
        FAILED(rule.get_Protocol(&protocol)) || (protocol != kUdp && protocol != kAnyProtocol) ||
        FAILED(rule.get_Profiles(&profiles)) || (profiles & profiles_) == 0)
      return false;
    if (!TextProperty([&](BSTR* text) { return rule.get_ServiceName(text); }).empty()) return false;
    const std::wstring program = TextProperty([&](BSTR* text) { return rule.get_ApplicationName(text); });
    return program.empty() ||
           CompareStringOrdinal(program.c_str(), -1, program_.c_str(), -1, TRUE) == CSTR_EQUAL;
  }

  const std::vector<std::uint16_t>& ports_;
  std::vector<bool> allowed_;
  std::vector<bool> blocked_;
  const long profiles_;
  const std::wstring program_ = ProgramPath();
};

/// Calls `visit` for every rule. Returns false if the system does not list them.
template <typename Visit>
bool ForEachRule(INetFwPolicy2& policy, Visit visit) {
  INetFwRules* rules = nullptr;
  if (FAILED(policy.get_Rules(&rules)) || rules == nullptr) return false;
  const Owned<INetFwRules> rulesOwner(rules);
  IUnknown* unknown = nullptr;
  if (FAILED(rules->get__NewEnum(&unknown)) || unknown == nullptr) return false;
  const Owned<IUnknown> unknownOwner(unknown);
  void* object = nullptr;
  if (FAILED(unknown->QueryInterface(IID_IEnumVARIANT, &object))) return false;
  const Owned<IEnumVARIANT> all(static_cast<IEnumVARIANT*>(object));
  VARIANT item;
  VariantInit(&item);
  while (all->Next(1, &item, nullptr) == S_OK) {
    void* rule = nullptr;
    if (item.vt == VT_DISPATCH && item.pdispVal != nullptr &&
        SUCCEEDED(item.pdispVal->QueryInterface(__uuidof(INetFwRule), &rule)))
      visit(*Owned<INetFwRule>(static_cast<INetFwRule*>(rule)));
    VariantClear(&item);
  }
  return true;
}

/// Whether any of the profiles in use has the firewall on, and whether all of them allow what no rule names.
struct ProfileState {
  Answer isOn = Answer::Unknown;
  bool allowsByDefault = true;
};
ProfileState StateOf(INetFwPolicy2& policy, long profiles) {
  ProfileState state;
  for (const NET_FW_PROFILE_TYPE2 each :
       {NET_FW_PROFILE2_DOMAIN, NET_FW_PROFILE2_PRIVATE, NET_FW_PROFILE2_PUBLIC}) {
    VARIANT_BOOL enabled = VARIANT_FALSE;
    if ((profiles & each) == 0 || FAILED(policy.get_FirewallEnabled(each, &enabled))) continue;
    if (state.isOn != Answer::Yes) state.isOn = AnswerOf(enabled != VARIANT_FALSE);
    NET_FW_ACTION action = NET_FW_ACTION_BLOCK;
    if (enabled != VARIANT_FALSE && SUCCEEDED(policy.get_DefaultInboundAction(each, &action)))
      state.allowsByDefault = state.allowsByDefault && action == NET_FW_ACTION_ALLOW;
  }
  return state;
}

}  // namespace

HostFirewall FirewallFor(const std::vector<std::uint16_t>& ports) {
  const MultithreadedApartment apartment;
  HostFirewall firewall;
  void* object = nullptr;
  long profiles = 0;
  if (FAILED(CoCreateInstance(__uuidof(NetFwPolicy2), nullptr, CLSCTX_INPROC_SERVER, __uuidof(INetFwPolicy2),
                              &object)))
    return firewall;
  const Owned<INetFwPolicy2> policy(static_cast<INetFwPolicy2*>(object));
  if (FAILED(policy->get_CurrentProfileTypes(&profiles))) return firewall;
  firewall.isPublicNetwork = AnswerOf((profiles & NET_FW_PROFILE2_PUBLIC) != 0);
  const ProfileState state = StateOf(*policy, profiles);
  firewall.isOn = state.isOn;
  InboundRules inbound(ports, profiles, state.allowsByDefault);
  if (state.isOn == Answer::No) {
    firewall.letsIn = Answer::Yes;
  } else if (state.isOn == Answer::Yes &&
             ForEachRule(*policy, [&](INetFwRule& rule) { inbound.Apply(rule); })) {
    firewall.letsIn = AnswerOf(inbound.AllLetIn());
  }
  return firewall;
}

}  // namespace kellanseek::platform

#include "engine/CollisionRules.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "platform/CodePage.h"

namespace kellanseek::engine {
namespace {

/// The address that every device of a kind has on its service port.
constexpr const wchar_t* kServicePortAddress = L"192.168.125.1";

/// What the keys say that record and message share. SecondPath leads to the rules further down.
enum class Relation : std::uint8_t { Another, SharesAddress, Moved, NewIdentity, SecondPath, Same };

constexpr Relation kRelations[] = {
    // S M A: system identity, MAC address, address
    /* - - - */ Relation::Another,
    /* - - A */ Relation::SharesAddress,  // A MAC address names a device, so these are two.
    /* - M - */ Relation::Moved,          // The device answers from another address now, with a new identity.
    /* - M A */ Relation::NewIdentity,    // The device stayed, and was given another identity.
    /* S - - */ Relation::SecondPath,  // Two devices with one identity, or one device seen over two networks.
    /* S - A */ Relation::SharesAddress,  // Another device took over address and identity: as above.
    /* S M - */ Relation::Moved,          // The device answers from another address now.
    /* S M A */ Relation::Same,
};

Relation RelationOf(const CtrlKeys& known, const CtrlKeys& heard) {
  const bool sameSystemID = platform::LocaleEqual(known.systemID, heard.systemID);
  const bool sameMac = platform::LocaleEqual(known.macAddress, heard.macAddress);
  const bool sameAddress = platform::LocaleEqual(known.ctrlAddress, heard.ctrlAddress);
  return kRelations[(sameSystemID ? 4U : 0U) + (sameMac ? 2U : 0U) + (sameAddress ? 1U : 0U)];
}

bool OnOneNetwork(const CtrlInfo& known, const Heard& heard) {
  return heard.origin.interfaceAddress != 0 && heard.origin.interfaceAddress == known.heardOnAddress;
}

bool DescriptionsDiffer(const CtrlInfo& known, const Heard& heard) {
  if (!heard.isFullIdentity || !known.published) return false;
  const Identity& other = heard.controller;
  return !platform::LocaleEqual(known.ctrlID, other.ctrlID) ||
         !platform::LocaleEqual(known.systemName, other.systemName) ||
         known.versionMajor != other.versionMajor || known.versionMinor != other.versionMinor ||
         known.versionRevision != other.versionRevision;
}

struct SecondPathRule {
  bool (*applies)(const CtrlInfo& known, const Heard& heard);
  Verdict verdict;
};

/// One system identity, but neither MAC address nor address in common. The first rule that applies decides.
constexpr SecondPathRule kSecondPathRules[] = {
    // One network shows a device once, so these are two.
    {OnOneNetwork, Verdict::IdentityCollision},
    // A device describes itself alike on both its networks.
    {DescriptionsDiffer, Verdict::IdentityCollision},
    // What the configuration names is never displaced.
    {[](const CtrlInfo& known, const Heard&) { return known.identificationType == StaticCtrlDefinition; },
     Verdict::Drop},
    // And what it names displaces what was found otherwise.
    {[](const CtrlInfo&, const Heard& heard) { return heard.isConfigured; }, Verdict::RemoveReplaced},
    // Who is plugged into a device's service port stands in front of it: that path is preferred.
    {[](const CtrlInfo& known, const Heard&) { return known.ctrlAddress == kServicePortAddress; },
     Verdict::Drop},
    {[](const CtrlInfo&, const Heard& heard) { return heard.controller.ctrlAddress == kServicePortAddress; },
     Verdict::RemoveReplaced},
    // Of two paths that are equally good the first stays, or the two would take turns at every refresh.
    {[](const CtrlInfo&, const Heard& heard) { return heard.origin.source == MsgSource::FromResponseSocket; },
     Verdict::Drop},
    {[](const CtrlInfo& known, const Heard&) { return known.identificationType == RemoteCtrlDefinition; },
     Verdict::Drop},
    // What a client added by address displaces what a broadcast found.
    {[](const CtrlInfo&, const Heard&) { return true; }, Verdict::RemoveReplaced},
};

}  // namespace

Verdict Judge(const CtrlInfo& known, const Heard& heard) {
  // Several virtual controllers share the MAC address and the address of the PC that publishes them.
  const bool isReal = heard.controller.ctrlType == RC;
  switch (RelationOf(known, heard.controller)) {
    case Relation::Another: return Verdict::GoOn;
    case Relation::SharesAddress: return Verdict::AddressCollision;
    case Relation::Moved: return isReal ? Verdict::RemoveRestarted : Verdict::RemoveLost;
    case Relation::NewIdentity: return isReal ? Verdict::RemoveRestarted : Verdict::GoOn;
    case Relation::SecondPath:
      return std::find_if(std::begin(kSecondPathRules), std::end(kSecondPathRules),
                          [&](const SecondPathRule& rule) { return rule.applies(known, heard); })
          ->verdict;
    case Relation::Same: break;
  }
  // A virtual controller that runs again answers at the port of its new process.
  const std::uint32_t port = heard.controller.commPortNumber;
  return port != 0 && port != known.commPortNumber ? Verdict::AcceptAsRestarted : Verdict::Accept;
}

}  // namespace kellanseek::engine

#include "engine/CollisionRules.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "platform/CodePage.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlInfo;

/// Every controller model has this address on its service port.
constexpr const wchar_t* kServicePortAddress = L"192.168.125.1";

/// What record and message have in common, according to their keys. SecondPath needs the further rules below.
enum class Relation : std::uint8_t { Another, SharesAddress, Moved, NewIdentity, SecondPath, Same };

constexpr Relation kRelations[] = {
    // S M A: system identity, MAC address, address
    /* - - - */ Relation::Another,
    /* - - A */ Relation::SharesAddress,  // A MAC address identifies a device, so these are two devices.
    /* - M - */ Relation::Moved,          // The device answers from another address, with a new identity.
    /* - M A */ Relation::NewIdentity,    // The same device and address, with a new identity.
    /* S - - */ Relation::SecondPath,  // Two devices with one identity, or one device seen over two networks.
    /* S - A */ Relation::SharesAddress,  // Another device took over address and identity: as above.
    /* S M - */ Relation::Moved,          // The device answers from another address.
    /* S M A */ Relation::Same,
};

Relation RelationOf(const controllers::CtrlKeys& known, const controllers::CtrlKeys& heard) {
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
  const controllers::Identity& other = heard.controller;
  return !platform::LocaleEqual(known.ctrlID, other.ctrlID) ||
         !platform::LocaleEqual(known.systemName, other.systemName) ||
         known.versionMajor != other.versionMajor || known.versionMinor != other.versionMinor ||
         known.versionRevision != other.versionRevision;
}

struct SecondPathRule {
  bool (*applies)(const CtrlInfo& known, const Heard& heard);
  Verdict verdict;
};

/// For a shared system identity without a shared MAC address or address. The first rule that applies decides.
constexpr SecondPathRule kSecondPathRules[] = {
    // A device appears only once on a network, so these are two devices.
    {OnOneNetwork, Verdict::IdentityCollision},
    // A device sends the same description on all its networks.
    {DescriptionsDiffer, Verdict::IdentityCollision},
    // A configured controller is never displaced.
    {[](const CtrlInfo& known, const Heard&) { return known.identificationType == StaticCtrlDefinition; },
     Verdict::Drop},
    // A configured controller displaces one found otherwise.
    {[](const CtrlInfo&, const Heard& heard) { return heard.isConfigured; }, Verdict::RemoveReplaced},
    // The service port is a direct connection to the device, so that path is preferred.
    {[](const CtrlInfo& known, const Heard&) { return known.ctrlAddress == kServicePortAddress; },
     Verdict::Drop},
    {[](const CtrlInfo&, const Heard& heard) { return heard.controller.ctrlAddress == kServicePortAddress; },
     Verdict::RemoveReplaced},
    // Of two equal paths the first stays; otherwise they would replace each other at every refresh.
    {[](const CtrlInfo&, const Heard& heard) { return heard.origin.source == MsgSource::FromResponseSocket; },
     Verdict::Drop},
    {[](const CtrlInfo& known, const Heard&) { return known.identificationType == RemoteCtrlDefinition; },
     Verdict::Drop},
    // A controller added by address displaces one found by broadcast.
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
  // A restarted virtual controller answers at the port of its new process.
  const std::uint32_t port = heard.controller.commPortNumber;
  return port != 0 && port != known.commPortNumber ? Verdict::AcceptAsRestarted : Verdict::Accept;
}

}  // namespace kellanseek::engine

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

#include "EngineHarness.h"
#include "PlainEngine.h"

namespace kellanseek::test {
namespace {

using engine::MsgSource;

/// One step of a random life: a message, a removal, or a configured or registered record.
struct Act {
  enum class Kind { Message, Remove, AddStatic, AddRemote, AddVC };
  Kind kind = Kind::Message;
  int systemID = 0, mac = 0, address = 0, name = 0, port = 0, type = 1, ctrlType = 1, source = 1,
      interfaceAt = 0;
  int pick = 0;
  bool keep = false;
};

constexpr const char* kSystemIDs[] = {"", "sys-A", "sys-B", "sys-C"};
constexpr const char* kMacs[] = {"", "aa", "bb", "cc"};
constexpr const char* kAddresses[] = {"192.168.1.20", "10.0.0.20", "192.168.125.1", "192.168.1.21"};

void showValue(const Act& act, std::ostream& out) {
  out << "{kind " << static_cast<int>(act.kind) << " sys " << kSystemIDs[act.systemID] << " mac "
      << kMacs[act.mac] << " at " << kAddresses[act.address] << " name " << act.name << " port " << act.port
      << " type " << act.type << " ctrlType " << act.ctrlType << " source " << act.source << " if "
      << act.interfaceAt << " pick " << act.pick << " keep " << act.keep << "}";
}

rc::Gen<Act> AnyAct() {
  const auto upTo = [](int end) { return rc::gen::inRange(0, end); };
  const auto mostlyGiven = rc::gen::weightedElement<int>({{1, 0}, {9, 1}, {9, 2}, {9, 3}});
  return rc::gen::build<Act>(
      rc::gen::set(&Act::kind, rc::gen::weightedElement<Act::Kind>({{12, Act::Kind::Message},
                                                                    {1, Act::Kind::Remove},
                                                                    {2, Act::Kind::AddStatic},
                                                                    {2, Act::Kind::AddRemote},
                                                                    {1, Act::Kind::AddVC}})),
      rc::gen::set(&Act::systemID, mostlyGiven), rc::gen::set(&Act::mac, mostlyGiven),
      rc::gen::set(&Act::address, upTo(4)), rc::gen::set(&Act::name, upTo(2)),
      rc::gen::set(&Act::port, upTo(3)),
      rc::gen::set(&Act::type, rc::gen::weightedElement<int>({{8, 1}, {5, 2}, {1, 3}, {1, 4}})),
      rc::gen::set(&Act::ctrlType, rc::gen::weightedElement<int>({{8, 1}, {1, 2}, {2, 3}})),
      rc::gen::set(&Act::source, rc::gen::weightedElement<int>({{1, 0}, {8, 1}, {4, 2}, {1, 3}})),
      rc::gen::set(&Act::interfaceAt, upTo(2)), rc::gen::set(&Act::pick, upTo(50)),
      rc::gen::set(&Act::keep, rc::gen::arbitrary<bool>()));
}

std::wstring Wide(const char* text) { return {text, text + std::char_traits<char>::length(text)}; }

std::string Fields(const Act& act) {
  std::string fields = "1:name" + std::to_string(act.name) + ";";
  fields += std::string("4:") + kSystemIDs[act.systemID] + ";9:" + kMacs[act.mac] + ";";
  fields += "b:" + std::to_string(act.port) + ";11:" + std::to_string(act.ctrlType) + ";";
  return fields;
}

CtrlInfo Pattern(const Act& act, std::int32_t position, platform::Ipv4 interfaceAddress) {
  CtrlInfo pattern;
  pattern.ctrlName = Wide("name") + std::to_wstring(act.name);
  pattern.systemID = Wide(kSystemIDs[act.systemID]);
  pattern.macAddress = Wide(kMacs[act.mac]);
  pattern.commPortNumber = static_cast<std::uint32_t>(act.port);
  pattern.ctrlType = static_cast<KelCtrlType>(act.ctrlType);
  const auto source = static_cast<MsgSource>(act.source);
  if (source == MsgSource::FromRequestSocket) return pattern;
  if (source == MsgSource::FromLocalVC) {
    pattern.ctrlType = VC;
  } else {
    pattern.ctrlAddress = Wide(kAddresses[act.address]);
  }
  pattern.heardOnAddress = interfaceAddress;
  pattern.heardOnInterface = position;
  return pattern;
}

class Comparison {
 public:
  void Apply(const Act& act) {
    switch (act.kind) {
      case Act::Kind::Message: Message(act); break;
      case Act::Kind::Remove: Remove(act); break;
      default: Define(act); break;
    }
  }

  void Check() {
    RC_ASSERT(indexed_.events.Take() == std::exchange(plain_.events, {}));
    const std::vector<CtrlInfo> records = indexed_.All();
    RC_ASSERT(records.size() == plain_.records.size());
    for (std::size_t i = 0; i < records.size(); ++i) CheckRecord(records[i], plain_.records[i]);
  }

 private:
  static void CheckRecord(const CtrlInfo& got, const CtrlInfo& want) {
    RC_ASSERT(got.lanSeekID == want.lanSeekID);
    RC_ASSERT(got.ctrlName == want.ctrlName);
    RC_ASSERT(got.ctrlAddress == want.ctrlAddress);
    RC_ASSERT(got.systemID == want.systemID);
    RC_ASSERT(got.macAddress == want.macAddress);
    RC_ASSERT(got.ctrlType == want.ctrlType);
    RC_ASSERT(got.ipAddress == want.ipAddress);
    RC_ASSERT(got.commPortNumber == want.commPortNumber);
    RC_ASSERT(got.ctrlStatus == want.ctrlStatus);
    RC_ASSERT(got.identificationType == want.identificationType);
    RC_ASSERT(got.published == want.published);
    RC_ASSERT(got.heardOnAddress == want.heardOnAddress);
    RC_ASSERT(got.heardOnInterface == want.heardOnInterface);
    RC_ASSERT(got.ticksToNextAction == want.ticksToNextAction);
    RC_ASSERT(got.retriesLeft == want.retriesLeft);
  }

  void Message(const Act& act) {
    const auto source = static_cast<MsgSource>(act.source);
    const bool onInterface =
        source == MsgSource::FromRequestSocket || source == MsgSource::FromResponseSocket;
    const std::int32_t position = onInterface ? act.interfaceAt : kNone;
    const platform::Ipv4 address =
        onInterface ? indexed_.interfaces[static_cast<std::size_t>(position)].address : 0;
    const auto type = static_cast<std::uint32_t>(act.type);
    if (source == MsgSource::FromLocalVC) {
      indexed_.Forward(type, Fields(act));
    } else {
      indexed_.Receive(EngineHarness::Datagram(type, Fields(act)), kAddresses[act.address], source, position);
    }
    plain_.Handle(type, Pattern(act, position, address), source, position, address);
  }

  void Remove(const Act& act) {
    if (plain_.records.empty()) return;
    const std::size_t at = static_cast<std::size_t>(act.pick) % plain_.records.size();
    {
      const CtrlTable::Lock lock(indexed_.table);
      const auto record = indexed_.table.Find(plain_.records[at].lanSeekID);
      RC_ASSERT(record != indexed_.table.end());
      indexed_.lifecycle.RemoveActiveCtrl(indexed_.table, record, CtrlLostConnection, act.keep);
    }
    plain_.Remove(at, CtrlLostConnection, act.keep);
  }

  void Define(const Act& act) {
    CtrlInfo record;
    record.ctrlAddress = Wide(kAddresses[act.address]);
    if (act.kind == Act::Kind::AddVC) {
      record.ctrlAddress = L"vc path";
      record.systemID = Wide(kSystemIDs[act.systemID]);
      record.ctrlType = VC;
      record.ctrlStatus = CtrlAvailable;
      record.identificationType = DynamicCtrlDefinition;
    } else if (act.kind == Act::Kind::AddRemote) {
      record.identificationType = RemoteCtrlDefinition;
    } else {
      record.systemID = Wide(kSystemIDs[act.systemID]);
    }
    record.lanSeekID = indexed_.Add(record);
    RC_ASSERT(record.lanSeekID == plain_.nextId);
    ++plain_.nextId;
    plain_.records.push_back(record);
  }

  EngineHarness indexed_;
  PlainEngine plain_;
};

RC_GTEST_PROP(Collisions, IndexedRulesHaveTheOutcomeOfThePlainWalk, ()) {
  const auto acts = *rc::gen::container<std::vector<Act>>(AnyAct());
  Comparison comparison;
  for (const Act& act : acts) {
    comparison.Apply(act);
    comparison.Check();
  }
}

}  // namespace
}  // namespace kellanseek::test

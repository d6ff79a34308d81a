#include "controllers/CtrlInfo.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace kellanseek::test {
namespace {

using Change = std::function<void(CtrlInfo&)>;

CtrlInfo Stored() {
  CtrlInfo record;
  record.ctrlName = record.systemName = record.releasePath = record.ctrlID = L"stored";
  record.ctrlAddress = record.systemID = record.macAddress = record.hostName = L"stored";
  record.versionMajor = record.versionMinor = record.versionRevision = record.kelAPICompatibilityRevision = 5;
  record.lanSeekID = 11;
  return record;
}

TEST(CtrlInfoTest, AnAnswerChangesWhatMayChange) {
  const std::vector<Change> changes = {[](CtrlInfo& r) { r.ctrlName = L"newer"; },
                                       [](CtrlInfo& r) { r.ctrlName = L"Stored"; },
                                       [](CtrlInfo& r) { r.systemName.clear(); },
                                       [](CtrlInfo& r) { r.releasePath = L"newer"; },
                                       [](CtrlInfo& r) { r.ctrlID = L"newer"; },
                                       [](CtrlInfo& r) { r.versionMajor = kVersionUnknown; },
                                       [](CtrlInfo& r) { r.versionMinor = 6; },
                                       [](CtrlInfo& r) { r.versionRevision = 6; },
                                       [](CtrlInfo& r) { r.kelAPICompatibilityRevision = 6; },
                                       [](CtrlInfo& r) { r.commPortNumber = 6; },
                                       [](CtrlInfo& r) { r.ctrlLevel = BootLevel; }};
  for (std::size_t i = 0; i < changes.size(); ++i) {
    CtrlInfo record = Stored();
    CtrlInfo newer = Stored();
    changes[i](newer);
    EXPECT_TRUE(record.UpdateFrom(newer)) << i;
    EXPECT_FALSE(record.UpdateFrom(newer)) << i << " was told of, but not taken over";
  }
}

TEST(CtrlInfoTest, AnAnswerLeavesTheRestAlone) {
  CtrlInfo newer = Stored();
  newer.systemID = newer.macAddress = newer.ctrlAddress = newer.hostName = L"newer";
  newer.ctrlType = RemoteVC;
  newer.identificationType = DynamicCtrlDefinition;
  newer.ctrlStatus = CtrlAvailable;
  newer.remotePublication = RemoteVCPublication_True;
  newer.lanSeekID = 12;
  newer.ipAddress = 1;
  newer.ticksToNextAction = newer.retriesLeft = newer.heardOnInterface = 3;
  newer.heardOnAddress = 1;
  newer.published = true;
  newer.vcProcessID = 7;
  CtrlInfo record = Stored();
  EXPECT_FALSE(record.UpdateFrom(newer));
  for (const std::wstring& text : {record.systemID, record.macAddress, record.ctrlAddress, record.hostName}) {
    EXPECT_EQ(text, L"stored");
  }
  EXPECT_EQ(record.ctrlType, RC);
  EXPECT_EQ(record.identificationType, StaticCtrlDefinition);
  EXPECT_FALSE(record.Available() || record.published);
  EXPECT_EQ(record.remotePublication, RemoteVCPublication_False);
  EXPECT_EQ(record.lanSeekID, 11U);
  EXPECT_EQ(record.ipAddress, platform::kNoAddress);
  EXPECT_EQ(record.heardOnAddress, 0U);
  EXPECT_EQ(record.vcProcessID, 0U);
  for (const std::int32_t number : {record.ticksToNextAction, record.retriesLeft, record.heardOnInterface}) {
    EXPECT_EQ(number, kNone);
  }
}

}  // namespace
}  // namespace kellanseek::test

#include "controllers/CtrlInfo.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace kellanseek::test {
namespace {

CtrlInfo Stored() {
  CtrlInfo record;
  record.ctrlName = record.systemName = record.releasePath = record.ctrlID = L"stored";
  record.ctrlAddress = record.systemID = record.macAddress = record.hostName = L"stored";
  record.versionMajor = record.versionMinor = record.versionRevision = record.kelAPICompatibilityRevision = 5;
  record.lanSeekID = 11;
  return record;
}

void ExpectTaken(const CtrlInfo& newer) {
  CtrlInfo record = Stored();
  EXPECT_TRUE(record.UpdateFrom(newer));
  EXPECT_FALSE(record.UpdateFrom(newer)) << "was told of, but not taken over";
}

TEST(CtrlInfoTest, AnAnswerChangesWhatMayChange) {
  for (const auto text :
       {&CtrlInfo::ctrlName, &CtrlInfo::systemName, &CtrlInfo::releasePath, &CtrlInfo::ctrlID}) {
    for (const wchar_t* const value : {L"newer", L"Stored", L""}) {
      CtrlInfo newer = Stored();
      newer.*text = value;
      ExpectTaken(newer);
    }
  }
  for (const auto number : {&CtrlInfo::versionMajor, &CtrlInfo::versionMinor, &CtrlInfo::versionRevision,
                            &CtrlInfo::kelAPICompatibilityRevision, &CtrlInfo::commPortNumber}) {
    for (const std::uint32_t value : {6U, kVersionUnknown}) {
      CtrlInfo newer = Stored();
      newer.*number = value;
      ExpectTaken(newer);
    }
  }
  CtrlInfo newer = Stored();
  newer.ctrlLevel = BootLevel;
  ExpectTaken(newer);
}

}  // namespace
}  // namespace kellanseek::test

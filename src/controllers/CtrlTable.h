#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <boost/container/small_vector.hpp>

#include "controllers/CtrlInfo.h"
#include "platform/Mutex.h"

namespace kellanseek {

/// Ids up to this one are never issued.
inline constexpr std::uint32_t kLastReservedLanSeekID = 10;

/// Dynamic records up to which messages may add more.
inline constexpr std::size_t kMaxDynamicRecords = 65536;

/// All known controllers in the order in which they became known, which is also the order of their
/// lanSeekIDs: an id is issued, under the table lock, only for the record that is added next.
///
/// The records are reached through an Access, which holds the table lock for its life.
class CtrlTable {
 public:
  class Access;
  class Record;
  struct Removal;
  class ScheduleChange;
  class TimerPass;
  using Records = boost::container::small_vector<Record, 8>;

  /// With another limit for tests, which reach it sooner.
  explicit CtrlTable(std::size_t maxDynamicRecords = kMaxDynamicRecords);
  ~CtrlTable();
  CtrlTable(const CtrlTable&) = delete;
  CtrlTable& operator=(const CtrlTable&) = delete;

  /// The id that the next new controller gets. Needs no lock.
  std::uint32_t NextLanSeekID() const { return nextLanSeekID_.load(std::memory_order_relaxed); }

 private:
  struct Node;
  struct Contents;

  platform::Mutex mutex_;
  std::atomic<std::uint32_t> nextLanSeekID_{kLastReservedLanSeekID + 1};
  const std::unique_ptr<Contents> contents_;
};

/// Names a record of the table, or none. Valid as long as that record is in the table, whatever happens to
/// others; to be used with the Access it came from.
class CtrlTable::Record {
 public:
  Record() = default;
  explicit operator bool() const { return info_ != nullptr; }
  const CtrlInfo& operator*() const { return *info_; }
  const CtrlInfo* operator->() const { return info_; }
  friend bool operator==(const Record& left, const Record& right) { return left.info_ == right.info_; }

 private:
  friend class Access;
  friend class TimerPass;
  friend struct Contents;
  Record(const Node& node, CtrlInfo& info) : node_(&node), info_(&info) {}

  const Node* node_ = nullptr;
  CtrlInfo* info_ = nullptr;
};

/// A removal that is prepared.
struct CtrlTable::Removal {
  Record record;
  std::size_t sharedKeys = 0;  ///< How many of its keys other records share.
};

/// The table lock, and the only way to the records: whoever needs the table locked takes an Access&.
///
/// References to the objects of virtual controllers whose records were removed meanwhile are released after
/// the lock, since releasing one runs its owner's code.
class CtrlTable::Access {
 public:
  explicit Access(CtrlTable& table) NO_THREAD_SAFETY_ANALYSIS;
  ~Access() NO_THREAD_SAFETY_ANALYSIS;
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

  std::uint32_t NextLanSeekID() const { return table_.NextLanSeekID(); }
  /// Issues an id; it is never issued again, whether or not a record is added under it.
  std::uint32_t IssueLanSeekID() { return table_.nextLanSeekID_.fetch_add(1, std::memory_order_relaxed); }

  std::size_t Size() const;
  /// The records in order; none after the last. To remove a record on the way, fetch the next one first.
  Record First() const;
  Record After(Record record) const;
  template <typename Visit>
  void ForEach(Visit&& visit) const {
    for (Record record = First(); record; record = After(record)) visit(record);
  }

  Record Find(std::uint32_t lanSeekID) const;
  /// The stored record of the controller that is described: a real controller is found by address, any other
  /// by system identity.
  Record FindCtrl(const CtrlKeys& described) const;
  /// The first record with that address, or that system identity.
  Record FirstByAddress(const std::wstring& address) const;
  Record FirstBySystemID(const std::wstring& systemID) const;
  /// All records with that address, or that system identity, in order.
  Records AllByAddress(const std::wstring& address) const;
  Records AllBySystemID(const std::wstring& systemID) const;
  /// The records with that system identity, in order, A to Z taken as a to z.
  Records AllByFoldedSystemID(std::wstring_view systemID) const;
  /// The records that share the described controller's system identity, MAC address or address, in order.
  Records Related(const CtrlKeys& described) const;

  /// Whether a message may add one more dynamic record. Who registers, configures or adds a controller does
  /// not ask.
  bool HasRoomForDynamic() const;

  /// A record's state, for changing it. What records are found by is not part of it.
  CtrlState& Change(Record record) { return *record.info_; }
  ScheduleChange ChangeSchedule(Record record);
  /// Changes the two keys that can change during the life of a record.
  void SetIdentity(Record record, std::wstring systemID, std::wstring macAddress);
  /// A configured or added controller turns into a dynamic one.
  void MakeDynamic(Record record);

  /// Moves a record to the end of the table under its lanSeekID, which was issued just before. None when the
  /// id is taken. Throws std::bad_alloc. Table and `record` are then unchanged; a record that holds a virtual
  /// controller's object must outlive the Access, since it may be the one to release it.
  Record Add(CtrlInfo& record);
  /// Does all of a removal that can fail, for those who tell of it before it happens. Good until the table
  /// is changed. Throws std::bad_alloc.
  Removal PrepareRemoval(Record record);
  /// Removes the record. Never throws.
  void Remove(const Removal& removal);
  /// Both at once. Throws std::bad_alloc, with the table unchanged.
  void Remove(Record record) { Remove(PrepareRemoval(record)); }

 private:
  friend class ScheduleChange;
  friend class TimerPass;
  /// Sees to it that the list of timers holds the record if it has one. Never throws: Add() has made room.
  void NoteTimer(CtrlInfo& record);

  CtrlTable& table_;
  Contents& contents_;
};

/// A record's schedule, for one statement of change.
class CtrlTable::ScheduleChange {
 public:
  ScheduleChange(Access& table, CtrlInfo& record) : table_(table), record_(record) {}
  ScheduleChange(const ScheduleChange&) = delete;
  ScheduleChange& operator=(const ScheduleChange&) = delete;
  ~ScheduleChange() { table_.NoteTimer(record_); }
  PollSchedule* operator->() { return &record_.schedule_; }

 private:
  Access& table_;
  CtrlInfo& record_;
};

inline CtrlTable::ScheduleChange CtrlTable::Access::ChangeSchedule(Record record) {
  return {*this, *record.info_};
}

/// A pass over the records that have a timer, in order; idle ones cost nothing. The record that came last may
/// be changed and removed, no other.
class CtrlTable::TimerPass {
 public:
  explicit TimerPass(Access& table);
  TimerPass(const TimerPass&) = delete;
  TimerPass& operator=(const TimerPass&) = delete;
  ~TimerPass();
  /// The next record; none after the last.
  Record Next();

 private:
  Access& table_;
  std::size_t next_ = 0;
  std::size_t kept_ = 0;  ///< Entries before this one stand; those from here to next_ are to go.
};

}  // namespace kellanseek

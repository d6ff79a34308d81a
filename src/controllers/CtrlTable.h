#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <boost/container/small_vector.hpp>

#include "controllers/CtrlInfo.h"
#include "platform/Event.h"
#include "platform/Mutex.h"

namespace kellanseek::controllers {

/// The greatest id that is never issued.
inline constexpr std::uint32_t kLastReservedLanSeekID = 10;

/// Messages from the network add dynamic records only up to this number, so that a forger cannot fill the
/// memory. Those with long keys count for several, see PlacesOf().
inline constexpr std::size_t kMaxDynamicRecords = 65536;

/// All known controllers, in the order in which they became known. That is also the order of their
/// lanSeekIDs, because an id is issued, under the table lock, only for the record added next.
///
/// Records are reached through an Access, which holds the table lock during its lifetime.
class CtrlTable {
 public:
  class Access;
  class Record;
  struct Removal;
  struct Repeated;
  class ScheduleChange;
  class TimerPass;
  using Records = boost::container::small_vector<Record, 8>;

  /// Tests pass a smaller limit, which they reach sooner.
  explicit CtrlTable(std::size_t maxDynamicRecords = kMaxDynamicRecords);
  ~CtrlTable();
  CtrlTable(const CtrlTable&) = delete;
  CtrlTable& operator=(const CtrlTable&) = delete;

  /// The id of the next new controller. Needs no lock.
  std::uint32_t NextLanSeekID() const { return nextLanSeekID_.load(std::memory_order_relaxed); }

  /// If clients have waited long for the table, lets one of them have it first. For threads that take it
  /// without end under a flood.
  void GiveWay() const { mutex_.GiveWay(); }

  /// Ends the sleep of a thread that counts the timers, and sleeps while none runs. Signalled when the first
  /// timer starts, and by Access::WakeTimers(). Needs no lock.
  platform::Event& TimersWanted() { return timersWanted_; }

 private:
  struct Node;
  struct Contents;

  platform::Mutex mutex_{platform::LockOrder::Table};
  std::atomic<std::uint32_t> nextLanSeekID_{kLastReservedLanSeekID + 1};
  const std::unique_ptr<Contents> contents_;  ///< Beside the lock, as every look-up needs both.
  platform::Event timersWanted_{platform::Event::Kind::AutoReset};
};

/// Refers to a record of the table, or to none. Valid while the record is in the table, whatever happens to
/// other records. Use it only with the Access it came from.
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

/// A prepared removal.
struct CtrlTable::Removal {
  Record record;
  std::size_t sharedKeys{};  ///< Number of its keys that other records share.
};

/// The record that sent a message before, with the type of that message.
struct CtrlTable::Repeated {
  Record record;
  std::uint32_t messageType{};
};

/// Holds the table lock, and is the only way to the records: a function that needs the table locked takes an
/// Access&.
///
/// Releases the objects of removed virtual controllers after unlocking, because releasing an object runs its
/// owner's code.
class CtrlTable::Access {
 public:
  explicit Access(CtrlTable& table) NO_THREAD_SAFETY_ANALYSIS;
  ~Access() NO_THREAD_SAFETY_ANALYSIS;
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

  std::uint32_t NextLanSeekID() const { return table_.NextLanSeekID(); }
  /// Issues an id. It is never issued again, even if no record is added under it.
  std::uint32_t IssueLanSeekID() { return table_.nextLanSeekID_.fetch_add(1, std::memory_order_relaxed); }

  std::size_t Size() const;
  /// The records in order; none after the last. To remove a record during a walk, fetch the next one first.
  Record First() const;
  Record After(Record record) const;
  template <typename Visit>
  void ForEach(Visit&& visit) const {
    for (Record record = First(); record; record = After(record)) visit(record);
  }

  Record Find(std::uint32_t lanSeekID) const;
  /// The stored record of a controller. A real controller is found by its address, any other by its system
  /// identity.
  Record FindCtrl(const CtrlKeys& described) const;
  /// The first record with this address or system identity.
  Record FirstByAddress(const std::wstring& address) const;
  Record FirstBySystemID(const std::wstring& systemID) const;
  /// All records with this address or system identity, in order.
  Records AllByAddress(const std::wstring& address) const;
  Records AllBySystemID(const std::wstring& systemID) const;
  /// The records with this system identity, in order, regardless of the case of A to Z.
  Records AllByFoldedSystemID(std::wstring_view systemID) const;
  /// The records that share the system identity, MAC address or address of `described`, in order.
  Records Related(const CtrlKeys& described) const;

  /// The record whose last message had this fingerprint and would be handled again as it was; see
  /// RememberMessage().
  Repeated FindRepeated(std::uint64_t fingerprint) const;

  /// Whether a message may add another dynamic record, with these keys. The limit does not apply to
  /// controllers that are registered, configured or added by a client.
  bool HasRoomForDynamic(const CtrlKeys& keys) const;

  /// A record's state, for changing it. The keys are not part of it, because the container could not follow.
  CtrlState& Change(Record record) {
    ForgetMessage(record);
    return *record.info_;
  }
  ScheduleChange ChangeSchedule(Record record);
  /// Whether a timer runs, or has run since the last TimerPass.
  bool AnyTimer() const;
  void WakeTimers() { table_.timersWanted_.Set(); }
  /// Changes the two keys that may change during the life of a record. Throws std::bad_alloc, with the table
  /// unchanged.
  void SetIdentity(Record record, std::wstring systemID, std::wstring macAddress);
  /// Makes a configured or added controller dynamic.
  void MakeDynamic(Record record);
  /// Notes that a controller has been heard. `when` is in monotonic milliseconds.
  void NoteHeard(Record record, std::uint64_t when);
  /// To be called last in the handling of a message, if the same one would now change nothing in the record
  /// but schedule and history, and if no record before it shares one of its keys. Remembered until that may
  /// have ceased to be so: until the record changes, or another takes on one of its keys. A new record is the
  /// last, so adding one changes nothing. `fingerprint` tells the message with its sender and its way from
  /// all others; it is not 0.
  void RememberMessage(Record record, std::uint64_t fingerprint, std::uint32_t messageType);

  /// Moves a record to the end of the table, under the lanSeekID issued for it just before. Returns none if
  /// the id is taken; throws std::bad_alloc. In both cases the table and `record` are unchanged. A record
  /// that holds a virtual controller's object must outlive the Access, because it may then be the one to
  /// release it.
  Record Add(CtrlInfo& record);
  /// Does everything in a removal that can fail, for callers that announce it before it happens. Valid until
  /// the table changes. Throws std::bad_alloc.
  Removal PrepareRemoval(Record record);
  /// Removes the record. Never throws.
  void Remove(const Removal& removal);
  /// Prepares and removes in one step. Throws std::bad_alloc, with the table unchanged.
  void Remove(Record record) { Remove(PrepareRemoval(record)); }

 private:
  friend class ScheduleChange;
  friend class TimerPass;
  /// Ensures that the list of timers contains the record if its timer runs. Never throws: Add() reserved the
  /// memory.
  void NoteTimer(CtrlInfo& record);
  void ForgetMessage(Record record);

  CtrlTable& table_;
  Contents& contents_;
};

/// Access to a record's schedule for a single change; updates the list of timers afterwards.
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

/// A pass over the records with a timer, in order. Idle records cost nothing. Only the record returned last
/// may be changed or removed during the pass.
class CtrlTable::TimerPass {
 public:
  /// Begins behind the record with the id `after`. A long pass made in portions, each with an Access of its
  /// own, lets others have the table in between.
  explicit TimerPass(Access& table, std::uint32_t after = 0);
  TimerPass(const TimerPass&) = delete;
  TimerPass& operator=(const TimerPass&) = delete;
  ~TimerPass();
  /// The next record; none after the last.
  Record Next();

 private:
  Access& table_;
  std::size_t next_;
  std::size_t kept_;  ///< Entries before this index are kept; those up to next_ are dropped.
};

}  // namespace kellanseek::controllers

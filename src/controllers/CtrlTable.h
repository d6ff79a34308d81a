#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include <boost/container/small_vector.hpp>
#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/mem_fun.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

#include "controllers/CtrlInfo.h"
#include "controllers/TextKeys.h"
#include "platform/Mutex.h"

namespace kellanseek {

/// Ids up to this one are never issued.
inline constexpr std::uint32_t kLastReservedLanSeekID = 10;

/// Dynamic records up to which messages may add more.
inline constexpr std::size_t kMaxDynamicRecords = 65536;

/// All known controllers in the order in which they became known, which is also the order of their
/// lanSeekIDs: an id is issued, under the table lock, only for the record that is added next. Indexes by id,
/// address, system identity and MAC address give the first record in that order without walking the table.
///
/// Everything but NextLanSeekID() needs the table lock, which is taken with a Lock.
class CtrlTable {
 private:
  struct InOrder {};
  struct ById {};
  struct ByAddress {};
  struct BySystemID {};
  struct ByFoldedSystemID {};
  struct ByMac {};

  using Records = boost::multi_index_container<
      CtrlInfo, boost::multi_index::indexed_by<
                    boost::multi_index::sequenced<boost::multi_index::tag<InOrder>>,
                    boost::multi_index::hashed_unique<
                        boost::multi_index::tag<ById>,
                        boost::multi_index::member<CtrlInfo, std::uint32_t, &CtrlInfo::lanSeekID>>,
                    boost::multi_index::hashed_non_unique<
                        boost::multi_index::tag<ByAddress>,
                        boost::multi_index::member<CtrlInfo, std::wstring, &CtrlInfo::ctrlAddress>,
                        LocaleHash, LocaleEquals>,
                    boost::multi_index::hashed_non_unique<
                        boost::multi_index::tag<BySystemID>,
                        boost::multi_index::member<CtrlInfo, std::wstring, &CtrlInfo::systemID>, LocaleHash,
                        LocaleEquals>,
                    boost::multi_index::hashed_non_unique<
                        boost::multi_index::tag<ByFoldedSystemID>,
                        boost::multi_index::member<CtrlInfo, std::wstring, &CtrlInfo::systemID>, FoldedHash,
                        FoldedEquals>,
                    boost::multi_index::hashed_non_unique<
                        boost::multi_index::tag<ByMac>,
                        boost::multi_index::member<CtrlInfo, std::wstring, &CtrlInfo::macAddress>, LocaleHash,
                        LocaleEquals>>>;

 public:
  /// Names a record; stays valid while that record is in the table, whatever happens to others.
  using Iterator = Records::index<InOrder>::type::iterator;
  using Iterators = boost::container::small_vector<Iterator, 8>;

  /// With another limit for tests, which reach it sooner.
  explicit CtrlTable(std::size_t maxDynamicRecords = kMaxDynamicRecords);
  CtrlTable(const CtrlTable&) = delete;
  CtrlTable& operator=(const CtrlTable&) = delete;

  /// Holds the table lock for the life of a scope. References to the objects of virtual controllers whose
  /// records were removed meanwhile are released after the lock, since releasing one runs its owner's code.
  class KELLANSEEK_TSA(scoped_lockable) Lock {
   public:
    explicit Lock(CtrlTable& table) ACQUIRE(table.mutex_);
    ~Lock() RELEASE();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    CtrlTable& table_;
  };

  platform::Mutex& TableMutex() RETURN_CAPABILITY(mutex_) { return mutex_; }

  /// The id that the next new controller gets. Needs no lock.
  std::uint32_t NextLanSeekID() const { return nextLanSeekID_.load(std::memory_order_relaxed); }
  /// Issues an id; it is never issued again, whether or not a record is added under it.
  std::uint32_t IssueLanSeekID() REQUIRES(mutex_) {
    return nextLanSeekID_.fetch_add(1, std::memory_order_relaxed);
  }

  Iterator begin() REQUIRES(mutex_) { return records_.get<InOrder>().begin(); }
  Iterator end() REQUIRES(mutex_) { return records_.get<InOrder>().end(); }
  std::size_t Size() const REQUIRES(mutex_) { return records_.size(); }

  Iterator Find(std::uint32_t lanSeekID) REQUIRES(mutex_);
  /// The stored record of the controller that `pattern` describes: a real controller is found by address, any
  /// other by system identity.
  Iterator FindCtrl(const CtrlInfo& pattern) REQUIRES(mutex_);
  /// The first record with that address, or that system identity.
  Iterator FirstByAddress(const std::wstring& address) REQUIRES(mutex_);
  Iterator FirstBySystemID(const std::wstring& systemID) REQUIRES(mutex_);
  /// All records with that address, or that system identity, in order.
  Iterators AllByAddress(const std::wstring& address) REQUIRES(mutex_);
  Iterators AllBySystemID(const std::wstring& systemID) REQUIRES(mutex_);
  /// The records with that system identity, in order, A to Z taken as a to z.
  Iterators AllByFoldedSystemID(std::wstring_view systemID) REQUIRES(mutex_);
  /// The records that share the pattern's system identity, MAC address or address, in order.
  Iterators Related(const CtrlInfo& pattern) REQUIRES(mutex_);

  /// Whether a message may add one more dynamic record. Who registers, configures or adds a controller does
  /// not ask.
  bool HasRoomForDynamic() const REQUIRES(mutex_) { return dynamicRecords_ < maxDynamicRecords_; }

  /// A record for changing any field but its keys, which are lanSeekID, ctrlAddress, systemID and macAddress,
  /// and its identificationType.
  CtrlInfo& Edit(Iterator record) REQUIRES(mutex_) { return const_cast<CtrlInfo&>(*record); }
  /// Changes the two keys that can change during the life of a record.
  void SetIdentity(Iterator record, std::wstring systemID, std::wstring macAddress) REQUIRES(mutex_);

  /// A configured or added controller turns into a dynamic one.
  void MakeDynamic(Iterator record) REQUIRES(mutex_);

  /// Moves a record to the end of the table under its lanSeekID, which was issued just before. end() when the
  /// id is taken. Throws std::bad_alloc. Table and record are then unchanged; a record that holds a virtual
  /// controller's object must outlive the lock, since it may be the one to release it.
  Iterator AddCtrl(CtrlInfo& record) REQUIRES(mutex_);
  /// Sees to it that Remove() of this record does not throw. Throws std::bad_alloc.
  void PrepareRemoval(Iterator record) REQUIRES(mutex_);
  /// Removes a record; gives the one after it. Throws std::bad_alloc, with the table unchanged, when the
  /// record holds a virtual controller's object and was not prepared.
  Iterator Remove(Iterator record) REQUIRES(mutex_);

 private:
  template <typename Index, typename Key>
  Iterator First(const Key& key) REQUIRES(mutex_);
  template <typename Index, typename Key>
  void Append(Iterators& found, const Key& key) REQUIRES(mutex_);

  template <typename Index>
  std::size_t IsHeld(const std::wstring& key, std::size_t byMoreThan) REQUIRES(mutex_);
  /// How many of the record's three texts that tell controllers apart are there and held by more records than
  /// that.
  std::size_t KeysHeld(const CtrlInfo& record, std::size_t byMoreThan) REQUIRES(mutex_);

  platform::Mutex mutex_;
  std::atomic<std::uint32_t> nextLanSeekID_{kLastReservedLanSeekID + 1};
  Records records_ GUARDED_BY(mutex_);
  /// For each system identity, MAC address and address that records share, how many do besides the first.
  std::size_t sharedKeys_ GUARDED_BY(mutex_) = 0;
  const std::size_t maxDynamicRecords_;
  std::size_t dynamicRecords_ GUARDED_BY(mutex_) = 0;
  std::vector<KelComPtr<IUnknown>> toRelease_ GUARDED_BY(mutex_);
};

}  // namespace kellanseek

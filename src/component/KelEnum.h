#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "component/ComponentModule.h"
#include "platform/Marshaler.h"

/// Bulk access to the items, for in-process callers.
KEL_DECLARE_INTERFACE(IKelEnumInternal, "CF7736A6-3D57-444A-8F55-8D2F360E3DE3");
struct IKelEnumInternal : IUnknown {
  /// Returns the number of items and the list's own array, valid during the lifetime of the list. Either
  /// output may be null.
  virtual HRESULT STDMETHODCALLTYPE GetItems(ULONG* count, const AvailableCtrlsListItem** items) = 0;
};

namespace kellanseek::component {

// The policies are known by these names, underscores included.
// NOLINTBEGIN(bugprone-reserved-identifier)

/// Copies items.
struct _KelCopyAvailableCtrlsListItem {
  static void Copy(AvailableCtrlsListItem* to, const AvailableCtrlsListItem& from) { *to = from; }
};

/// Orders items: in every mode all items are equal.
template <typename Item>
struct _KelCmp {
  static bool Before(INT /*mode*/, const Item& /*left*/, const Item& /*right*/) { return false; }
};

/// Filters items: every mode admits all.
template <typename Item>
struct _KelFilter {
  static bool Admits(INT /*mode*/, const Item& /*item*/) { return true; }
};

// NOLINTEND(bugprone-reserved-identifier)

/// An enumerator over a list of items. Not thread-safe.
template <typename Base, typename Item, typename CopyPolicy, typename CmpPolicy, typename FilterPolicy>
class KelEnumImpl : public Base {
 public:
  enum class Ownership {
    Taken,   ///< The items were moved in.
    Copied,  ///< The items were copied from another list.
  };

  KelEnumImpl() = default;
  KelEnumImpl(const KelEnumImpl&) = delete;
  KelEnumImpl& operator=(const KelEnumImpl&) = delete;

  /// Fills the list, once. The list keeps `owner`, which may be null, alive.
  void Init(std::vector<Item> items, Ownership ownership, KelComPtr<IUnknown> owner) {
    items_ = std::move(items);
    ownership_ = ownership;
    owner_ = std::move(owner);
  }

  STDMETHODIMP RemNext(ULONG cElems, Item* prgElems, ULONG* pcFetched) final {
    if (prgElems == nullptr || (cElems != 1 && pcFetched == nullptr)) return E_POINTER;
    if (!items_) return E_FAIL;
    ULONG copied = 0;
    while (copied < cElems && FindAdmitted()) CopyPolicy::Copy(prgElems + copied++, (*items_)[current_++]);
    if (pcFetched != nullptr) *pcFetched = copied;
    return copied == cElems ? S_OK : S_FALSE;
  }

  STDMETHODIMP Skip(ULONG cElems) final {
    while (cElems > 0 && FindAdmitted()) {
      ++current_;
      --cElems;
    }
    return cElems == 0 ? S_OK : S_FALSE;
  }

  STDMETHODIMP Reset() final {
    current_ = 0;
    return S_OK;
  }

  STDMETHODIMP Sort(INT mode) final {
    if (!items_) return S_OK;
    const auto before = [mode](const Item& left, const Item& right) {
      return CmpPolicy::Before(mode, left, right);
    };
    std::stable_sort(items_->begin(), items_->end(), before);
    return S_OK;
  }

  STDMETHODIMP Filter(INT mode) final {
    filter_ = mode;
    return S_OK;
  }

  STDMETHODIMP UnFilter() final {
    filter_.reset();
    return S_OK;
  }

 protected:
  ~KelEnumImpl() = default;

  std::size_t Count() const { return items_ ? items_->size() : 0; }
  const Item* Items() const { return items_ ? items_->data() : nullptr; }

  /// Copies the items and the position to `clone`. The clone of a copy keeps this list alive; any other clone
  /// keeps this list's owner alive. Throws std::bad_alloc.
  void CopyTo(KelEnumImpl& clone) {
    if (items_) {
      clone.Init(*items_, Ownership::Copied,
                 ownership_ == Ownership::Copied ? KelComPtr<IUnknown>(this) : owner_);
    }
    clone.current_ = current_;
    clone.filter_ = filter_;
  }

 private:
  /// Advances to the next item admitted by the filter. Returns false at the end.
  bool FindAdmitted() {
    while (current_ < Count() && filter_ && !FilterPolicy::Admits(*filter_, (*items_)[current_])) ++current_;
    return current_ < Count();
  }

  KelComPtr<IUnknown> owner_;
  std::optional<std::vector<Item>> items_;
  std::size_t current_ = 0;
  Ownership ownership_ = Ownership::Taken;
  std::optional<INT> filter_;  ///< The mode; none without a filter.
};

/// A reference-counted KelEnumImpl that keeps the module loaded. Other apartments use it without a proxy,
/// because the system's type-library marshaller does not support the array of RemNext.
template <typename Base, typename Item, typename CopyPolicy, typename CmpPolicy, typename FilterPolicy>
class KelEnum final : public KelEnumImpl<Base, Item, CopyPolicy, CmpPolicy, FilterPolicy>,
                      public IKelEnumInternal {
 public:
  /// Creates an empty list with one reference. Returns null if memory is exhausted.
  static KelComPtr<KelEnum> Create(ComponentModule& module) {
    auto created = KelComPtr<KelEnum>::Attach(new (std::nothrow) KelEnum(module));
    if (created) created->marshaler_ = platform::FreeThreadedMarshaler(*static_cast<Base*>(created.Get()));
    return created;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (IsEqualIID(iid, *KelInterfaceId<Base>) || IsEqualIID(iid, IID_IUnknown)) {
      *object = static_cast<Base*>(this);
    } else if (IsEqualIID(iid, IID_IKelEnumInternal)) {
      *object = static_cast<IKelEnumInternal*>(this);
    } else {
      return platform::QueryMarshaler(marshaler_.Get(), iid, object);
    }
    AddRef();
    return S_OK;
  }

  STDMETHODIMP_(ULONG) AddRef() override { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP Clone(Base** ppenum) override {
    if (ppenum == nullptr) return E_POINTER;
    *ppenum = nullptr;
    try {
      const KelComPtr<KelEnum> clone = Create(moduleLock_.Module());
      if (!clone) return E_OUTOFMEMORY;
      this->CopyTo(*clone);
      return clone->QueryInterface(*KelInterfaceId<Base>, reinterpret_cast<void**>(ppenum));
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
  }

  STDMETHODIMP GetItems(ULONG* count, const Item** items) override {
    if (count != nullptr) *count = static_cast<ULONG>(this->Count());
    if (items != nullptr) *items = this->Items();
    return S_OK;
  }

 private:
  explicit KelEnum(ComponentModule& module) : moduleLock_(module) {}
  ~KelEnum() = default;

  ModuleLock moduleLock_;
  KelComPtr<IUnknown> marshaler_;
  std::atomic<ULONG> references_{1};
};

using CtrlEnum = KelEnum<IKelEnumCtrlIdentity, AvailableCtrlsListItem, _KelCopyAvailableCtrlsListItem,
                         _KelCmp<AvailableCtrlsListItem>, _KelFilter<AvailableCtrlsListItem>>;

}  // namespace kellanseek::component

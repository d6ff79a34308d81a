#pragma once

// Owners of a COM reference and of a BSTR, for clients and the component. Part of kellanseek/com.h, on every
// system. As with any value, a single owner is not thread-safe.

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

/// Owns a reference to a COM object, or none. Never throws.
template <typename Interface>
class KelComPtr {
 public:
  constexpr KelComPtr() noexcept = default;
  constexpr KelComPtr(std::nullptr_t) noexcept {}
  /// Adds a reference. Use Attach() to take over the caller's.
  explicit KelComPtr(Interface* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->AddRef();
  }
  KelComPtr(const KelComPtr& other) noexcept : KelComPtr(other.object_) {}
  KelComPtr(KelComPtr&& other) noexcept : object_(other.Detach()) {}
  /// Converts from an owner of a derived interface.
  template <typename Derived, typename = std::enable_if_t<std::is_convertible_v<Derived*, Interface*>>>
  KelComPtr(const KelComPtr<Derived>& other) noexcept : KelComPtr(static_cast<Interface*>(other.Get())) {}
  template <typename Derived, typename = std::enable_if_t<std::is_convertible_v<Derived*, Interface*>>>
  KelComPtr(KelComPtr<Derived>&& other) noexcept : object_(other.Detach()) {}
  ~KelComPtr() { Reset(); }

  KelComPtr& operator=(KelComPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  /// Takes over the caller's reference.
  static KelComPtr Attach(Interface* object) noexcept {
    KelComPtr owner;
    owner.object_ = object;
    return owner;
  }
  /// Gives up the reference to the caller.
  [[nodiscard]] Interface* Detach() noexcept { return std::exchange(object_, nullptr); }
  /// Releases the reference. The owner is already empty when the object's Release runs.
  void Reset() noexcept {
    if (Interface* const old = Detach(); old != nullptr) old->Release();
  }

  Interface* Get() const noexcept { return object_; }
  Interface* operator->() const noexcept { return object_; }
  Interface& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Address for an output parameter. Releases the current reference first.
  Interface** Put() noexcept {
    Reset();
    return &object_;
  }
  void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }

  /// Queries the object for another interface. Returns the result of QueryInterface; E_POINTER if the owner
  /// is empty.
  template <typename Other>
  HRESULT QueryTo(KelComPtr<Other>& other) const noexcept {
    KelComPtr<Other> found;
    const HRESULT result =
        object_ == nullptr ? E_POINTER : object_->QueryInterface(*KelInterfaceId<Other>, found.PutVoid());
    other = std::move(found);
    return result;
  }
  /// The same without the result code: empty if the object does not support the interface.
  template <typename Other>
  KelComPtr<Other> As() const noexcept {
    KelComPtr<Other> other;
    QueryTo(other);
    return other;
  }

  friend bool operator==(const KelComPtr& left, const KelComPtr& right) noexcept {
    return left.object_ == right.object_;
  }
  friend bool operator==(const KelComPtr& left, const Interface* right) noexcept {
    return left.object_ == right;
  }
  // C++20 derives the other comparisons from these two; C++17 does not.
  friend bool operator==(const Interface* left, const KelComPtr& right) noexcept { return right == left; }
  friend bool operator!=(const KelComPtr& left, const KelComPtr& right) noexcept { return !(left == right); }
  friend bool operator!=(const KelComPtr& left, const Interface* right) noexcept { return !(left == right); }
  friend bool operator!=(const Interface* left, const KelComPtr& right) noexcept { return !(right == left); }

 private:
  Interface* object_ = nullptr;
};

/// Owns a BSTR, or none. Construction from a text throws std::bad_alloc if memory is exhausted.
class KelBstr {
 public:
  constexpr KelBstr() noexcept = default;
  /// Copies `text`, zeros included. An empty text becomes a BSTR of length 0, not null.
  explicit KelBstr(std::wstring_view text) : text_(Copy(text)) {}
  KelBstr(const KelBstr& other) : text_(other.text_ == nullptr ? nullptr : Copy(other.View())) {}
  KelBstr(KelBstr&& other) noexcept : text_(other.Detach()) {}
  ~KelBstr() { SysFreeString(text_); }

  KelBstr& operator=(KelBstr other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }

  /// Takes over a BSTR that the caller would have to free.
  static KelBstr Attach(BSTR text) noexcept {
    KelBstr owner;
    owner.text_ = text;
    return owner;
  }
  /// Gives up the BSTR to the caller, who frees it.
  [[nodiscard]] BSTR Detach() noexcept { return std::exchange(text_, nullptr); }

  BSTR Get() const noexcept { return text_; }
  explicit operator bool() const noexcept { return text_ != nullptr; }
  /// The text; empty if there is none. Valid during the lifetime of this owner's BSTR.
  std::wstring_view View() const noexcept {
    return text_ == nullptr ? std::wstring_view() : std::wstring_view(text_, SysStringLen(text_));
  }
  std::wstring Text() const { return std::wstring(View()); }

  /// Address for an output parameter. Frees the current BSTR first.
  BSTR* Put() noexcept {
    SysFreeString(Detach());
    return &text_;
  }

 private:
  static BSTR Copy(std::wstring_view text) {
    const UINT length = static_cast<UINT>(text.size());
    const BSTR copy = length == text.size() ? SysAllocStringLen(text.data(), length) : nullptr;
    if (copy == nullptr) throw std::bad_alloc();
    return copy;
  }

  BSTR text_ = nullptr;
};

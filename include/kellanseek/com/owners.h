#pragma once

// Owners of a counted reference and of a BSTR, for clients and the component alike. Part of kellanseek/com.h,
// on every system. As with any value, one owner is for one thread at a time.

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

/// Owns one reference to a COM object, or none. Never throws.
template <typename Interface>
class KelComPtr {
 public:
  constexpr KelComPtr() noexcept = default;
  constexpr KelComPtr(std::nullptr_t) noexcept {}
  /// Takes a reference of its own; to take over the caller's use Attach.
  explicit KelComPtr(Interface* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->AddRef();
  }
  KelComPtr(const KelComPtr& other) noexcept : KelComPtr(other.object_) {}
  KelComPtr(KelComPtr&& other) noexcept : object_(other.Detach()) {}
  /// From an owner of a derived interface.
  template <typename Derived, typename = std::enable_if_t<std::is_convertible_v<Derived*, Interface*>>>
  KelComPtr(const KelComPtr<Derived>& other) noexcept : KelComPtr(static_cast<Interface*>(other.Get())) {}
  template <typename Derived, typename = std::enable_if_t<std::is_convertible_v<Derived*, Interface*>>>
  KelComPtr(KelComPtr<Derived>&& other) noexcept : object_(other.Detach()) {}
  ~KelComPtr() { Reset(); }

  KelComPtr& operator=(KelComPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  /// Takes over a reference that the caller holds.
  static KelComPtr Attach(Interface* object) noexcept {
    KelComPtr owner;
    owner.object_ = object;
    return owner;
  }
  /// Hands the reference to the caller.
  [[nodiscard]] Interface* Detach() noexcept { return std::exchange(object_, nullptr); }
  /// Lets the reference go. The owner is empty before the object hears of it.
  void Reset() noexcept {
    if (Interface* const old = Detach(); old != nullptr) old->Release();
  }

  Interface* Get() const noexcept { return object_; }
  Interface* operator->() const noexcept { return object_; }
  Interface& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Where an output parameter puts a reference; what was held before is let go.
  Interface** Put() noexcept {
    Reset();
    return &object_;
  }
  void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }

  /// Another interface of the object, with the result of QueryInterface; E_POINTER when nothing is held.
  template <typename Other>
  HRESULT QueryTo(KelComPtr<Other>& other) const noexcept {
    KelComPtr<Other> found;
    const HRESULT result =
        object_ == nullptr ? E_POINTER : object_->QueryInterface(*KelInterfaceId<Other>, found.PutVoid());
    other = std::move(found);
    return result;
  }
  /// The same without the reason: empty when the object has no such interface.
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
  // C++20 would derive the rest from these two; C++17 does not.
  friend bool operator==(const Interface* left, const KelComPtr& right) noexcept { return right == left; }
  friend bool operator!=(const KelComPtr& left, const KelComPtr& right) noexcept { return !(left == right); }
  friend bool operator!=(const KelComPtr& left, const Interface* right) noexcept { return !(left == right); }
  friend bool operator!=(const Interface* left, const KelComPtr& right) noexcept { return !(right == left); }

 private:
  Interface* object_ = nullptr;
};

/// Owns a BSTR, or none. Making one from a text throws std::bad_alloc when memory is out.
class KelBstr {
 public:
  constexpr KelBstr() noexcept = default;
  /// A copy of `text`, zero characters included. An empty text gives a BSTR of length 0, not a null one.
  explicit KelBstr(std::wstring_view text) : text_(Copy(text)) {}
  KelBstr(const KelBstr& other) : text_(other.text_ == nullptr ? nullptr : Copy(other.View())) {}
  KelBstr(KelBstr&& other) noexcept : text_(other.Detach()) {}
  ~KelBstr() { SysFreeString(text_); }

  KelBstr& operator=(KelBstr other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }

  /// Takes over a BSTR that the caller would have had to free.
  static KelBstr Attach(BSTR text) noexcept {
    KelBstr owner;
    owner.text_ = text;
    return owner;
  }
  /// Hands the BSTR to the caller, who frees it.
  [[nodiscard]] BSTR Detach() noexcept { return std::exchange(text_, nullptr); }

  BSTR Get() const noexcept { return text_; }
  explicit operator bool() const noexcept { return text_ != nullptr; }
  /// The text; empty for none. Valid while the owner holds it.
  std::wstring_view View() const noexcept {
    return text_ == nullptr ? std::wstring_view() : std::wstring_view(text_, SysStringLen(text_));
  }
  std::wstring Text() const { return std::wstring(View()); }

  /// Where an output parameter puts a BSTR; what was held before is freed.
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

#pragma once

#include <concepts>
#include <cstddef>
#include <utility>

namespace Kiv {

/// A counted pointer: the object lives as long as one of them points to it.
///
/// Made from a plain pointer it takes a reference of its own; `adopt` takes over a reference that
/// somebody holds already, and `release` hands its own over. Null is a valid value.
///
///     Kiv::Ptr<Config> config = Config::ConfigIs();
///     Kiv::Ptr<Config const> reader = config;
template <class T>
class Ptr {
 public:
  constexpr Ptr() noexcept = default;
  constexpr Ptr(std::nullptr_t) noexcept {}
  explicit Ptr(T* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->referenceIs();
  }
  Ptr(Ptr const& other) noexcept : Ptr(other.object_) {}
  Ptr(Ptr&& other) noexcept : object_(other.release()) {}
  template <class U>
  requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other)
  noexcept : Ptr(other.ptr()) {}
  template <class U>
  requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
  noexcept : object_(other.release()) {}

  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  ~Ptr() {
    if (object_ != nullptr) object_->referenceDel();
  }

  /// Takes over one reference to `object` without counting it again.
  static Ptr adopt(T* object) noexcept {
    Ptr result;
    result.object_ = object;
    return result;
  }

  /// Hands the reference over to the caller and becomes null.
  T* release() noexcept { return std::exchange(object_, nullptr); }

  T* ptr() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  T* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Two pointers are equal when they point to the same object.
  template <class U>
  bool operator==(Ptr<U> const& other) const noexcept {
    return object_ == other.ptr();
  }
  bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }

 private:
  T* object_ = nullptr;
};

/// Creates a `T` and returns the only reference to it. What the constructor raises comes through,
/// with the memory given back.
template <class T, class... Arguments>
Ptr<T> makeNew(Arguments&&... arguments) {
  return Ptr<T>::adopt(new T(std::forward<Arguments>(arguments)...));
}

/// The same object as a `T`, or null when it is not one.
template <class T, class U>
Ptr<T> dynamicPtr(Ptr<U> const& object) noexcept {
  return Ptr<T>(dynamic_cast<T*>(object.ptr()));
}

}  // namespace Kiv

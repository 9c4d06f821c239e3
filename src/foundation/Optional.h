#pragma once

#include <memory>
#include <utility>

namespace vorn {

/// A value that may be absent. It owns its value in a separate allocation; copies are deep. A moved-from
/// optional is empty.
///
/// Used for everything that may not be known yet (names, model identifiers, versions), and as the result of a
/// function that can fail without a reason to report.
///
/// @threadsafety As safe as the held type: different threads may use different objects. One object needs a
/// lock outside.
template <typename T>
class [[nodiscard]] optional {
 public:
  optional() noexcept = default;
  // A value converts to the optional that holds it, as with the standard's own.
  // NOLINTNEXTLINE(google-explicit-constructor)
  optional(const T& value) : fValue(std::make_unique<T>(value)) {}
  // NOLINTNEXTLINE(google-explicit-constructor)
  optional(T&& value) : fValue(std::make_unique<T>(std::move(value))) {}
  optional(const optional& other) : fValue(other ? std::make_unique<T>(*other) : nullptr) {}
  optional(optional&&) noexcept = default;
  ~optional() = default;

  /// The copy is made before the old value is destroyed, so a failed allocation leaves the target as it was.
  optional& operator=(const optional& other) {
    if (this != &other) {
      auto copy = other ? std::make_unique<T>(*other) : nullptr;
      fValue = std::move(copy);
    }
    return *this;
  }
  optional& operator=(optional&&) noexcept = default;

  explicit operator bool() const noexcept { return fValue != nullptr; }
  [[nodiscard]] bool has_value() const noexcept { return fValue != nullptr; }
  void reset() noexcept { fValue.reset(); }

  /// Access to the held value, only if has_value().
  [[nodiscard]] const T& operator*() const noexcept { return *fValue; }
  [[nodiscard]] T& operator*() noexcept { return *fValue; }
  const T* operator->() const noexcept { return fValue.get(); }
  T* operator->() noexcept { return fValue.get(); }

 private:
  std::unique_ptr<T> fValue;
};

/// Two empty optionals are equal, an empty one and a present one are not. Two present ones compare with their
/// values' own ==.
template <typename T, typename U>
[[nodiscard]] bool operator==(const optional<T>& a, const optional<U>& b) {
  if (a.has_value() != b.has_value()) return false;
  return !a.has_value() || *a == *b;
}

}  // namespace vorn

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace wyvlet {

/// The one-line reason of an expected failure, in words for a log line.
struct Failure {
  std::string reason;
};

/// A value, or the reason why there is none. Expected failures travel as values; exceptions are
/// kept for our own mistakes.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: implicit by design
  Result(Failure failure) : state_(std::in_place_index<1>, std::move(failure)) {}  // NOLINT

  explicit operator bool() const { return state_.index() == 0; }
  T& operator*() & { return std::get<0>(state_); }
  const T& operator*() const& { return std::get<0>(state_); }
  T&& operator*() && { return std::get<0>(std::move(state_)); }
  T* operator->() { return &std::get<0>(state_); }
  const T* operator->() const { return &std::get<0>(state_); }

  /// Why there is no value; only when the result is false.
  const std::string& reason() const { return std::get<1>(state_).reason; }

 private:
  std::variant<T, Failure> state_;
};

}  // namespace wyvlet

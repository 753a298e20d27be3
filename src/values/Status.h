#pragma once

#include <cassert>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace velmora {

// How an operation that can fail says so, everywhere in the tree: success, or
// the reason in words a person can act on ("cannot write x: No space left on
// device"). A failure carries no severity and no exit status: whoever runs the
// system (the host) decides whether it is an error or a warning, and prints it.
class [[nodiscard]] Status {
 public:
  Status() = default;  // success

  static Status failure(std::string message) {
    Status status;
    status.failed_ = true;
    status.message_ = std::move(message);
    return status;
  }

  bool ok() const { return !failed_; }
  explicit operator bool() const { return ok(); }
  // The reason of a failure; empty on success.
  const std::string& message() const { return message_; }

  // The same failure with where it happened put in front ("import: ...").
  Status within(std::string_view place) const {
    return ok() ? *this : failure(std::string(place) + ": " + message_);
  }

 private:
  bool failed_ = false;
  std::string message_;
};

// A value, or the failure that kept it from being made.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : v_(std::in_place_index<0>, std::move(value)) {}
  // A failed status only: a result that succeeds holds its value.
  Result(Status failure) : v_(std::in_place_index<1>, std::move(failure)) { assert(!std::get<1>(v_).ok()); }

  bool ok() const { return v_.index() == 0; }
  explicit operator bool() const { return ok(); }

  T& value() & { return std::get<0>(v_); }
  const T& value() const& { return std::get<0>(v_); }
  T&& value() && { return std::get<0>(std::move(v_)); }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }
  T&& operator*() && { return std::move(*this).value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

  // Success, or the failure.
  Status status() const { return ok() ? Status() : std::get<1>(v_); }
  // The reason of a failure; empty on success.
  const std::string& message() const {
    static const std::string none;
    return ok() ? none : std::get<1>(v_).message();
  }

 private:
  std::variant<T, Status> v_;
};

}  // namespace velmora

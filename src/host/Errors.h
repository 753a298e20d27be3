#pragma once

#include <cassert>
#include <string>
#include <utility>

#include "values/Status.h"

namespace velmora::host {

// The two ways a command can fail, which the program's exit status tells apart.
enum class ErrorKind {
  kCommand,  // understood but not carried out (status 1): a file that cannot be read or written, a missing key
  kUsage,    // the command line asks for something that makes no sense (status 2)
};

// How one of the host's steps ended: success, or a failure saying why (a
// Status) and of which kind. Whoever finds the fault knows its kind; only
// the program's `run` turns it into an exit status and a message on standard
// error. A Status from the floors below (a file, the store, the bundle) is a
// command error.
class [[nodiscard]] Outcome {
 public:
  Outcome() = default;  // success
  Outcome(Status status, ErrorKind kind = ErrorKind::kCommand) : status_(std::move(status)), kind_(kind) {}

  static Outcome usageError(std::string message) { return {Status::failure(std::move(message)), ErrorKind::kUsage}; }
  static Outcome commandError(std::string message) { return Status::failure(std::move(message)); }

  bool ok() const { return status_.ok(); }
  explicit operator bool() const { return ok(); }
  ErrorKind kind() const { return kind_; }
  // The reason of a failure; empty on success.
  const std::string& message() const { return status_.message(); }

 private:
  Status status_;
  ErrorKind kind_ = ErrorKind::kCommand;
};

// A value, or the failed Outcome that kept it from being made.
template <class T>
class [[nodiscard]] Expected {
 public:
  Expected(T value) : result_(std::move(value)) {}
  // A failed Outcome only: an Expected that succeeds holds its value.
  Expected(Outcome failure) : result_(Status::failure(failure.message())), kind_(failure.kind()) {
    assert(!failure.ok());
  }
  // A value, or a failure that is of `kind` here.
  Expected(Result<T> result, ErrorKind kind) : result_(std::move(result)), kind_(kind) {}

  bool ok() const { return result_.ok(); }
  explicit operator bool() const { return ok(); }
  T& operator*() & { return *result_; }
  const T& operator*() const& { return *result_; }
  T&& operator*() && { return *std::move(result_); }
  T* operator->() { return &*result_; }
  const T* operator->() const { return &*result_; }

  // Success, or the failure.
  Outcome outcome() const { return ok() ? Outcome() : Outcome(result_.status(), kind_); }
  const std::string& message() const { return result_.message(); }

 private:
  Result<T> result_;
  ErrorKind kind_ = ErrorKind::kCommand;
};

}  // namespace velmora::host

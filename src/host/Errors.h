#pragma once

#include <stdexcept>

namespace velmora::host {

// The command line asked for something that makes no sense (exit status 2);
// the message says what is wrong.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The command was understood but could not be carried out (exit status 1):
// a file that cannot be read or written, a key that does not exist.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace velmora::host

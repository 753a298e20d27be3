#pragma once

#include <stdexcept>

#include "host/Json.h"
#include "values/Value.h"

namespace velmora::host {

// A JSON value that cannot be stored in a preferences domain; the message
// names the place ("/bankDict/20250106") and what is wrong.
struct JsonFormError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The reverse of the JSON forms, for what a preferences domain can hold:
// integers, reals, booleans, texts, {"date": ...}, {"data": ...}, arrays and
// dictionaries. Throws JsonFormError.
Value valueFromJson(const Json& json);
MetricDictionary dictionaryFromJson(const Json& json);

}  // namespace velmora::host

#pragma once

#include "host/Json.h"
#include "values/Status.h"
#include "values/Value.h"

namespace velmora::host {

// The reverse of the JSON forms, for what a preferences domain can hold:
// integers, reals, booleans, texts, {"date": ...}, {"data": ...}, arrays and
// dictionaries. A JSON value that cannot be stored in a domain is a failure
// naming the place ("/bankDict/20250106") and what is wrong.
Result<Value> valueFromJson(const Json& json);
Result<MetricDictionary> dictionaryFromJson(const Json& json);

}  // namespace velmora::host

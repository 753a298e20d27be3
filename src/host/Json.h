#pragma once

// The host's JSON documents, declared only: headers name the type, and only
// the files that build, read or write documents include the library's whole
// header, which is large enough to be felt in every file that reads it.
#include <nlohmann/json_fwd.hpp>

namespace velmora::host {

// Objects keep the order in which their keys were set.
using Json = nlohmann::ordered_json;

}  // namespace velmora::host

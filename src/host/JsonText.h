#pragma once

#include <string>
#include <string_view>

#include "host/Json.h"
#include "values/Status.h"

namespace velmora::host {

// Reads a JSON document (RFC 8259), in time linear in its length. A key
// repeated in one object keeps its first place and its last value. A text
// that is not JSON is a failure saying where and why ("parse error at line
// 1, column 9: ...").
Result<Json> parseJson(std::string_view text);

// The text of a JSON document, ending in a newline: arrays and objects that
// fit in 100 columns on one line, longer ones one member per line indented by
// two spaces. Numbers are written in their shortest exact form, which the
// JSON library's own printer does not always find.
std::string writeJson(const Json& json);

}  // namespace velmora::host

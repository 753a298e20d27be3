#pragma once

#include <string>
#include <string_view>

#include "host/Json.h"

namespace velmora::host {

// Reads a JSON document (RFC 8259), in time linear in its length. A key
// repeated in one object keeps its first place and its last value. Throws
// Json::exception (a parse_error saying where) when the text is not JSON.
Json parseJson(std::string_view text);

// The text of a JSON document, ending in a newline: arrays and objects that
// fit in 100 columns on one line, longer ones one member per line indented by
// two spaces. Numbers are written in their shortest exact form, which the
// JSON library's own printer does not always find.
std::string writeJson(const Json& json);

}  // namespace velmora::host

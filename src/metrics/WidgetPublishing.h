#pragma once

#include <string_view>

#include "values/Value.h"

namespace velmora {

class UserDefaults;

// The widgets and shortcuts read what the `ForSwift` operations leave in the
// SharedStore under "Swift-<name>". Several names are shared by every
// metric, so the last publisher wins.
//
// Sets "Swift-<name>" to `value`; an absent value (nullptr) removes the key.
void publishForWidgets(UserDefaults& store, std::string_view name, const Value* value);
// The same for the compact form of a text, under "Swift-<name>Compact".
void publishCompactForWidgets(UserDefaults& store, std::string_view name, const Value* value);

}  // namespace velmora

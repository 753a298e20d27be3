#include "metrics/WidgetPublishing.h"

#include <string>

#include "store/UserDefaults.h"
#include "text/StringFormat.h"

namespace velmora {

namespace {

void publish(UserDefaults& store, const std::string& key, const Value* value) {
  if (value)
    store.setObject(*value, key);
  else
    store.removeObjectForKey(key);
}

}  // namespace

void publishForWidgets(UserDefaults& store, std::string_view name, const Value* value) {
  publish(store, stringWithFormat("Swift-%@", {name}), value);
}

void publishCompactForWidgets(UserDefaults& store, std::string_view name, const Value* value) {
  publish(store, stringWithFormat("Swift-%@Compact", {name}), value);
}

}  // namespace velmora

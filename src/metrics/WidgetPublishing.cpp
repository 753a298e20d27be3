#include "metrics/WidgetPublishing.h"

#include <string>

#include "platform/StringFormat.h"
#include "platform/UserDefaults.h"

namespace velmora {

void publishForWidgets(UserDefaults& store, std::string_view name, const Value* value) {
  const std::string key = stringWithFormat("Swift-%@", {name});
  if (value)
    store.setObject(*value, key);
  else
    store.removeObjectForKey(key);
}

}  // namespace velmora

#pragma once

// What the presentation operations share in making their display dictionaries.

#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>

#include "values/Value.h"

namespace velmora {

// Widgets show the gauges smaller.
inline constexpr float kGaugeSize = 280.0f;
inline constexpr float kWidgetGaugeSize = 220.0f;

// The record's values under `keys`, in that order; a key the record lacks stays absent.
inline void copyKeys(const MetricDictionary& record, MetricDictionary& d,
                     std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    const Value* value = record.objectForKey(key);
    d.setValue(key, value ? std::optional(*value) : std::nullopt);
  }
}

// The image of the dictionary, when one could be drawn.
inline void setImage(MetricDictionary& d, ImageRef image) {
  if (image) d.setValue("ringsImage", Value(std::move(image)));
}

}  // namespace velmora

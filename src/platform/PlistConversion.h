#pragma once

#include <plist/plist.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/PropertyList.h"
#include "platform/Value.h"

namespace velmora {

// Owns a tree of the property-list library.
struct PlistTreeDeleter {
  void operator()(void* node) const { plist_free(node); }
};
using PlistTree = std::unique_ptr<void, PlistTreeDeleter>;

// The store's value for a tree the library parsed from `source`. Integers
// beyond the signed 64-bit range saturate; dates keep every bit of the file's
// double. Nothing when the top node has no value kind (a keyed-archive UID).
std::optional<Value> valueFromTree(plist_t root, PlistFormat source);

// A tree for `value`, to be written as `target`. Entries with no property-list
// form (see storedForm) are left out; nothing when the value itself has none.
// `negativeZeros`, for XML, receives the document-order positions among all
// <real> elements of the reals that are -0.0, which the library's XML writer
// prints without their sign.
PlistTree treeFromValue(const Value& value, PlistFormat target, std::vector<std::size_t>* negativeZeros = nullptr);

// What reading `value` back gives after it is written as `format`: floats
// become doubles; texts and keys become valid UTF-8 ending at any NUL; XML
// dates lose their fractions (the format keeps whole seconds) and are held
// within years 1 to 9999; colours, images and XML dates that are not a
// number are left out. Nothing when the value itself has no form, or it
// nests deeper than kMaxPlistDepth.
std::optional<Value> storedForm(const Value& value, PlistFormat format);

// Container levels of `value` (a scalar has none), counted no further than
// limit + 1, so a pathologically deep value is not walked to its bottom.
int nestingDepth(const Value& value, int limit);

// `text` as valid UTF-8: ill-formed sequences become U+FFFD.
std::string validUtf8(std::string_view text);

}  // namespace velmora

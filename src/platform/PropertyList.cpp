#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <cstring>
#include <limits>
#include <string_view>

#include "platform/PlistConversion.h"
#include "platform/PlistGuard.h"

namespace velmora {

namespace {

constexpr std::string_view kBinaryMagic = "bplist";

bool looksBinary(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= kBinaryMagic.size() &&
         std::memcmp(bytes.data(), kBinaryMagic.data(), kBinaryMagic.size()) == 0;
}

// The library's XML writer prints -0.0 as "0.0". Every "<real>" in its output
// opens a real element (a '<' inside a text is always escaped), in the order
// the tree was built, so the listed ones get their sign back.
std::vector<std::uint8_t> restoreNegativeZeros(std::string_view xml, const std::vector<std::size_t>& positions) {
  constexpr std::string_view kOpen = "<real>";
  std::vector<std::uint8_t> out;
  out.reserve(xml.size() + positions.size());
  std::size_t copied = 0, ordinal = 0, search = 0;
  auto next = positions.begin();
  while (next != positions.end()) {
    const std::size_t at = xml.find(kOpen, search);
    if (at == std::string_view::npos) break;
    search = at + kOpen.size();
    if (ordinal++ != *next) continue;
    out.insert(out.end(), xml.begin() + static_cast<std::ptrdiff_t>(copied),
               xml.begin() + static_cast<std::ptrdiff_t>(search));
    out.push_back('-');
    copied = search;
    ++next;
  }
  out.insert(out.end(), xml.begin() + static_cast<std::ptrdiff_t>(copied), xml.end());
  return out;
}

}  // namespace

PlistReadResult parsePropertyList(std::span<const std::uint8_t> bytes) {
  PlistReadResult result;
  result.format = looksBinary(bytes) ? PlistFormat::Binary : PlistFormat::Xml;
  if (bytes.empty()) {
    result.error = "the file is empty";
    return result;
  }
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    result.error = "the file is larger than a property list can be";
    return result;
  }

  PlistScreening screening = screenPropertyList(bytes, result.format);
  if (!screening.problem.empty()) {
    result.error = std::move(screening.problem);
    return result;
  }
  const std::span<const std::uint8_t> input = screening.rewritten.empty() ? bytes : screening.rewritten;
  const auto* text = reinterpret_cast<const char*>(input.data());
  const auto length = static_cast<std::uint32_t>(input.size());

  plist_t root = nullptr;
  if (result.format == PlistFormat::Binary)
    plist_from_bin(text, length, &root);
  else
    plist_from_xml(text, length, &root);
  const PlistTree tree(root);
  if (!root) {
    result.error = result.format == PlistFormat::Binary ? "not a valid binary property list"
                                                        : "not a well-formed XML property list";
    return result;
  }
  result.value = valueFromTree(root, result.format);
  if (!result.value) result.error = "the top-level value is of no kind the store holds";
  return result;
}

std::vector<std::uint8_t> serializePropertyList(const Value& value, PlistFormat format) {
  if (nestingDepth(value, kMaxPlistDepth) > kMaxPlistDepth) return {};
  std::vector<std::size_t> negativeZeros;
  const PlistTree tree = treeFromValue(value, format, &negativeZeros);
  if (!tree) return {};

  char* raw = nullptr;
  std::uint32_t length = 0;
  if (format == PlistFormat::Binary)
    plist_to_bin(tree.get(), &raw, &length);
  else
    plist_to_xml(tree.get(), &raw, &length);
  const std::unique_ptr<char, void (*)(char*)> owned(
      raw, format == PlistFormat::Binary ? plist_to_bin_free : plist_to_xml_free);
  if (!raw) return {};

  if (!negativeZeros.empty()) return restoreNegativeZeros(std::string_view(raw, length), negativeZeros);
  return std::vector<std::uint8_t>(raw, raw + length);
}

}  // namespace velmora

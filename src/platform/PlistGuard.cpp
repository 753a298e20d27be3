#include "platform/PlistGuard.h"

#include <algorithm>
#include <string_view>

#include "platform/BinaryPlistLayout.h"

namespace velmora {

namespace {

const std::string kTooDeep = "nested deeper than " + std::to_string(kMaxPlistDepth) + " levels";

// ---- XML -------------------------------------------------------------------

// Above the containers sit <plist> and, at the bottom, one leaf element.
constexpr std::size_t kMaxElementDepth = kMaxPlistDepth + 2;

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool endsName(char c) { return isXmlSpace(c) || c == '>' || c == '/'; }
bool isContainerTag(std::string_view name) { return name == "dict" || name == "array"; }

struct Replacement {
  std::size_t begin, end;
  std::string_view text;
};

// An <integer> whose decimal text lies beyond the signed 64-bit range is
// replaced by the bound it passed; anything else is left to the parser.
void saturateInteger(std::string_view xml, std::size_t from, std::vector<Replacement>& out) {
  const std::size_t end = xml.find('<', from);
  if (end == std::string_view::npos) return;
  std::size_t i = from;
  while (i < end && isXmlSpace(xml[i])) ++i;
  const std::size_t numberStart = i;
  const bool negative = i < end && xml[i] == '-';
  if (i < end && (xml[i] == '-' || xml[i] == '+')) ++i;
  const std::size_t digitsStart = i;
  while (i < end && xml[i] >= '0' && xml[i] <= '9') ++i;
  const std::size_t digitsEnd = i;
  while (i < end && isXmlSpace(xml[i])) ++i;
  if (digitsEnd == digitsStart || i != end) return;

  std::size_t first = digitsStart;
  while (first + 1 < digitsEnd && xml[first] == '0') ++first;
  const std::string_view digits = xml.substr(first, digitsEnd - first);
  const std::string_view limit = negative ? "9223372036854775808" : "9223372036854775807";
  if (digits.size() > limit.size() || (digits.size() == limit.size() && digits > limit))
    out.push_back({numberStart, digitsEnd, negative ? "-9223372036854775808" : "9223372036854775807"});
}

PlistScreening screenXml(std::string_view xml) {
  PlistScreening result;
  auto reject = [&](std::string problem) {
    result.problem = std::move(problem);
    return result;
  };
  std::vector<std::string_view> open;  // names of the elements open at pos
  std::size_t containers = 0;
  std::vector<Replacement> replacements;

  // Moves pos past the next `terminator`; false when there is none.
  std::size_t pos = 0;
  auto skipPast = [&](std::string_view terminator) {
    const std::size_t at = xml.find(terminator, pos);
    if (at == std::string_view::npos) return false;
    pos = at + terminator.size();
    return true;
  };

  while ((pos = xml.find('<', pos)) != std::string_view::npos) {
    const std::string_view rest = xml.substr(pos);
    if (rest.starts_with("<!--")) {
      if (!skipPast("-->")) return reject("unterminated XML comment");
      continue;
    }
    if (rest.starts_with("<![CDATA[")) {
      if (!skipPast("]]>")) return reject("unterminated XML CDATA section");
      continue;
    }
    if (rest.starts_with("<?")) {
      if (!skipPast("?>")) return reject("unterminated XML processing instruction");
      continue;
    }

    const bool declaration = rest.starts_with("<!");
    const bool closing = rest.starts_with("</");
    const std::size_t nameStart = pos + (closing || declaration ? 2 : 1);
    std::size_t nameEnd = nameStart;
    while (nameEnd < xml.size() && !endsName(xml[nameEnd])) ++nameEnd;
    const std::string_view name = xml.substr(nameStart, nameEnd - nameStart);
    if (name.empty()) return reject("malformed XML tag");

    // The tag ends at the first '>' outside a quoted attribute value.
    std::size_t end = nameEnd;
    char quote = 0;
    for (; end < xml.size(); ++end) {
      const char c = xml[end];
      if (quote != 0) {
        if (c == quote) quote = 0;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (c == '>') {
        break;
      } else if (c == '<' || (declaration && c == '[')) {
        return reject(declaration ? "XML document type with an internal subset" : "malformed XML tag");
      }
    }
    if (end == xml.size()) return reject("unterminated XML tag");

    if (declaration) {
      // <!DOCTYPE ...>: no element
    } else if (closing) {
      if (open.empty() || open.back() != name)
        return reject("XML closing tag </" + std::string(name) + "> does not match");
      if (isContainerTag(name)) --containers;
      open.pop_back();
    } else if (xml[end - 1] != '/') {  // <dict/> and <true/> open nothing
      if (open.size() == kMaxElementDepth) return reject(kTooDeep);
      open.push_back(name);
      if (isContainerTag(name) && ++containers > static_cast<std::size_t>(kMaxPlistDepth)) return reject(kTooDeep);
      if (name == "integer") saturateInteger(xml, end + 1, replacements);
    }
    pos = end + 1;
  }

  if (!replacements.empty()) {
    std::size_t copied = 0;
    for (const Replacement& r : replacements) {
      result.rewritten.insert(result.rewritten.end(), xml.begin() + static_cast<std::ptrdiff_t>(copied),
                              xml.begin() + static_cast<std::ptrdiff_t>(r.begin));
      result.rewritten.insert(result.rewritten.end(), r.text.begin(), r.text.end());
      copied = r.end;
    }
    result.rewritten.insert(result.rewritten.end(), xml.begin() + static_cast<std::ptrdiff_t>(copied), xml.end());
  }
  return result;
}

// ---- binary ----------------------------------------------------------------

// The library reads keys as C strings and aborts (an assertion) when a key's
// length disagrees with its first NUL.
bool containsNul(std::span<const std::uint8_t> text, BinaryPlistLayout::Type type) {
  if (type == BinaryPlistLayout::Type::kAsciiString) return std::find(text.begin(), text.end(), 0) != text.end();
  for (std::size_t i = 0; i + 1 < text.size(); i += 2)
    if (text[i] == 0 && text[i + 1] == 0) return true;
  return false;
}

// Walks every object reachable from the top object, depth first with an
// explicit stack (the stack is bounded by the nesting cap). Each object is
// examined once; what it contributes to the nesting and to the expanded size
// is remembered, so shared objects cost nothing more, and a reference back
// to an object still on the stack is a cycle.
std::string screenBinary(std::span<const std::uint8_t> bytes) {
  std::string problem;
  const auto layout = BinaryPlistLayout::open(bytes, problem);
  if (!layout) return problem;

  enum : std::uint8_t { kUnseen, kOnStack, kDone };
  const auto objectCount = static_cast<std::size_t>(layout->objectCount());
  std::vector<std::uint8_t> state(objectCount, kUnseen);
  std::vector<std::uint16_t> depthOf(objectCount, 0);  // container levels of the object's subtree
  std::vector<std::uint64_t> sizeOf(objectCount, 0);   // nodes of the subtree, shared parts counted each time
  const std::uint64_t maxNodes = kMaxExpansionPerByte * bytes.size() + 1024;

  struct Frame {
    std::uint64_t index;
    BinaryPlistLayout::Object object;
    std::uint64_t next = 0;  // the next reference to follow
    std::uint16_t childDepth = 0;
    std::uint64_t nodes = 1;
  };
  std::vector<Frame> stack;

  // Adds a finished child's nesting and size to the container on the stack.
  auto fold = [&](std::uint16_t depth, std::uint64_t nodes) -> bool {
    if (stack.empty()) return true;
    Frame& parent = stack.back();
    parent.childDepth = std::max(parent.childDepth, depth);
    parent.nodes += nodes;
    if (parent.nodes > maxNodes) {
      problem = "binary property list shares objects so often that it would expand beyond its size";
      return false;
    }
    return true;
  };
  auto finish = [&](std::uint64_t index, std::uint16_t depth, std::uint64_t nodes) {
    state[index] = kDone;
    depthOf[index] = depth;
    sizeOf[index] = nodes;
    return fold(depth, nodes);
  };

  auto top = layout->object(layout->topObject(), problem);
  if (!top) return problem;
  if (!top->isContainer()) return {};
  state[layout->topObject()] = kOnStack;
  stack.push_back({layout->topObject(), *top});

  while (!stack.empty()) {
    Frame& frame = stack.back();
    if (frame.next == frame.object.references) {
      const Frame done = frame;
      stack.pop_back();
      if (!finish(done.index, static_cast<std::uint16_t>(done.childDepth + 1), done.nodes)) return problem;
      continue;
    }
    const bool isKey = frame.object.type == BinaryPlistLayout::Type::kDictionary && frame.next < frame.object.count;
    const std::uint64_t ref = layout->reference(frame.object, frame.next++);
    if (ref >= objectCount) return "binary property list refers to an object that does not exist";
    if (state[ref] == kOnStack) return "binary property list contains a reference cycle";

    std::optional<BinaryPlistLayout::Object> child;
    if (isKey || state[ref] == kUnseen) {
      child = layout->object(ref, problem);
      if (!child) return problem;
      if (isKey && !child->isString()) return "binary property list has a dictionary key that is not a string";
      if (isKey && containsNul(layout->payload(*child), child->type))
        return "binary property list has a key with a NUL";
    }
    if (state[ref] == kDone) {
      if (!fold(depthOf[ref], sizeOf[ref])) return problem;
    } else if (!child->isContainer()) {
      if (!finish(ref, 0, 1)) return problem;
    } else {
      if (stack.size() == static_cast<std::size_t>(kMaxPlistDepth)) return kTooDeep;
      state[ref] = kOnStack;
      stack.push_back({ref, *child});
    }
  }
  return {};
}

}  // namespace

PlistScreening screenPropertyList(std::span<const std::uint8_t> bytes, PlistFormat format) {
  if (format == PlistFormat::Binary) return {screenBinary(bytes), {}};
  return screenXml(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

}  // namespace velmora

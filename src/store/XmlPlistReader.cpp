// Reading an XML property list: the XML read as an XML 1.0 reader does, and
// the values of its elements built with an explicit stack of open
// containers.
#include <algorithm>
#include <charconv>
#include <string_view>

#include "store/XmlPlist.h"
#include "store/XmlPlistScalars.h"

namespace velmora::xml_plist {

namespace {

// Decodes a character reference's or named entity's text (between & and ;).
bool appendEntity(std::string_view name, std::string& out, bool& exact) {
  if (name == "lt") return out += '<', true;
  if (name == "gt") return out += '>', true;
  if (name == "amp") return out += '&', true;
  if (name == "quot") return out += '"', true;
  if (name == "apos") return out += '\'', true;
  if (name.size() < 2 || name[0] != '#') return false;
  const bool hex = name[1] == 'x';
  const std::string_view digits = name.substr(hex ? 2 : 1);
  std::uint32_t c = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), c, hex ? 16 : 10);
  if (digits.empty() || ec != std::errc() || end != digits.data() + digits.size() || c > 0x10FFFF) return false;
  if (c >= 0xD800 && c < 0xE000) {
    exact = false;
    c = 0xFFFD;
  }
  appendUtf8(out, c);
  return true;
}

// The document's text must outlive the reader.
class Reader {
 public:
  explicit Reader(std::string_view xml) : xml_(xml) {}

  Result<ParsedPlist> read() {
    ParsedPlist result;
    if (xml_.starts_with("\xEF\xBB\xBF")) pos_ = 3;
    if (!skipMisc(true)) return failed();
    std::string_view name;
    bool empty = false;
    if (!openTag(name, empty)) return failed("no root element");
    if (name == "plist") {
      result.wrapped = true;
      if (empty) return failed("the <plist> element holds no value");
      if (!skipMisc(false)) return failed();
      if (!openTag(name, empty)) return failed("the <plist> element holds no value");
    }
    if (name == "dict") {
      result.isDictionary = true;
      result.entriesBegin = empty ? 0 : pos_;
    }
    if (!value(name, empty, result)) return failed();
    if (result.wrapped) {
      if (!skipMisc(false) || !closeTag("plist"))
        return failed(problem_.empty() ? "<plist> holds more than one value" : "");
    }
    if (!skipMisc(false)) return failed();
    if (pos_ != xml_.size()) return failed("text after the end of the document");
    return result;
  }

 private:
  struct Frame {
    bool dictionary;
    bool top;  // the top-level dictionary, whose entries are kept with their places
    Array items;
    std::vector<MetricDictionary::Entry> entries;
    std::optional<std::string> key;
    bool exactKey = true;
    std::size_t keyBegin = 0;
  };

  Status failed(std::string problem = {}) const {
    return Status::failure("not a well-formed XML property list (" + (problem.empty() ? problem_ : problem) + ")");
  }

  bool fail(std::string problem) {
    if (problem_.empty()) problem_ = std::move(problem);
    return false;
  }

  bool at(std::string_view s) const { return xml_.compare(pos_, s.size(), s) == 0; }

  bool skipPast(std::string_view terminator, const char* what) {
    const std::size_t end = xml_.find(terminator, pos_);
    if (end == std::string_view::npos) return fail(std::string("unterminated ") + what);
    pos_ = end + terminator.size();
    return true;
  }

  // Moves to the '>' that ends a tag or a declaration, passing over quoted
  // text: the character it stops at, '>' or `refused`, or 0 at the end.
  char toTagEnd(char refused) {
    for (char quote = 0; pos_ < xml_.size(); ++pos_) {
      const char c = xml_[pos_];
      if (quote) {
        if (c == quote) quote = 0;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (c == refused || c == '>') {
        return c;
      }
    }
    return 0;
  }

  // Whitespace, comments and processing instructions (and, before the root,
  // the document type) between elements.
  bool skipMisc(bool prolog) {
    for (;;) {
      while (pos_ < xml_.size() && isSpace(xml_[pos_])) ++pos_;
      if (at("<!--")) {
        if (!skipPast("-->", "comment")) return false;
      } else if (at("<?")) {
        if (!skipPast("?>", "processing instruction")) return false;
      } else if (prolog && at("<!DOCTYPE")) {
        const char stop = toTagEnd('[');
        if (stop == '[') return fail("a document type with an internal subset");
        if (!stop) return fail("unterminated document type");
        ++pos_;
      } else {
        return true;
      }
    }
  }

  // An element's start tag at pos_: its name, and whether it is empty (<x/>).
  bool openTag(std::string_view& name, bool& empty) {
    if (!at("<") || at("</") || at("<!")) return false;
    const std::size_t start = ++pos_;
    while (pos_ < xml_.size() && !isSpace(xml_[pos_]) && xml_[pos_] != '>' && xml_[pos_] != '/') ++pos_;
    name = xml_.substr(start, pos_ - start);
    if (toTagEnd('<') == '<') return fail("malformed tag <" + std::string(name) + ">");  // past the attributes
    if (name.empty() || pos_ == xml_.size()) return fail("malformed or unterminated tag");
    empty = xml_[pos_ - 1] == '/';
    ++pos_;
    return true;
  }

  bool closeTag(std::string_view name) {
    if (!at("</") || xml_.compare(pos_ + 2, name.size(), name) != 0) {
      return fail("<" + std::string(name) + "> is not closed where it ends");
    }
    pos_ += 2 + name.size();
    while (pos_ < xml_.size() && isSpace(xml_[pos_])) ++pos_;
    if (!at(">")) return fail("malformed closing tag </" + std::string(name) + ">");
    ++pos_;
    return true;
  }

  // The character data of a leaf element up to its closing tag.
  std::optional<std::string> text(std::string_view name, bool& exact) {
    std::string out;
    bool raw = true;  // no byte above ASCII yet: nothing to check
    for (;;) {
      const std::size_t stop = xml_.find_first_of("<&\r", pos_);
      if (stop == std::string_view::npos) {
        fail("<" + std::string(name) + "> is not closed");
        return std::nullopt;
      }
      const std::string_view run = xml_.substr(pos_, stop - pos_);
      raw = raw && std::all_of(run.begin(), run.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
      out += run;
      pos_ = stop;
      const char c = xml_[pos_];
      if (c == '\r') {  // line ends read as a line feed
        out += '\n';
        pos_ += at("\r\n") ? 2 : 1;
      } else if (c == '&') {
        const std::size_t semicolon = xml_.find(';', pos_);
        if (semicolon == std::string_view::npos || semicolon - pos_ > 12 ||
            !appendEntity(xml_.substr(pos_ + 1, semicolon - pos_ - 1), out, exact)) {
          fail("unknown or malformed reference in <" + std::string(name) + ">");
          return std::nullopt;
        }
        pos_ = semicolon + 1;
      } else if (at("<![CDATA[")) {
        const std::size_t end = xml_.find("]]>", pos_);
        if (end == std::string_view::npos) {
          fail("unterminated CDATA section");
          return std::nullopt;
        }
        const std::string_view cdata = xml_.substr(pos_ + 9, end - pos_ - 9);
        raw =
            raw && std::all_of(cdata.begin(), cdata.end(), [](char b) { return static_cast<unsigned char>(b) < 0x80; });
        for (std::size_t i = 0; i < cdata.size(); ++i) {
          if (cdata[i] != '\r') {
            out += cdata[i];
          } else {
            out += '\n';
            if (i + 1 < cdata.size() && cdata[i + 1] == '\n') ++i;
          }
        }
        pos_ = end + 3;
      } else if (at("<!--")) {
        if (!skipPast("-->", "comment")) return std::nullopt;
      } else if (at("<?")) {
        if (!skipPast("?>", "processing instruction")) return std::nullopt;
      } else {
        if (!closeTag(name)) return std::nullopt;
        if (!raw && !isValidUtf8(out)) {
          exact = false;
          out = validUtf8(out);
        }
        return out;
      }
    }
  }

  // A leaf element's value.
  std::optional<Value> leaf(std::string_view name, bool empty) {
    if (name == "true" || name == "false") {
      if (!empty && !closeTag(name)) return std::nullopt;
      return Value::boolean(name == "true");
    }
    bool exact = true;
    std::optional<std::string> content = empty ? std::optional<std::string>("") : text(name, exact);
    if (!content) return std::nullopt;
    if (name == "string") return Value(std::move(*content));
    const std::string_view t = trimmed(*content);
    std::optional<Value> result;
    if (name == "integer") {
      result = integerFromText(t);
    } else if (name == "real") {
      if (const auto d = realFromText(t)) result = Value::real(*d);
    } else if (name == "date") {
      if (const auto seconds = dateFromText(t)) result = Value(Date::fromReferenceSeconds(*seconds));
    } else if (name == "data") {
      if (auto bytes = dataFromText(t)) result = Value(Data{std::move(*bytes)});
    } else {
      fail("unknown element <" + std::string(name) + ">");
      return std::nullopt;
    }
    if (!result)
      fail("<" + std::string(name) + ">" + std::string(t.substr(0, 40)) + "</" + std::string(name) +
           "> is not a valid " + std::string(name));
    return result;
  }

  // The value whose start tag was just read, with the containers inside it.
  bool value(std::string_view name, bool empty, ParsedPlist& result) {
    std::vector<Frame> stack;
    std::optional<Value> done;  // a value just completed, to be placed in the frame on top
    std::size_t valueEnd = 0;
    auto open = [&](std::string_view n, bool e) -> bool {
      if (n == "dict" || n == "array") {
        if (e) {
          done = n == "dict" ? Value(MetricDictionary{}) : Value(Array{});
          return true;
        }
        if (stack.size() == static_cast<std::size_t>(kMaxPlistDepth))
          return fail("nested deeper than " + std::to_string(kMaxPlistDepth) + " levels");
        stack.push_back({n == "dict", stack.empty() && result.isDictionary, {}, {}, {}, true, 0});
        return true;
      }
      if (n == "key") return fail("<key> outside a <dict>");
      done = leaf(n, e);
      return done.has_value();
    };
    if (!open(name, empty)) return false;

    for (;;) {
      if (done) {
        valueEnd = pos_;
        if (stack.empty()) {
          result.value = std::move(*done);
          return true;
        }
        Frame& frame = stack.back();
        if (!frame.dictionary) {
          frame.items.push_back(std::move(*done));
        } else if (!frame.key) {
          return fail("a value in a <dict> without its <key>");
        } else if (frame.top) {
          result.entries.push_back(
              {std::move(*frame.key), frame.exactKey, std::move(*done), EntrySource{frame.keyBegin, valueEnd}});
        } else {
          frame.entries.emplace_back(std::move(*frame.key), std::move(*done));
        }
        if (frame.dictionary) frame.key.reset();
        done.reset();
      }

      if (!skipMisc(false)) return false;
      if (pos_ == xml_.size()) return fail("the document ends inside a container");
      Frame& frame = stack.back();
      if (at("</")) {
        if (frame.dictionary && frame.key) return fail("a <key> in a <dict> without its value");
        if (!closeTag(frame.dictionary ? "dict" : "array")) return false;
        Frame closed = std::move(stack.back());
        stack.pop_back();
        if (closed.top) return true;  // the entries are in result
        done = closed.dictionary ? Value(MetricDictionary(std::move(closed.entries))) : Value(std::move(closed.items));
        continue;
      }
      std::string_view n;
      bool e = false;
      const std::size_t tagStart = pos_;
      if (!openTag(n, e)) return fail("text where an element belongs");
      if (n == "key") {
        if (!frame.dictionary) return fail("<key> in an <array>");
        if (frame.key) return fail("two <key> elements in a row");
        bool exact = true;
        auto key = e ? std::optional<std::string>("") : text("key", exact);
        if (!key) return false;
        frame.key = std::move(*key);
        frame.exactKey = exact;
        frame.keyBegin = tagStart;
        continue;
      }
      if (!open(n, e)) return false;
    }
  }

  std::string_view xml_;
  std::size_t pos_ = 0;
  std::string problem_;
};

}  // namespace

Result<ParsedPlist> read(std::span<const std::uint8_t> bytes) {
  return Reader(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size())).read();
}

}  // namespace velmora::xml_plist

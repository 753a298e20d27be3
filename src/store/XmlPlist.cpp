#include "store/XmlPlist.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

namespace velmora::xml_plist {

namespace {

constexpr std::string_view kDocumentStart =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && isSpace(s.front())) s.remove_prefix(1);
  while (!s.empty() && isSpace(s.back())) s.remove_suffix(1);
  return s;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return (x | 0x20) == (y | 0x20); });
}

// ---- calendar -----------------------------------------------------------------

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kUnixDaysAt2001 = 11323;  // 2001-01-01

// Days since 1970-01-01 of a proleptic Gregorian date.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
  std::int64_t year;
  unsigned month, day;
};

Civil civilFromDays(std::int64_t z) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

unsigned daysInMonth(std::int64_t year, unsigned month) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// "yyyy-MM-ddTHH:mm:ssZ", with a fraction of a second before the Z as some
// writers add; seconds since 2001.
std::optional<double> parseDate(std::string_view text) {
  auto number = [&](std::size_t at, std::size_t digits) -> std::optional<unsigned> {
    if (at + digits > text.size()) return std::nullopt;
    unsigned v = 0;
    for (std::size_t i = at; i < at + digits; ++i) {
      if (text[i] < '0' || text[i] > '9') return std::nullopt;
      v = v * 10 + static_cast<unsigned>(text[i] - '0');
    }
    return v;
  };
  auto is = [&](std::size_t at, char c) { return at < text.size() && text[at] == c; };
  const auto year = number(0, 4), month = number(5, 2), day = number(8, 2);
  const auto hour = number(11, 2), minute = number(14, 2), second = number(17, 2);
  if (!year || !month || !day || !hour || !minute || !second || !is(4, '-') || !is(7, '-') || !is(10, 'T') ||
      !is(13, ':') || !is(16, ':'))
    return std::nullopt;
  if (*month < 1 || *month > 12 || *day < 1 || *day > daysInMonth(*year, *month) || *hour > 23 || *minute > 59 ||
      *second > 59)
    return std::nullopt;
  double fraction = 0.0;
  std::size_t end = 19;
  if (is(end, '.')) {
    std::size_t digits = end + 1;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
    if (digits == end + 1) return std::nullopt;
    std::from_chars(text.data() + end, text.data() + digits, fraction);
    end = digits;
  }
  if (end + 1 != text.size() || text[end] != 'Z') return std::nullopt;
  const std::int64_t whole =
      (daysFromCivil(*year, *month, *day) - kUnixDaysAt2001) * kSecondsPerDay + *hour * 3600 + *minute * 60 + *second;
  return static_cast<double>(whole) + fraction;
}

// ---- texts --------------------------------------------------------------------------

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

std::string escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '\r':  // a raw one would read back as a line feed
        out += "&#13;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> fromBase64(std::string_view text) {
  std::string compact;
  compact.reserve(text.size());
  for (char c : text) {
    if (isSpace(c)) continue;
    const bool ok =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' || c == '=';
    if (!ok) return std::nullopt;
    compact += c;
  }
  const std::size_t firstPad = compact.find('=');
  if (compact.size() % 4 != 0 ||
      (firstPad != std::string::npos &&
       (compact.size() - firstPad > 2 || compact.find_first_not_of('=', firstPad) != std::string::npos)))
    return std::nullopt;
  if (compact.empty()) return std::vector<std::uint8_t>{};
  gsize length = 0;
  std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(compact.c_str(), &length), &g_free);
  return std::vector<std::uint8_t>(bytes.get(), bytes.get() + length);
}

std::optional<Value> integerFromText(std::string_view text) {
  const bool negative = !text.empty() && text[0] == '-';
  std::string_view digits = text.substr(!text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0);
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    UInt128 v = 0;
    digits.remove_prefix(2);
    for (char c : digits) {
      const int d = c >= '0' && c <= '9'                     ? c - '0'
                    : (c | 0x20) >= 'a' && (c | 0x20) <= 'f' ? (c | 0x20) - 'a' + 10
                                                             : -1;
      if (d < 0 || v >> 124) return std::nullopt;
      v = v << 4 | static_cast<unsigned>(d);
    }
    if (v >> 127) return std::nullopt;
    const auto signedValue = static_cast<Int128>(v);
    return integerValue(negative ? -signedValue : signedValue);
  }
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
  std::string normal = (negative && digits != "0" ? "-" : "") + std::string(digits);
  if (const auto v = int128FromDigits(normal)) return integerValue(*v);
  return Value::wideInteger(std::move(normal));  // more digits than 128 bits hold
}

std::optional<double> realFromText(std::string_view text) {
  const bool negative = !text.empty() && text[0] == '-';
  const std::string_view unsignedText = text.substr(!text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0);
  if (equalsIgnoringCase(unsignedText, "nan")) return std::numeric_limits<double>::quiet_NaN();
  if (equalsIgnoringCase(unsignedText, "inf") || equalsIgnoringCase(unsignedText, "infinity"))
    return negative ? -HUGE_VAL : HUGE_VAL;
  const std::string_view number = text.substr(!text.empty() && text[0] == '+' ? 1 : 0);
  double v = 0;
  const auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), v);
  if (number.empty() || end != number.data() + number.size()) return std::nullopt;
  if (ec == std::errc::result_out_of_range) {  // beyond the doubles: infinity or (signed) zero, as strtod reads it
    return std::strtod(std::string(number).c_str(), nullptr);
  }
  if (ec != std::errc()) return std::nullopt;
  return v;
}

// ---- reading ------------------------------------------------------------------------

class Reader {
 public:
  explicit Reader(std::string_view xml) : xml_(xml) {}

  ParsedPlist read() {
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

  ParsedPlist failed(std::string problem = {}) {
    ParsedPlist result;
    result.error = "not a well-formed XML property list (" + (problem.empty() ? problem_ : problem) + ")";
    return result;
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
        for (char quote = 0; pos_ < xml_.size(); ++pos_) {
          const char c = xml_[pos_];
          if (quote) {
            if (c == quote) quote = 0;
          } else if (c == '"' || c == '\'') {
            quote = c;
          } else if (c == '[') {
            return fail("a document type with an internal subset");
          } else if (c == '>') {
            break;
          }
        }
        if (pos_ == xml_.size()) return fail("unterminated document type");
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
    for (char quote = 0; pos_ < xml_.size(); ++pos_) {  // attributes
      const char c = xml_[pos_];
      if (quote) {
        if (c == quote) quote = 0;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (c == '<') {
        return fail("malformed tag <" + std::string(name) + ">");
      } else if (c == '>') {
        break;
      }
    }
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
      if (const auto seconds = parseDate(t)) result = Value(Date::fromReferenceSeconds(*seconds));
    } else if (name == "data") {
      if (auto bytes = fromBase64(t)) result = Value(Data{std::move(*bytes)});
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

// ---- writing ------------------------------------------------------------------------

class Writer {
 public:
  std::string out;

  void value(const Value& v, int depth) {
    switch (v.kind()) {
      case Value::Kind::kText:
        out += "<string>" + escaped(*v.text()) + "</string>";
        return;
      case Value::Kind::kInteger:
        out += "<integer>" + std::to_string(v.integerValue()) + "</integer>";
        return;
      case Value::Kind::kWideInteger:
        out += "<integer>" + v.wideInteger()->digits + "</integer>";
        return;
      case Value::Kind::kFloat:
      case Value::Kind::kDouble:
        out += "<real>" + realText(v.doubleValue()) + "</real>";
        return;
      case Value::Kind::kBoolean:
        out += v.boolValue() ? "<true/>" : "<false/>";
        return;
      case Value::Kind::kDate:
        out += "<date>" + dateText(*v.date()) + "</date>";
        return;
      case Value::Kind::kData: {
        const auto& bytes = v.data()->bytes;
        std::unique_ptr<gchar, decltype(&g_free)> base64(g_base64_encode(bytes.data(), bytes.size()), &g_free);
        out += "<data>" + std::string(base64.get()) + "</data>";
        return;
      }
      case Value::Kind::kArray: {
        const Array& items = *v.array();
        if (items.empty()) {
          out += "<array/>";
          return;
        }
        out += "<array>\n";
        for (const Value& item : items) {
          indent(depth + 1);
          value(item, depth + 1);
          out += '\n';
        }
        indent(depth);
        out += "</array>";
        return;
      }
      case Value::Kind::kDictionary: {
        const MetricDictionary& dict = *v.dictionary();
        if (dict.empty()) {
          out += "<dict/>";
          return;
        }
        out += "<dict>\n";
        for (const auto& [key, item] : dict) {
          entry(key, item, depth + 1);
          out += '\n';
        }
        indent(depth);
        out += "</dict>";
        return;
      }
      case Value::Kind::kNull:  // XML has no form for these: the store refuses them
      case Value::Kind::kUid:
      case Value::Kind::kColour:
      case Value::Kind::kImage:
        break;
    }
  }

  void entry(const std::string& key, const Value& v, int depth) {
    indent(depth);
    out += "<key>" + escaped(key) + "</key>\n";
    indent(depth);
    value(v, depth);
  }

  void indent(int depth) { out.append(static_cast<std::size_t>(depth), '\t'); }

 private:
  static std::string realText(double d) {
    if (std::isnan(d)) return "nan";
    if (std::isinf(d)) return d > 0 ? "+infinity" : "-infinity";
    std::array<char, 32> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), d).ptr;
    return std::string(buffer.data(), end);
  }
};

std::vector<std::uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

}  // namespace

ParsedPlist read(std::span<const std::uint8_t> bytes) {
  return Reader(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size())).read();
}

std::string dateText(Date date) {
  const auto seconds = static_cast<std::int64_t>(std::floor(date.referenceSeconds()));
  const std::int64_t days = (seconds >= 0 ? seconds : seconds - (kSecondsPerDay - 1)) / kSecondsPerDay;
  const std::int64_t inDay = seconds - days * kSecondsPerDay;
  const Civil c = civilFromDays(days + kUnixDaysAt2001);
  std::array<char, 96> text;
  std::snprintf(text.data(), text.size(), "%04lld-%02u-%02uT%02lld:%02lld:%02lldZ", static_cast<long long>(c.year),
                c.month, c.day, static_cast<long long>(inDay / 3600), static_cast<long long>(inDay / 60 % 60),
                static_cast<long long>(inDay % 60));
  return text.data();
}

std::vector<std::uint8_t> write(const Value& value) {
  Writer writer;
  writer.out = kDocumentStart;
  writer.value(value, 0);
  writer.out += "\n</plist>\n";
  return bytesOf(writer.out);
}

WrittenPlist write(const SourceFile& source, const std::vector<PlistEntry>& entries) {
  Writer writer;
  writer.out.reserve(source.bytes.size() + 256);
  const bool continues = source.entriesBegin > 0;
  if (continues)
    writer.out.assign(reinterpret_cast<const char*>(source.bytes.data()), source.entriesBegin);
  else
    writer.out = std::string(kDocumentStart) + "<dict>";
  WrittenPlist written;
  written.entriesBegin = writer.out.size();
  written.wrapped = !continues || source.wrapped;
  std::vector<EntrySource>& placed = written.placed;
  placed.resize(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const PlistEntry& e = entries[i];
    writer.out += "\n\t";
    const std::size_t begin = writer.out.size();
    if (e.source) {
      writer.out.append(reinterpret_cast<const char*>(source.bytes.data()) + e.source->first,
                        e.source->second - e.source->first);
    } else {
      writer.entry(e.key, e.value, 1);
      writer.out.erase(begin, 1);  // entry() indents its key; the tab is already there
    }
    placed[i] = {begin, writer.out.size()};
  }
  writer.out += "\n</dict>\n";
  if (written.wrapped) writer.out += "</plist>\n";
  written.bytes = bytesOf(writer.out);
  return written;
}

}  // namespace velmora::xml_plist

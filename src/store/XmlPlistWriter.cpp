// Writing an XML property list, one element per value, indented with tabs.
#include <string_view>

#include "store/XmlPlist.h"
#include "store/XmlPlistScalars.h"

namespace velmora::xml_plist {

namespace {

constexpr std::string_view kDocumentStart =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

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
      case Value::Kind::kData:
        out += "<data>" + dataText(v.data()->bytes) + "</data>";
        return;
      case Value::Kind::kArray:
        return container("array", *v.array(), depth, [&](const Value& item) {
          indent(depth + 1);
          value(item, depth + 1);
        });
      case Value::Kind::kDictionary:
        return container("dict", *v.dictionary(), depth,
                         [&](const MetricDictionary::Entry& e) { entry(e.first, e.second, depth + 1); });
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
  // <name/> when there are no items, else each item on a line of its own.
  template <typename Items, typename WriteItem>
  void container(const std::string& name, const Items& items, int depth, WriteItem&& writeItem) {
    if (items.empty()) {
      out += "<" + name + "/>";
      return;
    }
    out += "<" + name + ">\n";
    for (const auto& item : items) {
      writeItem(item);
      out += '\n';
    }
    indent(depth);
    out += "</" + name + ">";
  }
};

std::vector<std::uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

}  // namespace

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

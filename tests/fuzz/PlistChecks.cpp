#include "PlistChecks.h"

#include <string>
#include <unordered_map>
#include <vector>

#include "FuzzSupport.h"

namespace velmora::fuzz {

namespace {

const char* nameOf(PlistFormat format) { return format == PlistFormat::Binary ? "binary" : "XML"; }

PlistDocument reread(const std::vector<std::uint8_t>& bytes, const char* what) {
  Result<PlistDocument> document = PlistDocument::read(bytes);
  if (!document) fail(std::string(what) + " does not read back: " + document.message());
  return std::move(*document);
}

// The written form of a value read from any file reads back as that form, in both formats.
void checkWrittenForms(const Value& value) {
  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
    const Result<Value> stored = storedForm(value, format);
    if (!stored) {
      check(!stored.message().empty(), std::string("a value with no ") + nameOf(format) + " form and no reason why");
      continue;
    }
    const Result<PlistValue> back = parsePropertyList(serializePropertyList(*stored, format));
    check(back.ok(), std::string("a written ") + nameOf(format) + " list does not read: " + back.message());
    check(back->format == format, std::string("a written ") + nameOf(format) + " list reads as the other format");
    if (!sameValue(back->value, *stored)) {
      const MetricDictionary* written = stored->dictionary();
      const MetricDictionary* read = back->value.dictionary();
      fail(std::string("a value written as ") + nameOf(format) + " reads back as another" +
           (written && read ? ": " + firstDifference(*written, *read) : std::string()));
    }
  }
}

}  // namespace

void checkPropertyList(std::span<const std::uint8_t> bytes, PlistFormat format) {
  const Result<PlistValue> plain = parsePropertyList(bytes);
  check(plain || !plain.message().empty(), "bytes refused without a reason");
  if (plain) {
    check(plain->format == format, "a list read as the other format");
    checkWrittenForms(plain->value);
  }

  Result<PlistDocument> document = PlistDocument::read({bytes.begin(), bytes.end()});
  const MetricDictionary* dictionary = plain ? plain->value.dictionary() : nullptr;
  check(document.ok() == (dictionary != nullptr), "the store and the plain reader disagree on a file");
  if (!document) {
    check(!document.message().empty(), "a store refused without a reason");
    return;
  }
  const MetricDictionary contents = document->contents();
  check(sameDictionary(contents, *dictionary),
        "the store reads other contents than the plain reader: " + firstDifference(contents, *dictionary));

  PlistDocument unchanged = *document;
  const MetricDictionary rewritten = reread(unchanged.write(), "a store written back unchanged").contents();
  check(sameDictionary(rewritten, contents),
        "a store written back unchanged reads as other contents: " + firstDifference(rewritten, contents));

  // One entry this process sets and one it removes: the first and last whose
  // keys name only them (a key that is not valid Unicode is never matched,
  // even where its text with U+FFFD is another entry's key).
  const std::vector<PlistEntry>& entries = document->entries();
  std::unordered_map<std::string, int> uses;
  for (const PlistEntry& entry : entries) ++uses[entry.key];
  const PlistEntry* first = nullptr;
  const PlistEntry* last = nullptr;
  for (const PlistEntry& entry : entries)
    if (entry.exactKey && uses[entry.key] == 1) {
      if (!first) first = &entry;
      last = &entry;
    }
  PlistDocument changed = *document;
  MetricDictionary expected = contents;
  const std::string setKey = first ? first->key : "added";
  changed.set(setKey, Value::integer(7));
  expected.setObject(setKey, Value::integer(7));
  if (last && last != first) {
    changed.remove(last->key);
    expected.removeObjectForKey(last->key);
  }
  const MetricDictionary changedContents = reread(changed.write(), "a changed store").contents();
  check(sameDictionary(changedContents, expected),
        "setting \"" + setKey + "\" and removing \"" + (last && last != first ? last->key : "") +
            "\" changed the store otherwise: " + firstDifference(changedContents, expected));
}

}  // namespace velmora::fuzz

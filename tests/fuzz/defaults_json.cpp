// The JSON value reader of `velmora defaults` (write, import) on any text:
// the linear reader builds the same document as the library's own; a value
// it takes prints in the JSON forms as text that reads back to the same
// text; and what `defaults write` would store reads back from the file as
// its stored form.
#include <cmath>
#include <nlohmann/json.hpp>

#include "FuzzSupport.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/JsonToValue.h"
#include "store/PropertyList.h"

using namespace velmora;
using velmora::host::Json;

namespace {

// The library's reader searches an object's members for every key; on
// inputs this small it is quick enough to compare with.
constexpr std::size_t kComparedSize = 4096;

std::optional<Json> parsed(std::string_view text) {
  Result<Json> json = host::parseJson(text);
  if (!json) return std::nullopt;
  return *std::move(json);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzz::asText({data, size});
  const std::optional<Json> json = parsed(text);
  if (size <= kComparedSize) {
    const bool libraryTakes = Json::accept(text);
    fuzz::check(json.has_value() == libraryTakes, "the reader and the library disagree on whether text is JSON");
    if (json) fuzz::check(*json == Json::parse(text), "the reader builds another document than the library");
  }
  if (!json) return 0;

  const Result<Value> value = host::valueFromJson(*json);
  if (!value) {
    fuzz::check(!value.message().empty(), "a value refused without a reason");
    return 0;
  }
  const host::JsonForms forms("Europe/Berlin");
  const std::string written = host::writeJson(forms.toJson(*value));
  const std::optional<Json> again = parsed(written);
  fuzz::check(again.has_value(), "the JSON forms print text that is not JSON: " + written);
  const Result<Value> reread = host::valueFromJson(*again);
  if (!reread) fuzz::fail("what the JSON forms print does not read back: " + reread.message());
  const std::string rewritten = host::writeJson(forms.toJson(*reread));
  fuzz::check(rewritten == written, "printed, read and printed again, a value changes:\n" + written + rewritten);

  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
    const Result<Value> stored = storedEntry("key", *value, format);
    if (!stored) continue;
    const Result<PlistValue> back =
        parsePropertyList(serializePropertyList(Value(MetricDictionary{{"key", *stored}}), format));
    fuzz::check(back && back->value.dictionary(), "a stored value does not read back: " + back.message());
    const Value* read = back->value.dictionary()->objectForKey("key");
    fuzz::check(read && fuzz::sameValue(*read, *stored),
                "a stored value reads back as another: " + host::writeJson(forms.toJson(*stored)) + " as " +
                    (read ? host::writeJson(forms.toJson(*read)) : "nothing"));
  }
  return 0;
}

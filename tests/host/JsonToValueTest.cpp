#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/JsonToValue.h"

namespace velmora::host {
namespace {

// What a domain holds reads back as it was written, dates of every year included.
TEST(ReadForms, GiveBackWhatWasWritten) {
  for (const char* json : {R"({"date": "0001-01-01T00:53:28+00:53:28"})", R"({"date": "1000-01-01T00:53:28+00:53:28"})",
                           R"({"date": "1582-10-04T23:59:59.999+00:53:28"})", "18446744073709551615"}) {
    std::string text = writeJson(JsonForms("Europe/Berlin").toJson(*valueFromJson(*parseJson(json))));
    text.pop_back();
    EXPECT_EQ(text, json);
  }
  // West of Greenwich the first moment of year 1 is local year 0: it is written in UTC.
  const Value first = *valueFromJson(*parseJson(R"({"date": "0001-01-01T00:00:00Z"})"));
  EXPECT_EQ(writeJson(JsonForms("America/New_York").toJson(first)), "{\"date\": \"0001-01-01T00:00:00+00:00\"}\n");
}

// Every kind a domain holds reads back in the defaults round trip; what it cannot hold is refused with its place.
TEST(ReadForms, SayWhereAndWhatIsWrong) {
  const struct {
    const char* name;
    std::string json;
    const char* message;  // a part of the error's text
  } cases[] = {
      {"null", R"({"a": [1, null]})", "/a/1: null"},
      {"date not an instant", R"({"date": "yesterday"})", "not an ISO 8601 instant"},
      {"bad base64", R"({"data": "AA=A"})", "not valid base64"},
      {"colour", R"({"k": {"colour": {}}})", "/k/colour: a colour cannot be stored"},
      {"year 10000", R"({"date": "10000-01-01T00:00:00Z"})", "years 1 to 9999"},
      {"UID", R"({"k": {"uid": 3}})", "/k/uid: a UID"},
      {"too deep", std::string(600, '[') + std::string(600, ']'), "nested deeper than 512"},
  };
  for (const auto& c : cases) {
    const Result<Value> read = valueFromJson(*parseJson(c.json));
    EXPECT_FALSE(read) << c.name << ": accepted";
    EXPECT_NE(read.message().find(c.message), std::string::npos) << c.name << ": " << read.message();
  }
}

}  // namespace
}  // namespace velmora::host

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/JsonText.h"

namespace velmora::host {
namespace {

// The reader takes nesting of any depth (the value forms then refuse what is too deep) and says where text stops
// being JSON. That it builds the library's own document, order and repeated keys included, the replayed
// defaults_json fuzz seeds check.
TEST(JsonText, DocumentsOfAnyDepthAndWhereTextStopsBeingJson) {
  const struct {
    std::string text;
    const char* read;  // the document as the library writes it, or a part of the parse error
  } cases[] = {
      {std::string(100000, '[') + std::string(100000, ']'), "deep"},
      {R"({"a": 1,})", "syntax error while parsing object key"},
      {R"({"a": 1} x)", "expected end of input"},
      {"", "unexpected end of input"},
  };
  for (const auto& c : cases) {
    const Result<Json> json = parseJson(c.text);
    const std::string read = !json                                                            ? json.message()
                             : json->is_array() && json->size() == 1 && (*json)[0].is_array() ? "deep"
                                                                                              : writeJson(*json);
    EXPECT_NE(read.find(c.read), std::string::npos) << c.text.substr(0, 40) << ": " << read;
  }
}

}  // namespace
}  // namespace velmora::host

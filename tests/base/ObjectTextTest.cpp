#include <limits>
#include <string_view>

#include <gtest/gtest.h>

#include "geoloom/base/ObjectText.h"

namespace geoloom::base {
namespace {

using namespace std::string_view_literals;

TEST(ObjectText, EscapesNamesAndTexts) {
  EXPECT_EQ(base::ObjectText().text(), "{}");
  base::ObjectText object;
  object.add("", "")
      .add("plain ~", "#n = :n")
      .add("a\"b", "c\\d")
      .add("line\n", "nul\0\t\x01"sv)
      .add("\xC3\xA9", "\x7F\xE2\x82\xAC")
      .add("cut \xC3", "\xFFz")
      .addJSON("inner", base::ObjectText().addJSON("list", "[1]").text());
  EXPECT_EQ(
      object.text(),
      "{\"\":\"\",\"plain ~\":\"#n = :n\",\"a\\\"b\":\"c\\\\d\",\"line\\n\":\"nul\\u0000\\t\\u0001\","
      "\"\xC3\xA9\":\"\x7F\xE2\x82\xAC\",\"cut \xEF\xBF\xBD\":\"\xEF\xBF\xBDz\",\"inner\":{\"list\":[1]}}");
}

TEST(ObjectText, WritesShortestNumbersAndNull) {
  EXPECT_EQ(base::ObjectText()
                .add("single", 0.1F)
                .add("double", 1e-7)
                .add("none", std::numeric_limits<float>::quiet_NaN())
                .add("endless", -std::numeric_limits<double>::infinity())
                .text(),
            R"({"single":0.1,"double":1e-07,"none":null,"endless":null})");
}

}  // namespace
}  // namespace geoloom::base

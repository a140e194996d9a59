#include <gmock/gmock.h>

#include "geoloom/platform/foundation/JSON.h"

namespace {

using geoloom::platform::JSON;
using testing::ElementsAre;

std::string nested(std::size_t depth, const std::string& inside = "") {
  return std::string(depth, '[') + inside + std::string(depth, ']');
}

TEST(JSON, RefusesInvalidTexts) {
  const std::vector<std::string> texts{"",
                                       "{} {}",
                                       "NaN",
                                       "1e400",
                                       "01",
                                       "\xEF\xBB\xBF",
                                       "\"\xff\"",
                                       "\"\\ud800\"",
                                       std::string(400, '9'),
                                       nested(JSON::MAXIMUM_DEPTH + 1, "1"),
                                       nested(100'000),
                                       nested(JSON::MAXIMUM_DEPTH, R"({"a":1})")};
  for (const std::string& text : texts)
    EXPECT_FALSE(JSON::parse(text)) << text.substr(0, 40) << " (" << text.size() << " bytes)";
}

TEST(JSON, AcceptsNestingUpToItsLimit) {
  const auto array = JSON::parse(nested(JSON::MAXIMUM_DEPTH, "1"));
  ASSERT_TRUE(array);
  EXPECT_EQ(array->description(), nested(JSON::MAXIMUM_DEPTH, "1"));
  EXPECT_TRUE(JSON::parse(nested(JSON::MAXIMUM_DEPTH - 1, R"({"a":1})")));
}

TEST(JSON, RefusesLongerTextsThanItsLimit) {
  std::string text(JSON::MAXIMUM_BYTES, ' ');
  text.front() = '1';
  EXPECT_TRUE(JSON::parse(text));
  EXPECT_FALSE(JSON::parse(text + " "));
}

TEST(JSON, ReadsEveryType) {
  const std::tuple<std::string, JSON::Type, std::string> cases[] = {
      {"null", JSON::Type::null, ""},
      {"true", JSON::Type::boolean, "true"},
      {" -7 ", JSON::Type::number, "-7"},
      {"2.5", JSON::Type::number, "2.5"},
      {R"("te\u00e9\n")", JSON::Type::string, "te\u00e9\n"},
      {"[1]", JSON::Type::array, ""},
      {"{\"a\":1}", JSON::Type::object, ""},
      {"\xEF\xBB\xBF\"after a mark\"", JSON::Type::string, "after a mark"},
  };
  for (const auto& [text, type, stringValue] : cases) {
    const auto value = JSON::parse(text);
    ASSERT_TRUE(value) << text;
    EXPECT_EQ(value->type(), type) << text;
    EXPECT_EQ(value->stringValue(), stringValue) << text;
    EXPECT_EQ(value->string().has_value(), type == JSON::Type::string) << text;
    EXPECT_EQ(value->boolean().has_value(), type == JSON::Type::boolean) << text;
    EXPECT_EQ(value->number().has_value(), type == JSON::Type::number) << text;
    EXPECT_EQ(value->contains("a"), type == JSON::Type::object) << text;
    EXPECT_EQ(value->size(), type == JSON::Type::array || type == JSON::Type::object ? 1U : 0U) << text;
  }
  EXPECT_EQ(JSON::emptyArray().type(), JSON::Type::array);
  EXPECT_EQ(JSON::emptyArray().size(), 0U);
}

TEST(JSON, KeepsOrderAndReadsTheFirstOfEqualKeys) {
  const auto value = JSON::parse(R"({"z":1,"a":{"b":null},"z":3,"\u006d":[4,"x",5.5]})");
  ASSERT_TRUE(value);
  std::vector<std::string> members;
  value->forEachMember([&](std::string_view key, const JSON& member) {
    members.push_back(std::string(key) + member.description());
  });
  EXPECT_THAT(members, ElementsAre("z1", R"(a{"b":null})", "z3", R"(m[4,"x",5.5])"));
  EXPECT_EQ(value->number("z"), 1.0);
  EXPECT_EQ(value->string("z"), std::nullopt);
  EXPECT_TRUE((*value)["a"]->contains("b"));
  EXPECT_FALSE(value->contains("b"));
  EXPECT_EQ(value->description(), R"({"z":1,"a":{"b":null},"z":3,"m":[4,"x",5.5]})");
}

TEST(JSON, ReadsNumbersOfAnyLength) {
  const auto value = JSON::parse(
      R"([18446744073709551615,-9223372036854775808,123456789012345678901234567890,-98765432109876543210,0.1,1E2,)"
      R"("123456789012345678901234567890 \" 123456789012345678901234567890",123456789012345678901234567890.5e1])");
  ASSERT_TRUE(value);
  std::vector<double> numbers;
  value->forEach([&](const JSON& element) { numbers.push_back(element.number().value_or(0)); });
  EXPECT_THAT(numbers,
              ElementsAre(18446744073709551615.0, -9223372036854775808.0, 123456789012345678901234567890.0,
                          -98765432109876543210.0, 0.1, 100.0, 0.0, 1234567890123456789012345678905.0));
}

TEST(JSON, ValuesKeepTheirDocumentAlive) {
  std::optional<JSON> part;
  {
    const auto whole = JSON::parse(R"({"placements":[{"asset":{"id":"lamp"}}]})");
    whole->operator[]("placements")->forEach([&](const JSON& element) { part = element["asset"]; });
  }
  ASSERT_TRUE(part);
  EXPECT_EQ(part->string("id"), "lamp");
}

}  // namespace

#include <cmath>

#include <gtest/gtest.h>

#include "geoloom/base/Text.h"

namespace geoloom::base {
namespace {

using namespace std::string_literals;

TEST(Text, WritesFloatsInTheirShortestText) {
  const std::pair<float, const char*> cases[] = {
      {1.0F, "1.0"},
      {-0.0F, "-0.0"},
      {0.1F, "0.1"},
      {1.0F / 3.0F, "0.33333334"},
      {1e-4F, "0.0001"},
      {9.9999e-5F, "9.9999e-05"},
      {16777216.0F, "16777216.0"},
      {16777218.0F, "1.6777218e+07"},
      {std::numeric_limits<float>::max(), "3.4028235e+38"},
      {std::numeric_limits<float>::denorm_min(), "1e-45"},
      {-std::numeric_limits<float>::infinity(), "-inf"},
      {std::numeric_limits<float>::quiet_NaN(), "nan"},
      {-std::numeric_limits<float>::quiet_NaN(), "nan"},
  };
  for (const auto& [value, written] : cases) EXPECT_EQ(base::text(value), written);
  EXPECT_EQ(base::text(0.1), "0.1");
  EXPECT_EQ(base::text(16777218.0), "16777218.0");
  EXPECT_EQ(base::text(9007199254740992.0), "9007199254740992.0");
  EXPECT_EQ(base::text(9007199254740994.0), "9.007199254740994e+15");
  EXPECT_EQ(base::text(1e100), "1e+100");
}

TEST(Text, LenientFloatReadsTheLongestPrefix) {
  const std::pair<std::string, float> cases[] = {
      {"1.5", 1.5F},     {" \t\n2", 2.0F}, {"-3e2m", -300.0F}, {"+.5.5", 0.5F}, {"1e", 1.0F},
      {".", 0.0F},       {"", 0.0F},       {"abc", 0.0F},      {"1,5", 1.0F},   {"\0001"s, 0.0F},
      {"4\0005"s, 4.0F}, {"- 1", 0.0F},    {"0.1e-1x", 0.01F},
  };
  for (const auto& [written, value] : cases) EXPECT_EQ(base::lenientFloat(written), value) << written;
  EXPECT_TRUE(std::isinf(base::lenientFloat("1e400")));
}

TEST(Text, StrictFloatReadsWholeTexts) {
  for (const char* number : {"1", "-1.5e3", "+2", "0x1p4", ".5", "5.", "1e400", "inf", "-INFINITY", "1e-60"})
    EXPECT_TRUE(base::strictFloat(number)) << number;
  EXPECT_EQ(base::strictFloat("0x1p4"), 16.0F);
  EXPECT_EQ(base::strictFloat("1e400"), std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(base::strictFloat("nan").value_or(0)));
  for (const std::string& other :
       {""s, " 1"s, "1 "s, "1,5"s, "1.5m"s, "."s, "e5"s, "\t1"s, "1\0"s, "1\0002"s, "１"s})
    EXPECT_EQ(base::strictFloat(other), std::nullopt) << other;
}

TEST(Text, ComparesAndHashesCanonically) {
  const std::tuple<std::string, std::string, bool> cases[] = {
      {"map", "map", true},
      {"caf\u00e9", "cafe\u0301", true},
      {"\ud55c", "\u1112\u1161\u11ab", true},  // a Hangul syllable and its letters
      {"\ufb01", "fi", false},                 // only compatible
      {"a\0\u00e9"s, "a\0e\u0301"s, true},
      {"\xff\u00e9", "\xff\u00e9", true},
      {"\xff\u00e9",
       "\xff"
       "e\u0301",
       false},  // not UTF-8: bytes count
  };
  for (const auto& [a, b, equal] : cases) {
    EXPECT_EQ(base::canonicallyEqual(a, b), equal) << a << " and " << b;
    EXPECT_EQ(base::canonicallyEqual(b, a), equal) << b << " and " << a;
    if (!equal) continue;
    EXPECT_EQ(base::canonicalHash(a), base::canonicalHash(b)) << a;
  }
}

}  // namespace
}  // namespace geoloom::base

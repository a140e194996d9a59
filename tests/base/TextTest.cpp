#include <bit>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "geoloom/base/Text.h"

namespace geoloom::base {
namespace {

using namespace std::string_literals;

TEST(Text, FloatsAreWrittenShortestWithAFractionOrAnExponent) {
  const std::pair<float, const char*> cases[] = {
      {1.0F, "1.0"},
      {0.0F, "0.0"},
      {-0.0F, "-0.0"},
      {0.1F, "0.1"},
      {-2.5F, "-2.5"},
      {100.0F, "100.0"},
      {123456.79F, "123456.79"},
      {0.88F, "0.88"},
      {3.14159274F, "3.1415927"},
      {1.0F / 3.0F, "0.33333334"},
      {1e-4F, "0.0001"},
      {0.00012345F, "0.00012345"},
      {1e-5F, "1e-05"},
      {9.9999e-5F, "9.9999e-05"},
      {16777216.0F, "16777216.0"},
      {16777218.0F, "1.6777218e+07"},
      {-1e10F, "-1e+10"},
      {std::numeric_limits<float>::max(), "3.4028235e+38"},
      {std::numeric_limits<float>::denorm_min(), "1e-45"},
      {std::numeric_limits<float>::infinity(), "inf"},
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

TEST(Text, EveryFloatReadsBackToItself) {
  std::mt19937 random(7);
  for (int i = 0; i < 200'000; ++i) {
    const float value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    const std::string written = base::text(value);
    const std::optional<float> read = base::strictFloat(written);
    ASSERT_TRUE(read) << written;
    if (std::isnan(value)) continue;
    ASSERT_EQ(std::bit_cast<std::uint32_t>(*read), std::bit_cast<std::uint32_t>(value)) << written;
  }
}

TEST(Text, OptionalsShowWhetherTheyHoldSomething) {
  EXPECT_EQ(base::text(std::optional<std::string>("M1")), "Optional(\"M1\")");
  EXPECT_EQ(base::text(std::optional<std::string>("")), "Optional(\"\")");
  EXPECT_EQ(base::text(std::optional<std::string>()), "nil");
}

TEST(Text, LenientNumbersAreTheLongestPrefix) {
  const std::pair<std::string, float> cases[] = {
      {"1.5", 1.5F},
      {" \t\n2", 2.0F},
      {"-3e2m", -300.0F},
      {"+.5.5", 0.5F},
      {"1e", 1.0F},
      {"1e+", 1.0F},
      {"7.", 7.0F},
      {".", 0.0F},
      {"-", 0.0F},
      {"", 0.0F},
      {"abc", 0.0F},
      {"1,5", 1.0F},
      {"1 2", 1.0F},
      {"\0001"s, 0.0F},
      {"4\0005"s, 4.0F},
      {"- 1", 0.0F},
      {"--1", 0.0F},
      {"0.1e-1x", 0.01F},
      {"16777217", 16777216.0F},
  };
  for (const auto& [written, value] : cases) EXPECT_EQ(base::lenientFloat(written), value) << written;
  EXPECT_TRUE(std::isinf(base::lenientFloat("1e400")));
}

TEST(Text, StrictNumbersAreNumbersAndNothingElse) {
  for (const char* number : {"1", "-1.5e3", "+2", "0x1p4", ".5", "5.", "1e400", "inf", "-INFINITY", "1e-60"})
    EXPECT_TRUE(base::strictFloat(number)) << number;
  EXPECT_EQ(base::strictFloat("0x1p4"), 16.0F);
  EXPECT_EQ(base::strictFloat("1e400"), std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(base::strictFloat("nan").value_or(0)));
  for (const std::string& other :
       {""s, " 1"s, "1 "s, "1,5"s, "1.5m"s, "."s, "e5"s, "\t1"s, "1\0"s, "1\0002"s, "１"s})
    EXPECT_EQ(base::strictFloat(other), std::nullopt) << other;
}

TEST(Text, CanonicalFormsAreEqualAndHashAlike) {
  const std::tuple<std::string, std::string, bool> cases[] = {
      {"map", "map", true},
      {"map", "Map", false},
      {"caf\u00e9", "cafe\u0301", true},
      {"\u212a", "K", true},                   // the Kelvin sign
      {"\ud55c", "\u1112\u1161\u11ab", true},  // a Hangul syllable and its letters
      {"q\u0307\u0323", "q\u0323\u0307", true},
      {"\ufb01", "fi", false},  // only compatible
      {"a\0b"s, "a\0c"s, false},
      {"a\0\u00e9"s, "a\0e\u0301"s, true},
      {"a\0"s, "a"s, false},
      {"\xff\u00e9", "\xff\u00e9", true},
      {"\xff\u00e9",
       "\xff"
       "e\u0301",
       false},  // not UTF-8: bytes count
      {"\xff", "\xfe", false},
      {"", "", true},
  };
  for (const auto& [a, b, equal] : cases) {
    EXPECT_EQ(base::canonicallyEqual(a, b), equal) << a << " and " << b;
    EXPECT_EQ(base::canonicallyEqual(b, a), equal) << b << " and " << a;
    if (!equal) continue;
    EXPECT_EQ(base::canonicalHash(a), base::canonicalHash(b)) << a;
  }
}

TEST(Text, BrokenSequencesAreReplacedAndTheRestStays) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"plain \u00e9 \u20ac \U0001f600", "plain \u00e9 \u20ac \U0001f600"},
      {"a\0b"s, "a\0b"s},
      {"a\xff"
       "b",
       "a\ufffd"
       "b"},
      {"\x80\x80", "\ufffd\ufffd"},
      {"\xe2\x82", "\ufffd"},                            // cut off
      {"\xe2\x82x", "\ufffdx"},                          // cut off by a letter
      {"\xf0\x9f\x98\xe2\x82\xac", "\ufffd\u20ac"},      // cut off by another character
      {"\xc0\xaf", "\ufffd\ufffd"},                      // overlong
      {"\xed\xa0\x80", "\ufffd\ufffd\ufffd"},            // half of a surrogate pair
      {"\xf4\x90\x80\x80", "\ufffd\ufffd\ufffd\ufffd"},  // above the last character
  };
  for (const auto& [written, valid] : cases) EXPECT_EQ(base::validUTF8(written), valid) << written;
}

}  // namespace
}  // namespace geoloom::base

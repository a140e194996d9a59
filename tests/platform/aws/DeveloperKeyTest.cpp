#include <gtest/gtest.h>

#include "geoloom/platform/aws/DeveloperKey.h"

namespace geoloom::platform {
namespace {

TEST(DeveloperKey, HashIsMD5) {
  EXPECT_EQ(DeveloperKey::hash("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(DeveloperKey::hash(""), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(DeveloperKey, PairIsContainedOrDerived) {
  // The derived secrets come from another tool: printf '%s' LABEL | openssl dgst -sha256 -hmac KEY
  static constexpr std::string_view OF_ABC =
      "5e28ff51429ae3b17bf7cf6b9ce22a72b746a99a8fe3eba40537905dd2022805";
  const std::tuple<std::string_view, std::string_view, std::string_view> cases[] = {
      {"AKID:secret/+=", "AKID", "secret/+="},
      {"AKID:a:b", "AKID", "a:b"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72", OF_ABC},
  };
  for (const auto& [key, access, secret] : cases) {
    const DeveloperKey::Pair pair = DeveloperKey::pair(key);
    EXPECT_EQ(pair.accessKey, access) << key;
    EXPECT_EQ(pair.secretKey, secret) << key;
  }
}

TEST(DeveloperKey, PairIsDerivedIfAHalfIsEmpty) {
  for (const std::string_view key : {"", ":", ":secret", "AKID:"}) {
    const DeveloperKey::Pair pair = DeveloperKey::pair(key);
    EXPECT_EQ(pair.accessKey, DeveloperKey::hash(key)) << key;
    EXPECT_EQ(pair.secretKey.size(), 64U) << key;
  }
  EXPECT_NE(DeveloperKey::pair(":").secretKey, DeveloperKey::pair("").secretKey);
}

}  // namespace
}  // namespace geoloom::platform

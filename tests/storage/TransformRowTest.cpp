#include <cmath>

#include <gtest/gtest.h>

#include "geoloom/storage/TransformRow.h"

namespace geoloom {
namespace {

using Text = std::optional<std::string>;

TransformRow row(std::optional<float> count, Text value, Text transform = "t") {
  TransformRow made;
  made.MatchCount = count;
  made.MatchValue = std::move(value);
  made.Transform = std::move(transform);
  return made;
}

struct Case {
  std::string what;
  std::vector<TransformRow> rows;
  /// Position of the best row; -1 for none.
  long best;
};

const float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

TEST(TransformRow, BestHasMostMatchesThenLargestValue) {
  const std::vector<Case> cases{
      {"nothing", {}, -1},
      {"value breaks the tie", {row(12, "0.4"), row(15, "0.3"), row(15, "0.7")}, 2},
      {"first of a full tie", {row(15, "0.5"), row(15, "0.5")}, 0},
      {"count before value", {row(15, "0.1"), row(14, "9")}, 0},
      {"values are numbers, not text", {row(1, "9"), row(1, "10")}, 1},
      {"no count", {row(std::nullopt, "9"), row(1, "0")}, 1},
      {"no count at all", {row({}, "9")}, -1},
      {"count is not a number", {row(NOT_A_NUMBER, "9"), row(1, "0")}, 1},
      {"no transform", {row(9, "9", std::nullopt), row(1, "0")}, 1},
      {"an empty transform counts", {row(9, "9", ""), row(1, "0")}, 0},
      {"no value is below every number", {row(1, std::nullopt), row(1, "-inf")}, 1},
      {"no value does not replace a number", {row(1, "-1e30"), row(1, std::nullopt)}, 0},
      {"blanks do not parse", {row(1, " 5"), row(1, "5 "), row(1, "1")}, 2},
      {"nan is below every number", {row(1, "nan"), row(1, "-inf")}, 1},
      {"nan does not replace a number", {row(1, "-2"), row(1, "nan")}, 0},
      {"signs, exponents, hexadecimal", {row(1, "+1e1"), row(1, "0x1p4"), row(1, "15")}, 1},
      {"infinity", {row(1, "1e38"), row(1, "inf"), row(1, "1e39")}, 1},
      {"values that differ in double only", {row(1, "0.1"), row(1, "0.1000000001")}, 0}};
  for (const auto& [what, rows, expected] : cases) {
    const TransformRow* best = nullptr;
    for (const TransformRow& row : rows)
      if (isUsable(row) && (best == nullptr || isBetter(row, *best))) best = &row;
    EXPECT_EQ(best == nullptr ? -1 : best - rows.data(), expected) << what;
  }
}

TEST(TransformRow, DescriptionIsOneLine) {
  TransformRow made = row(12, "0.5", "1,2,3,0");
  made.SessionId = "M1";
  EXPECT_EQ(
      description(made),
      "TransformRow(SessionId: M1, Timestamp: nil, MatchCount: 12.0, MatchValue: 0.5, Transform: 1,2,3,0)");
}

}  // namespace
}  // namespace geoloom

// The texts of a transform row: the transform itself, and its match value.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Text.h"
#include "geoloom/session/Relocalization.h"
#include "geoloom/storage/TransformRow.h"

#include "fuzz/Expect.h"

using namespace geoloom;

namespace {

/// A simple count of the numbers: one for each run of text without a comma.
std::size_t pieces(std::string_view text) {
  std::size_t count = 0;
  char before = ',';
  for (const char character : text) {
    if (character != ',' && before == ',') ++count;
    before = character;
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::vector<float> transform = parseTransform(text);
  GEOLOOM_EXPECT(transform.size() == pieces(text));

  // If both parsers accept a decimal number, they give the same value.
  const auto strict = base::strictFloat(text);
  if (strict && text.find_first_not_of("0123456789+-.eE") == std::string::npos) {
    GEOLOOM_EXPECT(base::lenientFloat(text) == *strict);
  }

  TransformRow row;
  row.MatchCount = 3;
  row.MatchValue = text;
  row.Transform = text;
  TransformRow plain = row;
  plain.MatchValue.reset();
  // Of two rows with equal counts at most one is better, and a row without a value ranks below every number.
  GEOLOOM_EXPECT(!isBetter(row, plain) || !isBetter(plain, row));
  GEOLOOM_EXPECT(!isBetter(plain, row));
  (void)description(row);
  return 0;
}

// Answers of the mapping and the table service: the parser, and all readers of parsed answers.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/platform/aws/AWSDynamoDBObjectModel.h"
#include "geoloom/platform/aws/AWSDynamoDBWire.h"
#include "geoloom/platform/foundation/JSON.h"
#include "geoloom/session/Relocalization.h"
#include "geoloom/storage/TransformRow.h"

#include "fuzz/Expect.h"

using namespace geoloom;

namespace {

void walk(const platform::JSON& value) {
  std::size_t count = 0;
  value.forEach([&](const platform::JSON& member) {
    ++count;
    walk(member);
  });
  GEOLOOM_EXPECT(count == value.size());
  value.forEachMember(
      [&](std::string_view key, const platform::JSON&) { GEOLOOM_EXPECT(value.contains(key)); });
  GEOLOOM_EXPECT(value.number().has_value() == (value.type() == platform::JSON::Type::number));
  GEOLOOM_EXPECT(value.string().has_value() == (value.type() == platform::JSON::Type::string));
  (void)value.stringValue();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  (void)static_cast<bool>(platform::dynamodb::readStatus(400, text));
  (void)static_cast<bool>(platform::dynamodb::readSaved(text));
  if (const auto page = platform::dynamodb::readPage(text)) {
    for (const auto& item : page->items) {
      const auto row = platform::fromItem<TransformRow>(item);
      if (isUsable(row)) GEOLOOM_EXPECT(!isBetter(row, row));
      (void)platform::toAttributes(row);
    }
  }

  const auto answer = platform::JSON::parse(text);
  if (!answer) return 0;
  walk(*answer);
  // The written text must read back to the same value.
  const std::string written = answer->description();
  const auto again = platform::JSON::parse(written);
  GEOLOOM_EXPECT(again.has_value());
  GEOLOOM_EXPECT(again->description() == written);
  for (const auto& map : readMaps(*answer)) GEOLOOM_EXPECT(map != nullptr);
  for (const auto& asset : relocalize(*answer, {1, 2, 3, 0.5F}, [](std::string_view) {})) {
    GEOLOOM_EXPECT(asset != nullptr);
  }
  return 0;
}

// Detection networks to be compiled: a model.json and, behind a separator, the bytes of its shard.

#include <cstddef>
#include <cstdint>
#include <string>

#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"

#include "fuzz/Expect.h"
#include "fuzz/Pieces.h"
#include "tools/model/SSDCompiler.h"

using namespace geoloom;

namespace {

/// The shard "anchors" is the kit's own table, too long for an input and too hard to guess.
std::string anchors() {
  const auto& table = SSDAnchors::anchors();
  return {reinterpret_cast<const char*>(table.data()), sizeof table};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto pieces = fuzz::pieces({reinterpret_cast<const char*>(data), size});
  const auto compiled = tools::compileSSD(
      pieces[0],
      [&](const std::string& path) -> base::Result<std::string> {
        if (path == "anchors") return anchors();
        if (path != "shard" || pieces.size() < 2) return base::Failure{path + ": missing"};
        return std::string(pieces[1]);
      },
      "input");
  if (compiled) {
    GEOLOOM_EXPECT(!compiled->onnx.empty() && compiled->divisor != 0);
  } else {
    GEOLOOM_EXPECT(compiled.failure().message.starts_with("input: "));
  }
  return 0;
}

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Result.h"

namespace geoloom::platform {

/// The manifest of a model bundle (docs/model-bundle.md).
struct ModelManifest {
  static constexpr int VERSION = 1;
  static constexpr std::size_t MAXIMUM_SIDE = 4096;

  struct Output {
    std::string name;
    std::vector<std::ptrdiff_t> shape;
    friend bool operator==(const Output&, const Output&) = default;
  };

  std::string network;  ///< file name inside the bundle
  std::string inputName;
  std::size_t inputWidth = 0;  ///< pixels
  std::size_t inputHeight = 0;
  bool blueFirst = false;  ///< the input's first plane is blue, not red
  double divisor = 1;      ///< the network takes byte / divisor + offset
  double offset = 0;
  std::vector<Output> outputs;  ///< in the order of the results
};

/// Parses a manifest. A failure's message begins with `name`.
[[nodiscard]] GEOLOOM_EXPORT base::Result<ModelManifest> parseModelManifest(std::string_view text,
                                                                            const std::string& name);

}  // namespace geoloom::platform

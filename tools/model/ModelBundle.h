#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/model/SSDCompiler.h"

namespace geoloom::tools {

/// What a model comes in: a TensorFlow Lite file alone, or behind a list of its labels, one a line.
struct ModelFile {
  std::vector<std::string> labels;        ///< empty when the file has none
  std::span<const std::uint8_t> network;  ///< into the file's bytes
};
[[nodiscard]] base::Result<ModelFile> splitModelFile(std::span<const std::uint8_t> file,
                                                     const std::string& name);

/// The lines of a text, without what ends them.
[[nodiscard]] std::vector<std::string> readLabels(std::string_view text);

/// Labels of the published 24-class detector, for a file that comes without its list.
[[nodiscard]] const std::vector<std::string>& publishedLabels();

/// Writes the folder that the kit loads (docs/model-bundle.md). Files stand whole or not at all, the manifest
/// last; what else lies in the folder stays. `notices` are copied beside them under their own names. The
/// reason when it fails.
[[nodiscard]] std::optional<base::Failure> writeModelBundle(const std::filesystem::path& folder,
                                                            const CompiledSSD& compiled,
                                                            const std::string& sourceName,
                                                            std::span<const std::filesystem::path> notices);

}  // namespace geoloom::tools

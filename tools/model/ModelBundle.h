#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "geoloom/base/Result.h"

#include "tools/model/SSDCompiler.h"

namespace geoloom::tools {

/// Writes the folder that the kit loads (docs/model-bundle.md), the manifest last. Each file is written whole
/// or not at all; other files in the folder stay. `notices` are copied beside the model under their own
/// names. The reason when it fails.
[[nodiscard]] std::optional<base::Failure> writeModelBundle(const std::filesystem::path& folder,
                                                            const CompiledSSD& compiled,
                                                            const std::string& sourceName,
                                                            std::span<const std::filesystem::path> notices);

}  // namespace geoloom::tools

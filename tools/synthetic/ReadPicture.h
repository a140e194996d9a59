#pragma once

#include <filesystem>

#include "geoloom/base/Result.h"
#include "geoloom/platform/imaging/PNG.h"

namespace geoloom::tools {

/// A PNG or JPEG file as a picture of 8 bits a sample. The failure names the file.
[[nodiscard]] base::Result<platform::PNGImage> readPicture(const std::filesystem::path& path);

}  // namespace geoloom::tools

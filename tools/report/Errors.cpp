#include "tools/report/Errors.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <fmt/format.h>

namespace geoloom::tools {
namespace {

std::string text(const platform::SCNVector3& p) {
  return fmt::format("{:7.3f} {:7.3f} {:7.3f}", p.x, p.y, p.z);
}

double distance(const platform::SCNVector3& a, const platform::SCNVector3& b) {
  const auto difference = [](float p, float q) { return static_cast<double>(p) - static_cast<double>(q); };
  return std::hypot(difference(a.x, b.x), difference(a.y, b.y), difference(a.z, b.z));
}

}  // namespace

std::vector<AssetError> errorsOf(const Trace& localization, const Placements& truth) {
  const platform::simd_float4x4 session = localization.recordings.empty()
                                              ? platform::simd_float4x4{}
                                              : localization.recordings.front().sessionFromRecording;
  std::vector<AssetError> errors;
  for (const Placement& asset : inSession(truth, session)) {
    AssetError error{asset.id,
                     {static_cast<float>(asset.x), static_cast<float>(asset.y), static_cast<float>(asset.z)},
                     std::nullopt,
                     std::numeric_limits<double>::infinity()};
    if (!localization.relocalized.empty()) {
      for (const TracedAsset& found : localization.relocalized.back().assets) {
        if (found.id != asset.id) continue;
        error.found = found.position;
        error.metres = distance(found.position, error.truth);
      }
    }
    errors.push_back(std::move(error));
  }
  return errors;
}

double medianOf(const std::vector<AssetError>& errors) {
  std::vector<double> metres;
  metres.reserve(errors.size());
  for (const AssetError& error : errors) metres.push_back(error.metres);
  std::sort(metres.begin(), metres.end());
  const std::size_t half = metres.size() / 2;
  return metres.size() % 2 == 1 ? metres[half] : 0.5 * (metres[half - 1] + metres[half]);
}

std::vector<std::string> tableOf(const std::vector<AssetError>& errors) {
  std::vector<std::string> lines{
      fmt::format("{:<12}  {:^23}  {:^23}  {:>7}", "asset", "true position", "relocalized", "error")};
  for (const AssetError& e : errors) {
    lines.push_back(
        e.found ? fmt::format("{:<12}  {}  {}  {:5.3f} m", e.id, text(e.truth), text(*e.found), e.metres)
                : fmt::format("{:<12}  {}  {:^23}  {:>7}", e.id, text(e.truth), "not found", "-"));
  }
  return lines;
}

}  // namespace geoloom::tools

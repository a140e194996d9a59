#include "tools/report/Errors.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

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

/// Between two headings in radians, the short way round.
double degreesBetween(double a, double b) {
  constexpr double degrees = 180 / std::numbers::pi;
  return std::abs(std::remainder(a - b, 2 * std::numbers::pi)) * degrees;
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
                     std::numeric_limits<double>::infinity(),
                     std::nullopt};
    if (!localization.relocalized.empty()) {
      const TracedAssets& last = localization.relocalized.back();
      for (const TracedAsset& found : last.assets) {
        if (found.id != asset.id) continue;
        error.found = found.position;
        error.metres = distance(found.position, error.truth);
        if (last.transform)
          error.degrees = degreesBetween(
              static_cast<double>(found.orientation) + static_cast<double>(last.transform->theta),
              asset.orientation);
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
  std::vector<std::string> lines{fmt::format("{:<12}  {:^23}  {:^23}  {:>7}  {:>9}", "asset", "true position",
                                             "relocalized", "error", "heading")};
  for (const AssetError& e : errors) {
    const std::string heading = e.degrees ? fmt::format("{:.1f} deg", *e.degrees) : "-";
    lines.push_back(e.found ? fmt::format("{:<12}  {}  {}  {:5.3f} m  {:>9}", e.id, text(e.truth),
                                          text(*e.found), e.metres, heading)
                            : fmt::format("{:<12}  {}  {:^23}  {:>7}  {:>9}", e.id, text(e.truth),
                                          "not found", "-", heading));
  }
  return lines;
}

}  // namespace geoloom::tools

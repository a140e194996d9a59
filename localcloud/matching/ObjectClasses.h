#pragma once

#include <string>

/// What was measured about the classes of objects, kept beside the figures it comes from.
namespace geoloom::localcloud {

/// Standard deviation along each ground axis by which the mean position of an object differs between walks
/// that look at it from different sides, metres. The detector reports the middle of the visible front.
[[nodiscard]] double viewpointSpread(const std::string& name);

/// Probability that the network gives an object of class `a` the name `b`, relative to giving it its own.
[[nodiscard]] double confusion(const std::string& a, const std::string& b);

}  // namespace geoloom::localcloud

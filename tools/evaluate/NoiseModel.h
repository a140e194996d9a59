#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Result.h"

namespace geoloom::tools::evaluation {

/// What a class's objects look like, and to the detector.
struct ObjectClass {
  std::array<double, 3> size{};  ///< width, depth, height, metres
  bool standsOnTable = false;
  double leak = 0;  ///< share of frames in which sample points pass the object
};

/// How the detector sees: the parameters of simulated walks (noise.json beside this file).
struct NoiseModel {
  double framesPerSecond = 0;  ///< analysed
  double walkSeconds = 0;
  double fieldOfView = 0;  ///< radians, across
  double nearest = 0;      ///< metres, as all lengths
  double farthest = 0;

  double detectionRate = 0;  ///< confident detections of a near object seen from its best side, a frame
  double fadeMetres = 0;     ///< the rate falls by e at this distance
  double worstSide = 0;  ///< factor of the rate from the side from which an object is hardest to recognise

  double scatter = 0;          ///< standard deviation of a position along an axis: this, and this per ...
  double scatterPerMetre = 0;  ///< ... metre of distance
  double scatterPerSize = 0;   ///< ... metre of width
  double correlation = 0;      ///< of the errors in consecutive frames

  double front = 0;       ///< share of the half depth by which a sighting lies before the middle
  double leakFrames = 0;  ///< how long a leak lasts
  double farthestLeak = 0;

  double wrongName = 0;  ///< share of sightings
  double wrongNameFrames = 0;
  double doubledName = 0;

  double ghostSpots = 0;  ///< places in a room that look like an object
  double ghostRate = 0;
  double ghostScatter = 0;
  std::vector<std::string> ghostNames;

  std::map<std::string, std::vector<std::string>> confusions;
  std::map<std::string, ObjectClass> classes;
  ObjectClass board;
  std::vector<std::string> boardNames;
};

/// Reads a model; `name` stands at the front of error messages.
[[nodiscard]] base::Result<NoiseModel> parseNoiseModel(std::string_view json, const std::string& name);

/// The text of noise.json.
[[nodiscard]] std::string_view defaultNoiseModel();

}  // namespace geoloom::tools::evaluation

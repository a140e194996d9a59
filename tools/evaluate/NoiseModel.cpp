#include "tools/evaluate/NoiseModel.h"

#include <numbers>

#include <nlohmann/json.hpp>

namespace geoloom::tools::evaluation {
namespace {

using JSON = nlohmann::json;

ObjectClass objectClass(const JSON& json) {
  return {.size = json.at("size"), .standsOnTable = json.contains("on"), .leak = json.value("leak", 0.0)};
}

NoiseModel read(const JSON& json) {
  const JSON& detection = json.at("detection");
  const JSON& scatter = json.at("scatter");
  const JSON& leak = json.at("leak");
  const JSON& names = json.at("names");
  const JSON& ghosts = json.at("ghosts");
  NoiseModel model{.framesPerSecond = json.at("framesPerSecond"),
                   .walkSeconds = json.at("walkSeconds"),
                   .fieldOfView = json.at("fieldOfViewDegrees").get<double>() * std::numbers::pi / 180,
                   .nearest = json.at("nearestMetres"),
                   .farthest = json.at("farthestMetres"),
                   .detectionRate = detection.at("rate"),
                   .fadeMetres = detection.at("fadeMetres"),
                   .worstSide = detection.at("worstSide"),
                   .scatter = scatter.at("metres"),
                   .scatterPerMetre = scatter.at("perMetre"),
                   .scatterPerSize = scatter.at("perSize"),
                   .correlation = scatter.at("correlation"),
                   .front = json.at("front"),
                   .leakFrames = leak.at("frames"),
                   .farthestLeak = leak.at("farthestMetres"),
                   .wrongName = names.at("wrong"),
                   .wrongNameFrames = names.at("frames"),
                   .doubledName = names.at("doubled"),
                   .ghostSpots = ghosts.at("spots"),
                   .ghostRate = ghosts.at("rate"),
                   .ghostScatter = ghosts.at("scatter"),
                   .ghostNames = ghosts.at("names"),
                   .confusions = json.at("confusions"),
                   .classes = {},
                   .board = objectClass(json.at("board")),
                   .boardNames = json.at("board").at("names")};
  for (const auto& [name, value] : json.at("classes").items()) model.classes[name] = objectClass(value);
  return model;
}

}  // namespace

base::Result<NoiseModel> parseNoiseModel(std::string_view json, const std::string& name) {
  try {
    return read(JSON::parse(json));
  } catch (const JSON::exception& error) {
    return base::Failure{name + ": is not a noise model: " + error.what()};
  }
}

}  // namespace geoloom::tools::evaluation

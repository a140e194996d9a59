// Tracking among many objects. Arguments: the number of tracked objects, and of earlier observations of each.
#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <utility>

#include <benchmark/benchmark.h>

#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"

namespace geoloom {
namespace {

/// Chairs half a metre wide, 0.9 m apart on a square floor. Every observation has a small error.
class Room {
 public:
  explicit Room(std::int64_t objects)
      : objects_(objects),
        side_(static_cast<std::int64_t>(std::ceil(std::sqrt(static_cast<double>(objects))))) {}

  [[nodiscard]] BoundingBox3D boxOf(std::int64_t object) {
    const auto x = 0.9F * static_cast<float>(object % side_) + jitter_(random_);
    const std::int64_t row = object / side_;
    const auto z = 0.9F * static_cast<float>(row) + jitter_(random_);
    return {x, x + 0.5F, 0 + jitter_(random_), 0.9F, z, z + 0.5F};
  }

  [[nodiscard]] std::int64_t someObject() {
    return std::uniform_int_distribution<std::int64_t>(0, objects_ - 1)(random_);
  }

 private:
  std::int64_t objects_;
  std::int64_t side_;
  std::mt19937 random_{1};
  std::uniform_real_distribution<float> jitter_{-0.02F, 0.02F};
};

/// Made once for all repetitions, since making a network takes long.
SemanticNetwork& networkOf(std::int64_t objects, std::int64_t observations) {
  static std::map<std::pair<std::int64_t, std::int64_t>, std::unique_ptr<SemanticNetwork>> networks;
  auto& network = networks[{objects, observations}];
  if (!network) {
    network = std::make_unique<SemanticNetwork>();
    Room room(objects);
    for (std::int64_t round = 0; round <= observations; ++round) {
      for (std::int64_t object = 0; object < objects; ++object) {
        network->observe("chair", 0.9, room.boxOf(object), nullptr, false);
      }
    }
  }
  return *network;
}

void observe(benchmark::State& state) {
  auto& network = networkOf(state.range(0), state.range(1));
  Room room(state.range(0));
  for (auto _ : state) {
    network.observe("chair", 0.9, room.boxOf(room.someObject()), nullptr, false);
  }
}

/// A frame with ten observations while all objects are drawn, including the refresh of the edges.
void drawnFrame(benchmark::State& state) {
  const auto scene = std::make_shared<platform::SCNScene>();
  SemanticNetwork network;
  Room room(state.range(0));
  for (int round = 0; round <= 6; ++round) {
    for (std::int64_t object = 0; object < state.range(0); ++object) {
      network.observe("chair", 0.9, room.boxOf(object), scene, true);
    }
  }
  network.drawVisualEdges(*scene);
  for (auto _ : state) {
    for (int i = 0; i < 10; ++i) network.observe("chair", 0.9, room.boxOf(room.someObject()), scene, true);
    network.drawVisualEdges(*scene);
  }
  state.counters["lines"] = static_cast<double>(scene->rootNode()->childNodes().size()) -
                            14.0 * static_cast<double>(state.range(0));
}

// A fixed number of iterations, because every one makes the histories longer.
BENCHMARK(observe)
    ->Args({100, 10})
    ->Args({1000, 10})
    ->Args({100, 1000})
    ->Iterations(4000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(drawnFrame)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom

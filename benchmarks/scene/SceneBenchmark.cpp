// Editing and reading a scene with many nodes; the argument is their number. An edit moves one node to the
// end of the children. The peer is a std::vector of nodes that is searched to move one and copied for a
// reader.
#include <algorithm>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "geoloom/platform/scene/SCNScene.h"

namespace geoloom::platform {
namespace {

using Nodes = std::vector<std::shared_ptr<SCNNode>>;

Nodes nodesOf(std::int64_t count) {
  Nodes nodes(static_cast<std::size_t>(count));
  for (auto& node : nodes) node = std::make_shared<SCNNode>();
  return nodes;
}

std::size_t someIndex(const Nodes& nodes) {
  static std::mt19937 random(3);
  return std::uniform_int_distribution<std::size_t>(0, nodes.size() - 1)(random);
}

void edit(benchmark::State& state) {
  const SCNScene scene;
  const Nodes nodes = nodesOf(state.range(0));
  for (const auto& node : nodes) scene.rootNode()->addChildNode(node);
  for (auto _ : state) {
    const auto& node = nodes[someIndex(nodes)];
    node->removeFromParentNode();
    scene.rootNode()->addChildNode(node);
  }
}

void editVector(benchmark::State& state) {
  const Nodes nodes = nodesOf(state.range(0));
  Nodes children = nodes;
  for (auto _ : state) {
    const auto& node = nodes[someIndex(nodes)];
    children.erase(std::find(children.begin(), children.end(), node));
    children.push_back(node);
  }
}

/// A snapshot after a frame of the detector, which drew ten objects of 14 nodes.
void snapshotAfterAFrame(benchmark::State& state) {
  const SCNScene scene;
  const Nodes nodes = nodesOf(state.range(0));
  for (const auto& node : nodes) scene.rootNode()->addChildNode(node);
  benchmark::DoNotOptimize(scene.snapshot());
  for (auto _ : state) {
    state.PauseTiming();
    for (int i = 0; i < 140; ++i) scene.rootNode()->addChildNode(nodes[someIndex(nodes)]);
    state.ResumeTiming();
    benchmark::DoNotOptimize(scene.snapshot());
  }
}

void copyVectorAfterAFrame(benchmark::State& state) {
  const Nodes children = nodesOf(state.range(0));
  for (auto _ : state) {
    std::vector<SCNNodeSnapshot> copies;
    copies.reserve(children.size());
    for (const auto& child : children) {
      copies.push_back({child->position(), child->orientation(), child->scale(), child->geometry(), {}});
    }
    benchmark::DoNotOptimize(copies);
  }
}

BENCHMARK(edit)->Arg(100)->Arg(10000)->Arg(140000)->Unit(benchmark::kNanosecond);
BENCHMARK(editVector)->Arg(100)->Arg(10000)->Arg(140000)->Unit(benchmark::kNanosecond);
BENCHMARK(snapshotAfterAFrame)->Arg(1000)->Arg(14000)->Unit(benchmark::kMicrosecond);
BENCHMARK(copyVectorAfterAFrame)->Arg(1000)->Arg(14000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom::platform

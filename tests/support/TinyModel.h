#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "geoloom/platform/foundation/LibraryBundle.h"

#include "tests/support/Model.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/model/ModelBundle.h"
#include "tools/model/ONNX.h"

namespace geoloom::test {

/// A detection network that finds one object in every picture: the class `row` at `anchor` with the score
/// `score`; its box is the anchor. Sessions load it while this object exists. Link geoloom_tools.
class TinyModel {
 public:
  TinyModel(std::size_t row, std::size_t anchor, float score) {
    std::vector<float> scores(CLASSES * ANCHORS, -20.0F);
    scores[row * ANCHORS + anchor] = score;
    tools::ONNXGraph graph;
    graph.input(tools::CompiledSSD::INPUT, {1, 3, SIDE, SIDE});
    graph.output(tools::CompiledSSD::SCORES, {CLASSES, ANCHORS});
    graph.output(tools::CompiledSSD::BOXES, {4, ANCHORS});
    const std::vector<std::int64_t> kernel{SIDE, SIDE};
    graph.node("AveragePool", {tools::CompiledSSD::INPUT}, "mean",
               tools::ONNXAttributes{}.numbers("kernel_shape", kernel));
    head(graph, tools::CompiledSSD::SCORES, scores);
    head(graph, tools::CompiledSSD::BOXES, std::vector<float>(4 * ANCHORS, 0.0F));

    tools::CompiledSSD compiled;
    compiled.onnx = graph.model("tiny");
    compiled.side = SIDE;
    const auto bundle = directory_.path() / "feature_model.mlmodelc";
    if (const auto failure = tools::writeModelBundle(bundle, compiled, "tiny", {}))
      throw std::runtime_error(failure->message);
    useBuiltOpenCVEngine();  // oneDNN does not run this network
    platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", bundle);
  }

 private:
  static constexpr std::int64_t SIDE = 8;
  static constexpr std::int64_t CLASSES = 91;
  static constexpr std::int64_t ANCHORS = 1917;

  // The same numbers for every picture.
  static void head(tools::ONNXGraph& graph, const std::string& name, const std::vector<float>& values) {
    const auto count = static_cast<std::int64_t>(values.size());
    const std::vector<float> weights(3 * values.size(), 0.0F);
    const std::vector<std::int64_t> shape{count / ANCHORS, ANCHORS};
    const std::vector<std::int64_t> kernel{1, 1};
    graph.node("Conv",
               {"mean", graph.constant(name + "_weights", {count, 3, 1, 1}, weights),
                graph.constant(name + "_values", {count}, values)},
               name + "_flat", tools::ONNXAttributes{}.numbers("kernel_shape", kernel));
    graph.node("Reshape", {name + "_flat", graph.constant(name + "_shape", shape)}, name);
  }

  TemporaryDirectory directory_;
};

}  // namespace geoloom::test

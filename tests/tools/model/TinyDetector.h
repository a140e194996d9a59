#pragma once

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"

namespace geoloom::test {

/// A single-shot detector of a few thousand weights as a TensorFlow.js model, with every operator that the
/// compiler reads. Each layer lists the anchors of a cell in an order of its own.
class TinyDetector {
 public:
  using JSON = nlohmann::json;

  explicit TinyDetector(unsigned seed) : random_(seed) {
    add("Placeholder", "image", {});
    add("Mul", "scale", {constant("factor", {}, {2.0F / 255}), "image"});
    add("Sub", "Preprocessor/sub", {"scale", constant("one", {}, {1})});
    integer("1", {}, 1);
    integer("first", {1}, 0);
    integer("second", {1}, 1);

    // Merged weights with an addition, then a depthwise convolution with a multiplication and an addition.
    convolve("Conv2D", "c", "Preprocessor/sub", {3, 3, 3, 4}, 16);
    add("Add", "c/add", {"c", weights("c/shift", {4})});
    add("Relu6", "c/relu", {"c/add"});
    convolve("DepthwiseConv2dNative", "d", "c/relu", {3, 3, 4, 2}, 1);
    add("Mul", "d/mul", {"d", weights("d/scale", {8})});
    add("Add", "d/add", {"d/mul", weights("d/shift", {8})});
    add("Relu6", "d/relu", {"d/add"});
    // Two blocks with a shortcut around the second; the constant is added to the sum.
    convolve("Conv2D", "e", "d/relu", {1, 1, 8, 3}, 1);
    add("Add", "e/add", {"e", weights("e/shift", {3})});
    convolve("Conv2D", "f", "e/add", {1, 1, 3, 3}, 1);
    add("AddN", "f/sum", {"f", "e/add"});
    add("Add", "f/add", {weights("f/shift", {3}), "f/sum"});

    std::string features = "f/add";
    std::vector<std::string> boxes;
    std::vector<std::string> scores;
    std::vector<float> anchors;
    const int grids[] = {19, 10, 5, 3, 2, 1};
    for (int layer = 0; layer < 6; ++layer) {
      const std::string name = "layer" + std::to_string(layer);
      const int perCell = layer == 0 ? 3 : 6;
      if (layer > 0) {
        convolve("Conv2D", name, features, {3, 3, 3, 3}, 2);
        add("Relu6", name + "/relu", {name});
        features = name + "/relu";
      }
      convolve("DepthwiseConv2dNative", name + "/d", features, {3, 3, 3, 1}, 1);
      const std::string norm =
          add("FusedBatchNorm", name + "/norm",
              {name + "/d", weights(name + "/gamma", {3}), weights(name + "/beta", {3}),
               weights(name + "/mean", {3}), constant(name + "/variance", {3}, {2, 3, 4})},
              {{"epsilon", {{"f", 0.5}}}});
      const int rows = grids[layer] * grids[layer] * perCell;
      boxes.push_back(head(name + "/box", norm, perCell, rows, {1, 4}));
      scores.push_back(head(name + "/score", norm, perCell, rows, {91}));
      listAnchors(anchors, rows, perCell);
    }
    boxes.emplace_back("1");
    scores.emplace_back("1");
    add("ConcatV2", "concat", boxes);
    add("ConcatV2", "concat_1", scores);
    constant("Postprocessor/ExpandDims", {1, 1917, 4}, anchors);
  }

  [[nodiscard]] std::string json() const {
    JSON nodeList = JSON::array();
    for (const auto& [name, node] : nodes.items()) nodeList.push_back(node);
    return JSON{{"modelTopology", {{"node", nodeList}}},
                {"weightsManifest", {{{"paths", {"a", "b"}}, {"weights", manifest}}}}}
        .dump();
  }

  // What the tests change.
  JSON nodes = JSON::object();  ///< by name
  JSON manifest = JSON::array();
  std::string bytes;  ///< of all shards

 private:
  std::string add(const std::string& op, const std::string& name, const std::vector<std::string>& inputs,
                  JSON attributes = JSON::object()) {
    nodes[name] = {{"name", name}, {"op", op}, {"input", inputs}, {"attr", std::move(attributes)}};
    return name;
  }

  template <class Number>
  std::string store(const std::string& name, const std::vector<int>& shape, const std::vector<Number>& values,
                    const char* type) {
    manifest.push_back({{"name", name}, {"shape", shape}, {"dtype", type}});
    bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Number));
    return add("Const", name, {"^image"});
  }
  std::string constant(const std::string& name, const std::vector<int>& shape,
                       const std::vector<float>& values) {
    return store(name, shape, values, "float32");
  }
  std::string integer(const std::string& name, const std::vector<int>& shape, int value) {
    return store(name, shape, std::vector<std::int32_t>{value}, "int32");
  }
  std::string weights(const std::string& name, const std::vector<int>& shape) {
    std::vector<float> values(
        static_cast<std::size_t>(std::accumulate(shape.begin(), shape.end(), 1, std::multiplies<int>())));
    std::uniform_real_distribution<float> value(-1, 1);
    for (float& v : values) v = value(random_);
    return constant(name, shape, values);
  }

  /// The first half of the nodes has texts as lists of bytes, the second as base64.
  std::string convolve(const std::string& op, const std::string& name, const std::string& from,
                       const std::vector<int>& shape, int stride) {
    const bool asBytes = nodes.size() < 60;
    const JSON same = asBytes ? JSON{83, 65, 77, 69} : JSON("U0FNRQ==");
    const JSON format = asBytes ? JSON{78, 72, 87, 67} : JSON("TkhXQw==");
    const std::string side = std::to_string(stride);
    return add(op, name, {from, weights(name + "/weights", shape)},
               {{"padding", {{"s", same}}},
                {"data_format", {{"s", format}}},
                {"strides", {{"list", {{"i", {"1", side, side, "1"}}}}}},
                {"dilations", {{"list", {{"i", {1, 1, 1, 1}}}}}}});
  }

  std::string head(const std::string& name, const std::string& from, int perCell, int rows,
                   const std::vector<int>& columns) {
    const int channels = perCell * columns.back();
    convolve("Conv2D", name, from, {1, 1, 3, channels}, 1);
    add("BiasAdd", name + "/biased", {name, weights(name + "/bias", {channels})});
    add("Shape", name + "/shape", {from});
    add("StridedSlice", name + "/batch", {name + "/shape", "first", "second", "second"},
        {{"shrink_axis_mask", {{"i", "1"}}}, {"end_mask", {{"i", "0"}}}});
    std::vector<std::string> sizes = {name + "/batch", integer(name + "/rows", {}, rows)};
    if (columns.size() > 1) sizes.emplace_back("1");
    sizes.push_back(integer(name + "/columns", {}, columns.back()));
    add("Pack", name + "/target", sizes);
    return add("Reshape", name + "/reshape", {name + "/biased", name + "/target"});
  }

  void listAnchors(std::vector<float>& anchors, int rows, int perCell) {
    std::vector<std::size_t> order(static_cast<std::size_t>(perCell));
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), random_);
    const std::size_t start = anchors.size() / 4;
    for (int row = 0; row < rows; row += perCell) {
      for (const std::size_t place : order) {
        const auto& anchor = SSDAnchors::anchors()[start + static_cast<std::size_t>(row) + place];
        anchors.insert(anchors.end(), anchor.begin(), anchor.end());
      }
    }
  }

  std::mt19937 random_;
};

}  // namespace geoloom::test

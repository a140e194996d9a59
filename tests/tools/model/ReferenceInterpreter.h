#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace geoloom::test {

/// Runs a TensorFlow.js model node by node in double precision, as the operators are defined. It shares no
/// code with the compiler or the engine.
class ReferenceInterpreter {
 public:
  struct Tensor {
    std::vector<std::size_t> shape;  ///< of the operators between the input and the heads
    std::vector<double> values;
  };

  ReferenceInterpreter(const nlohmann::json& model, const std::string& bytes) {
    for (const auto& node : model["modelTopology"]["node"]) nodes_[node["name"]] = node;
    std::size_t place = 0;
    for (const auto& weight : model["weightsManifest"][0]["weights"]) {
      Tensor& tensor = tensors_[weight["name"]];
      tensor.shape = weight["shape"].get<std::vector<std::size_t>>();
      std::size_t count = 1;
      for (const std::size_t size : tensor.shape) count *= size;
      for (std::size_t i = 0; i < count; ++i, place += 4) {
        float real = 0;
        std::memcpy(&real, &bytes[place], 4);
        tensor.values.push_back(real);  // integers are not looked at
      }
    }
  }

  /// Gives a node its value.
  void set(const std::string& name, Tensor tensor) { tensors_[name] = std::move(tensor); }

  const Tensor& value(const std::string& name) {
    if (const auto found = tensors_.find(name); found != tensors_.end()) return found->second;
    return tensors_[name] = evaluate(nodes_.at(name));
  }

 private:
  Tensor evaluate(const nlohmann::json& node) {
    const std::string op = node["op"];
    const auto input = [&](std::size_t i) -> const Tensor& { return value(node["input"][i]); };
    Tensor result;
    if (op == "Conv2D" || op == "DepthwiseConv2dNative") {
      const std::string stride = node["attr"]["strides"]["list"]["i"][1];
      return convolve(input(0), input(1), std::stoul(stride), op != "Conv2D");
    }
    if (op == "ConcatV2") {
      for (std::size_t i = 0; i + 1 < node["input"].size(); ++i)
        result.values.insert(result.values.end(), input(i).values.begin(), input(i).values.end());
      return result;
    }
    std::vector<const std::vector<double>*> operands;
    for (std::size_t i = 0; i < node["input"].size(); ++i) operands.push_back(&input(i).values);
    // The constant may come first.
    const bool isSwapped = op == "Add" && operands[0]->size() < operands[1]->size();
    if (isSwapped) std::swap(operands[0], operands[1]);
    result = input(isSwapped ? 1 : 0);
    const double epsilon = op == "FusedBatchNorm" ? node["attr"]["epsilon"]["f"].get<double>() : 0;
    for (std::size_t i = 0; i < result.values.size(); ++i) {
      double& x = result.values[i];
      const auto other = [&](std::size_t k) { return (*operands[k])[i % operands[k]->size()]; };
      if (op == "Mul") x *= other(1);
      if (op == "Add" || op == "AddN" || op == "BiasAdd") x += other(1);
      if (op == "Relu6") x = std::clamp(x, 0.0, 6.0);
      if (op == "FusedBatchNorm") x = other(1) * (x - other(3)) / std::sqrt(other(4) + epsilon) + other(2);
    }
    return result;
  }

  static Tensor convolve(const Tensor& image, const Tensor& filter, std::size_t stride, bool depthwise) {
    const std::size_t rows = image.shape[1];
    const std::size_t columns = image.shape[2];
    const std::size_t inputs = image.shape[3];
    const std::size_t outputs = depthwise ? inputs * filter.shape[3] : filter.shape[3];
    Tensor result{{1, (rows + stride - 1) / stride, (columns + stride - 1) / stride, outputs}, {}};
    const auto before = [&](std::size_t in, std::size_t out, std::size_t kernel) {
      const std::size_t reach = (out - 1) * stride + kernel;
      return (std::max(reach, in) - in) / 2;
    };
    const std::size_t top = before(rows, result.shape[1], filter.shape[0]);
    const std::size_t left = before(columns, result.shape[2], filter.shape[1]);
    std::vector<double> sums;
    for (std::size_t row = 0; row < result.shape[1]; ++row) {
      for (std::size_t column = 0; column < result.shape[2]; ++column) {
        sums.assign(outputs, 0);
        for (std::size_t place = 0; place < filter.shape[0] * filter.shape[1]; ++place) {
          const std::size_t y = row * stride + place / filter.shape[1] - top;  // wraps above the image
          const std::size_t x = column * stride + place % filter.shape[1] - left;
          if (y >= rows || x >= columns) continue;
          const double* pixel = &image.values[(y * columns + x) * inputs];
          if (depthwise) {
            for (std::size_t o = 0; o < outputs; ++o)
              sums[o] += pixel[o / filter.shape[3]] * filter.values[place * outputs + o];
            continue;
          }
          for (std::size_t i = 0; i < inputs; ++i) {
            const double* weights = &filter.values[(place * inputs + i) * outputs];
            for (std::size_t o = 0; o < outputs; ++o) sums[o] += pixel[i] * weights[o];
          }
        }
        result.values.insert(result.values.end(), sums.begin(), sums.end());
      }
    }
    return result;
  }

  std::map<std::string, nlohmann::json> nodes_;
  std::map<std::string, Tensor> tensors_;
};

}  // namespace geoloom::test

#pragma once

#include <algorithm>
#include <map>
#include <vector>

#include "tools/model/TFLite.h"

/// Runs a network as its file says, operator after operator in double precision: slow, and nothing like the
/// engine.
namespace geoloom::test {

class ReferenceInterpreter {
 public:
  explicit ReferenceInterpreter(const tools::TFLiteModel& model)
      : model_(model), values_(model.tensors.size()) {}

  /// `input` is rows, columns, channels. Gives the outputs in the graph's order.
  std::vector<std::vector<double>> run(std::vector<double> input) {
    values_[model_.inputs[0]] = std::move(input);
    for (const auto& op : model_.operators) evaluate(op);
    std::vector<std::vector<double>> outputs;
    for (const std::size_t output : model_.outputs) outputs.push_back(values_[output]);
    return outputs;
  }

 private:
  const std::vector<double>& value(std::size_t index) {
    const auto& tensor = model_.tensors[index];
    if (values_[index].empty() && tensor.isConstant())
      for (const float element : tensor.floats()) values_[index].push_back(element);
    return values_[index];
  }

  void evaluate(const tools::TFLiteOperator& op) {
    using enum tools::TFLiteCode;
    std::vector<double>& out = values_[op.output];
    switch (op.code) {
      case dequantize:
      case reshape:
        out = value(op.inputs[0]);
        break;
      case add:
        out = value(op.inputs[0]);
        for (std::size_t i = 0; i < out.size(); ++i) out[i] += value(op.inputs[1])[i];
        break;
      case concatenation:  // along axis 1 of a single batch
        for (const std::size_t input : op.inputs)
          out.insert(out.end(), value(input).begin(), value(input).end());
        break;
      case conv2D:
      case depthwiseConv2D:
        convolve(op, out);
        break;
    }
    for (double& element : out) {
      if (op.activation != tools::TFLiteActivation::none) element = std::max(element, 0.0);
      if (op.activation == tools::TFLiteActivation::relu6) element = std::min(element, 6.0);
    }
  }

  void convolve(const tools::TFLiteOperator& op, std::vector<double>& out) {
    const bool depthwise = op.code == tools::TFLiteCode::depthwiseConv2D;
    const auto& in = model_.tensors[op.inputs[0]].shape;
    const auto& kernel = model_.tensors[op.inputs[1]].shape;
    const auto& shape = model_.tensors[op.output].shape;
    const std::vector<double>& image = value(op.inputs[0]);
    const std::vector<double>& filter = value(op.inputs[1]);
    const std::vector<double>& bias = value(op.inputs[2]);
    const auto padding = [&](std::size_t side) {
      const auto needed =
          static_cast<std::ptrdiff_t>((shape[side] - 1) * op.stride[side - 1] + kernel[side]) -
          static_cast<std::ptrdiff_t>(in[side]);
      return op.samePadding ? std::max<std::ptrdiff_t>(needed, 0) / 2 : 0;
    };
    const std::ptrdiff_t top = padding(1);
    const std::ptrdiff_t left = padding(2);
    const std::size_t inputs = in[3];
    const std::size_t outputs = shape[3];
    for (std::size_t row = 0; row < shape[1]; ++row) {
      for (std::size_t column = 0; column < shape[2]; ++column) {
        std::vector<double> sums = bias;
        for (std::size_t i = 0; i < kernel[1]; ++i) {
          for (std::size_t j = 0; j < kernel[2]; ++j) {
            const auto y = static_cast<std::ptrdiff_t>(row * op.stride[0] + i) - top;
            const auto x = static_cast<std::ptrdiff_t>(column * op.stride[1] + j) - left;
            if (y < 0 || x < 0 || y >= static_cast<std::ptrdiff_t>(in[1]) ||
                x >= static_cast<std::ptrdiff_t>(in[2]))
              continue;
            const double* pixel =
                &image[(static_cast<std::size_t>(y) * in[2] + static_cast<std::size_t>(x)) * inputs];
            for (std::size_t o = 0; o < outputs; ++o) {
              if (depthwise) {
                sums[o] += pixel[o * inputs / outputs] * filter[(i * kernel[2] + j) * outputs + o];
                continue;
              }
              const double* weights = &filter[((o * kernel[1] + i) * kernel[2] + j) * inputs];
              for (std::size_t c = 0; c < inputs; ++c) sums[o] += pixel[c] * weights[c];
            }
          }
        }
        out.insert(out.end(), sums.begin(), sums.end());
      }
    }
  }

  const tools::TFLiteModel& model_;
  std::vector<std::vector<double>> values_;
};

}  // namespace geoloom::test

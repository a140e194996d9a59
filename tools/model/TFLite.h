#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

/// The part of a TensorFlow Lite file that a convolutional detector uses: tensors, operators in their order
/// of running.
namespace geoloom::tools {

enum class TFLiteType : std::uint8_t { float32 = 0, float16 = 1, int32 = 2 };

/// The numbers are the file format's.
enum class TFLiteCode : std::int32_t {
  add = 0,
  concatenation = 2,
  conv2D = 3,
  depthwiseConv2D = 4,
  dequantize = 6,
  reshape = 22
};
enum class TFLiteActivation : std::uint8_t { none = 0, relu = 1, relu6 = 3 };

struct TFLiteTensor {
  std::string name;
  std::vector<std::size_t> shape;  ///< images are 1, rows, columns, channels
  TFLiteType type = TFLiteType::float32;
  std::span<const std::uint8_t> data;  ///< into the file; empty for what is computed

  [[nodiscard]] std::size_t count() const;
  [[nodiscard]] bool isConstant() const { return !data.empty(); }
  /// The elements of a constant of 16- or 32-bit floats.
  [[nodiscard]] std::vector<float> floats() const;
};

struct TFLiteOperator {
  TFLiteCode code = TFLiteCode::add;
  std::vector<std::size_t> inputs;  ///< indices of tensors
  std::size_t output = 0;
  TFLiteActivation activation = TFLiteActivation::none;
  bool samePadding = true;                       ///< convolutions: SAME, else VALID
  std::array<std::size_t, 2> stride = {1, 1};    ///< rows, columns
  std::array<std::size_t, 2> dilation = {1, 1};  ///< rows, columns
  std::int32_t axis = 0;                         ///< of a concatenation
};

struct TFLiteModel {
  std::vector<TFLiteTensor> tensors;
  std::vector<TFLiteOperator> operators;
  std::vector<std::size_t> inputs;
  std::vector<std::size_t> outputs;
};

/// Reads a model of one graph. Every index in the result names a tensor that exists and is known when its
/// operator runs, every constant has as many bytes as its shape asks for, and operators have as many inputs
/// as their kind needs. The tensors' data points into `file`. `name` stands at the front of a failure's
/// message.
[[nodiscard]] geoloom::base::Result<TFLiteModel> readTFLite(std::span<const std::uint8_t> file,
                                                            const std::string& name);

/// Half precision to single precision, exactly.
[[nodiscard]] float floatFromHalf(std::uint16_t half);

}  // namespace geoloom::tools

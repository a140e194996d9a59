#include "tools/model/TFLite.h"

#include <bit>
#include <cmath>
#include <optional>

#include "tools/model/FlatBuffer.h"

namespace geoloom::tools {

using base::Failure;
using base::Result;

namespace {

// Limits no detector comes near; they bound the work that a hostile file can ask for.
constexpr std::size_t maximumEntries = 1U << 14;
constexpr std::size_t maximumRank = 6;
constexpr std::size_t maximumInputs = 64;
constexpr std::size_t maximumName = 4096;
constexpr std::size_t maximumElements = std::size_t{1} << 28;

// Fields by their position in the published schema.
namespace field {
constexpr std::size_t modelCodes = 1, modelGraphs = 2, modelBuffers = 4;
constexpr std::size_t codeByte = 0, codeNumber = 3;
constexpr std::size_t graphTensors = 0, graphInputs = 1, graphOutputs = 2, graphOperators = 3;
constexpr std::size_t tensorShape = 0, tensorType = 1, tensorBuffer = 2, tensorName = 3;
constexpr std::size_t bufferData = 0;
constexpr std::size_t operatorCode = 0, operatorInputs = 1, operatorOutputs = 2, operatorOptions = 4;
}  // namespace field

std::optional<std::string> readTensor(const FlatTable& table, const std::vector<FlatTable>& buffers,
                                      TFLiteTensor& tensor) {
  tensor.name = table.text(field::tensorName, maximumName);
  std::size_t count = 1;
  for (const std::int32_t size : table.integers(field::tensorShape, maximumRank)) {
    if (size <= 0 || static_cast<std::size_t>(size) > maximumElements / count) {
      return "tensor \"" + tensor.name + "\" has a size of " + std::to_string(size);
    }
    count *= static_cast<std::size_t>(size);
    tensor.shape.push_back(static_cast<std::size_t>(size));
  }
  const auto type = table.number<std::uint8_t>(field::tensorType, 0);
  if (type > static_cast<std::uint8_t>(TFLiteType::int32)) {
    return "tensor \"" + tensor.name + "\" is of type " + std::to_string(type) +
           "; only 16- and 32-bit floats and 32-bit integers are understood";
  }
  tensor.type = static_cast<TFLiteType>(type);
  const auto buffer = table.number<std::uint32_t>(field::tensorBuffer, 0);
  if (buffer >= buffers.size()) return "tensor \"" + tensor.name + "\" names a buffer that is not there";
  tensor.data = buffers[buffer].bytes(field::bufferData);
  const std::size_t elementSize = tensor.type == TFLiteType::float16 ? 2 : 4;
  if (tensor.isConstant() && tensor.data.size() != count * elementSize) {
    return "tensor \"" + tensor.name + "\" holds " + std::to_string(tensor.data.size()) +
           " bytes where its shape asks for " + std::to_string(count * elementSize);
  }
  return std::nullopt;
}

/// The code was one byte wide before the format grew; the larger of the two is the code.
std::int32_t codeOf(const FlatTable& table) {
  return std::max<std::int32_t>(table.number<std::int8_t>(field::codeByte, 0),
                                table.number<std::int32_t>(field::codeNumber, 0));
}

/// Fields of the options that kinds of operators keep at different places; 0 options mean defaults.
struct OptionFields {
  std::size_t activation;
  std::optional<std::size_t> dilation;
};

std::optional<std::string> readConvolution(const FlatTable& options, const OptionFields& fields,
                                           TFLiteOperator& op) {
  const auto padding = options.number<std::uint8_t>(0, 0);
  if (padding > 1) return "a convolution has an unknown padding";
  op.samePadding = padding == 0;
  const std::int32_t sizes[] = {options.number<std::int32_t>(2, 0), options.number<std::int32_t>(1, 0),
                                options.number<std::int32_t>(*fields.dilation + 1, 1),
                                options.number<std::int32_t>(*fields.dilation, 1)};
  for (const std::int32_t size : sizes) {
    if (size < 1 || size > 1024) return "a convolution has a stride or dilation of " + std::to_string(size);
  }
  op.stride = {static_cast<std::size_t>(sizes[0]), static_cast<std::size_t>(sizes[1])};
  op.dilation = {static_cast<std::size_t>(sizes[2]), static_cast<std::size_t>(sizes[3])};
  return std::nullopt;
}

std::optional<std::string> readOptions(const FlatTable& options, TFLiteOperator& op) {
  std::optional<std::size_t> activationField;
  switch (op.code) {
    case TFLiteCode::conv2D:
      activationField = 3;
      if (auto fault = readConvolution(options, {3, 4}, op)) return fault;
      break;
    case TFLiteCode::depthwiseConv2D:
      activationField = 4;
      if (auto fault = readConvolution(options, {4, 5}, op)) return fault;
      break;
    case TFLiteCode::concatenation:
      activationField = 1;
      op.axis = options.number<std::int32_t>(0, 0);
      break;
    case TFLiteCode::add:
      activationField = 0;
      break;
    case TFLiteCode::dequantize:
    case TFLiteCode::reshape:
      return std::nullopt;
  }
  const auto activation = options.number<std::uint8_t>(*activationField, 0);
  if (activation != 0 && activation != 1 && activation != 3) {
    return "activation " + std::to_string(activation) + " is not understood; none, ReLU and ReLU6 are";
  }
  op.activation = static_cast<TFLiteActivation>(activation);
  return std::nullopt;
}

std::size_t inputsNeeded(TFLiteCode code) {
  switch (code) {
    case TFLiteCode::conv2D:
    case TFLiteCode::depthwiseConv2D:
      return 3;
    case TFLiteCode::add:
      return 2;
    case TFLiteCode::concatenation:
    case TFLiteCode::dequantize:
    case TFLiteCode::reshape:
      return 1;
  }
  return 1;
}

/// Reads one operator; `known` says which tensors have a value by the time it runs and gains its output.
std::optional<std::string> readOperator(const FlatTable& table, const std::vector<std::int32_t>& codes,
                                        std::vector<bool>& known, TFLiteOperator& op) {
  const auto codeIndex = table.number<std::uint32_t>(field::operatorCode, 0);
  if (codeIndex >= codes.size()) return "an operator has no code";
  switch (codes[codeIndex]) {
    case 0:
    case 2:
    case 3:
    case 4:
    case 6:
    case 22:
      op.code = static_cast<TFLiteCode>(codes[codeIndex]);
      break;
    default:
      return "operator " + std::to_string(codes[codeIndex]) +
             " is not understood; a network of convolutions, additions, reshapes and concatenations is "
             "needed";
  }
  for (const std::int32_t index : table.integers(field::operatorInputs, maximumInputs)) {
    if (index < 0 || static_cast<std::size_t>(index) >= known.size() ||
        !known[static_cast<std::size_t>(index)]) {
      return "an operator reads tensor " + std::to_string(index) + ", which has no value then";
    }
    op.inputs.push_back(static_cast<std::size_t>(index));
  }
  if (op.inputs.size() < inputsNeeded(op.code)) return "an operator lacks an input";
  const auto outputs = table.integers(field::operatorOutputs, maximumInputs);
  if (outputs.size() != 1 || outputs[0] < 0 || static_cast<std::size_t>(outputs[0]) >= known.size() ||
      known[static_cast<std::size_t>(outputs[0])]) {
    return "an operator does not write one new tensor";
  }
  op.output = static_cast<std::size_t>(outputs[0]);
  known[op.output] = true;
  return readOptions(table.table(field::operatorOptions), op);
}

std::optional<std::string> readIndices(const std::vector<std::int32_t>& indices,
                                       const std::vector<bool>& known, std::vector<std::size_t>& result) {
  for (const std::int32_t index : indices) {
    if (index < 0 || static_cast<std::size_t>(index) >= known.size() ||
        !known[static_cast<std::size_t>(index)]) {
      return "the graph names tensor " + std::to_string(index) + ", which has no value";
    }
    result.push_back(static_cast<std::size_t>(index));
  }
  return std::nullopt;
}

std::optional<std::string> readGraph(const FlatTable& root, TFLiteModel& model) {
  const auto graphs = root.tables(field::modelGraphs, maximumEntries);
  if (graphs.size() != 1) return std::to_string(graphs.size()) + " graphs where one is needed";
  const auto buffers = root.tables(field::modelBuffers, maximumEntries);
  std::vector<std::int32_t> codes;
  for (const FlatTable& table : root.tables(field::modelCodes, maximumEntries))
    codes.push_back(codeOf(table));

  const FlatTable& graph = graphs[0];
  for (const FlatTable& table : graph.tables(field::graphTensors, maximumEntries)) {
    if (auto fault = readTensor(table, buffers, model.tensors.emplace_back())) return fault;
  }
  std::vector<bool> known;
  for (const TFLiteTensor& tensor : model.tensors) known.push_back(tensor.isConstant());
  for (const std::int32_t index : graph.integers(field::graphInputs, maximumInputs)) {
    if (index >= 0 && static_cast<std::size_t>(index) < known.size())
      known[static_cast<std::size_t>(index)] = true;
  }
  if (auto fault = readIndices(graph.integers(field::graphInputs, maximumInputs), known, model.inputs))
    return fault;
  for (const FlatTable& table : graph.tables(field::graphOperators, maximumEntries)) {
    if (auto fault = readOperator(table, codes, known, model.operators.emplace_back())) return fault;
  }
  return readIndices(graph.integers(field::graphOutputs, maximumInputs), known, model.outputs);
}

}  // namespace

std::size_t TFLiteTensor::count() const {
  std::size_t count = 1;
  for (const std::size_t size : shape) count *= size;
  return count;
}

std::vector<float> TFLiteTensor::floats() const {
  std::vector<float> result(count());
  for (std::size_t i = 0; i < result.size(); ++i) {
    if (type == TFLiteType::float16) {
      std::uint16_t half = 0;
      std::memcpy(&half, data.data() + 2 * i, sizeof half);
      result[i] = floatFromHalf(half);
    } else {
      std::memcpy(&result[i], data.data() + 4 * i, sizeof(float));
    }
  }
  return result;
}

float floatFromHalf(std::uint16_t half) {
  const std::uint32_t sign = static_cast<std::uint32_t>(half & 0x8000U) << 16;
  const std::uint32_t exponent = (half >> 10) & 0x1fU;
  const std::uint32_t fraction = half & 0x3ffU;
  if (exponent == 0) {
    const float magnitude = std::ldexp(static_cast<float>(fraction), -24);
    return sign != 0 ? -magnitude : magnitude;
  }
  const std::uint32_t widened = exponent == 31 ? 255U : exponent + 112U;
  return std::bit_cast<float>(sign | widened << 23 | fraction << 13);
}

Result<TFLiteModel> readTFLite(std::span<const std::uint8_t> file, const std::string& name) {
  constexpr std::string_view mark = "TFL3";
  if (file.size() < 8 || std::memcmp(file.data() + 4, mark.data(), mark.size()) != 0) {
    return Failure{name + ": not a TensorFlow Lite file"};
  }
  FlatFile flat(file);
  TFLiteModel model;
  const auto fault = readGraph(flat.root(), model);
  // A broken file also lacks things; that it is broken is the better thing to say.
  if (!flat.fault().empty()) return Failure{name + ": damaged TensorFlow Lite file: " + flat.fault()};
  if (fault) return Failure{name + ": " + *fault};
  return model;
}

}  // namespace geoloom::tools

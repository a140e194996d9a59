#include "tools/model/SSDCompiler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>
#include <variant>

#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"

#include "tools/model/ONNX.h"

namespace geoloom::tools {

namespace {

constexpr const char* INPUT_NODE = "Preprocessor/sub";
constexpr const char* BOXES_NODE = "concat";
constexpr const char* SCORES_NODE = "concat_1";
constexpr const char* ANCHORS_NODE = "Postprocessor/ExpandDims";

/// Bounds the depth of the recursion; detectors have a few hundred.
constexpr std::size_t MAXIMUM_OPERATORS = 1000;
/// Of coordinates about 1 that were computed in single precision.
constexpr float ANCHOR_TOLERANCE = 1e-5F;

using Sizes = std::vector<std::size_t>;
using Integers = std::vector<std::int64_t>;

Integers integersOf(const Sizes& sizes) {
  return {sizes.begin(), sizes.end()};
}

/// A convolution, plain or depthwise, padded so that its output covers its input. Its output channels can
/// still be scaled and shifted.
struct Convolution {
  std::string input;
  Sizes kernel;  ///< rows, columns
  Sizes stride;
  std::size_t groups = 1;
  std::size_t inputs = 1;       ///< channels that one output channel reads
  std::vector<double> weights;  ///< row, column, input, output
  std::vector<double> bias;     ///< one for each output channel
  std::string addend;           ///< image that is added to the output; empty for none
};

struct Image {
  Sizes shape;                             ///< 1, rows, columns, channels
  std::optional<Convolution> convolution;  ///< absent behind an activation
  bool isWritten = false;                  ///< into the ONNX graph, under the node's name
};

/// The rows of an output that one layer of anchors makes: for each cell its anchors one after the other.
struct Head {
  const Convolution* convolution = nullptr;  ///< of an image in values_
  std::size_t cells = 0;
  std::size_t anchors = 0;  ///< in a cell
};
struct Rows {
  std::vector<Head> heads;
  std::size_t columns = 0;
};

/// What a node computes: an image, rows of an output, or a shape.
using Value = std::variant<std::monostate, Image, Rows, Integers>;

class Compiler {
 public:
  explicit Compiler(TFJSModel model) : model_(std::move(model)) {}
  CompiledSSD compile();

 private:
  // Reading of nodes and their inputs. What is not there or of another kind is refused.
  [[nodiscard]] const TFJSNode& node(const std::string& name) const;
  [[nodiscard]] std::string inputName(const std::string& node, std::size_t index) const;
  [[nodiscard]] const TFJSConstant* constantAt(const std::string& node, std::size_t index) const;
  [[nodiscard]] const std::vector<float>& channelsAt(const std::string& node, std::size_t index,
                                                     std::size_t count) const;
  Image& imageAt(const std::string& node, std::size_t index);
  Integers integersAt(const std::string& node, std::size_t index);
  Value& valueOf(const std::string& name);

  // Operators.
  Value evaluate(const std::string& name);
  Image convolve(const std::string& name, bool depthwise);
  Image multiply(const std::string& name);
  Image normalize(const std::string& name);
  Image add(const std::string& name);
  Image addImages(const std::string& name);
  Image clip(const std::string& name);
  Integers slice(const std::string& name);
  Rows reshape(const std::string& name);
  Rows concatenate(const std::string& name);
  Image scaled(const std::string& name, std::span<const double> scale, std::span<const double> shift);

  // Writing.
  const std::string& written(const std::string& name);
  void writeConvolution(const std::string& name, const Convolution& convolution,
                        std::span<const std::size_t> channels);
  void writeOutput(const std::string& name, const Rows& rows,
                   std::span<const std::vector<std::size_t>> orders, const std::string& output);
  [[nodiscard]] std::vector<std::vector<std::size_t>> anchorOrders(const Rows& rows) const;
  void readInput();

  TFJSModel model_;
  std::map<std::string, Value> values_;  ///< std::monostate while a node is evaluated
  ONNXGraph graph_;
  CompiledSSD result_;
};

const TFJSNode& Compiler::node(const std::string& name) const {
  const auto found = model_.nodes.find(name);
  if (found == model_.nodes.end()) refuseNode(name, "it is not in the graph");
  return found->second;
}

std::string Compiler::inputName(const std::string& name, std::size_t index) const {
  const auto& inputs = node(name).inputs;
  if (index >= inputs.size()) refuseNode(name, "it lacks an input");
  std::string input = inputs[index];
  if (input.ends_with(":0")) input.resize(input.size() - 2);
  if (input.starts_with('^') || input.find(':') != std::string::npos)
    refuseNode(name, fmt::format("its input \"{}\" is control flow or a second output", input));
  return input;
}

/// Null for what is computed.
const TFJSConstant* Compiler::constantAt(const std::string& name, std::size_t index) const {
  const std::string input = inputName(name, index);
  const auto found = model_.constants.find(input);
  if (found != model_.constants.end()) return &found->second;
  if (node(input).op == "Const") refuseNode(input, "it is missing in the weights manifest");
  return nullptr;
}

/// A constant of one float for each channel.
const std::vector<float>& Compiler::channelsAt(const std::string& name, std::size_t index,
                                               std::size_t count) const {
  const TFJSConstant* constant = constantAt(name, index);
  if (constant == nullptr || constant->floats.size() != count || constant->shape.empty() ||
      constant->shape.back() != count)
    refuseNode(name, fmt::format("its input {} is not a constant of {} floats", index, count));
  return constant->floats;
}

Image& Compiler::imageAt(const std::string& name, std::size_t index) {
  auto* image = std::get_if<Image>(&valueOf(inputName(name, index)));
  if (image == nullptr) refuseNode(name, fmt::format("its input {} is not an image", index));
  return *image;
}

Integers Compiler::integersAt(const std::string& name, std::size_t index) {
  if (const TFJSConstant* constant = constantAt(name, index); constant != nullptr)
    return {constant->integers.begin(), constant->integers.end()};  // none if it is of floats
  const auto* integers = std::get_if<Integers>(&valueOf(inputName(name, index)));
  if (integers == nullptr) refuseNode(name, fmt::format("its input {} is not a shape", index));
  return *integers;
}

Value& Compiler::valueOf(const std::string& name) {
  const auto [place, isNew] = values_.try_emplace(name);
  Value& value = place->second;
  if (!isNew) {
    if (std::holds_alternative<std::monostate>(value)) refuseNode(name, "it is part of a loop");
    return value;
  }
  if (values_.size() > MAXIMUM_OPERATORS)
    refuseNode(name, fmt::format("there are more than {} operators", MAXIMUM_OPERATORS));
  return value = evaluate(name);
}

Value Compiler::evaluate(const std::string& name) {
  if (name == INPUT_NODE) return Image{{1, result_.side, result_.side, 3}, {}, true};
  const std::string& op = node(name).op;
  if (op == "Conv2D" || op == "DepthwiseConv2dNative") return convolve(name, op != "Conv2D");
  if (op == "Mul") return multiply(name);
  if (op == "FusedBatchNorm") return normalize(name);
  if (op == "Add" || op == "AddN" || op == "BiasAdd") return add(name);
  if (op == "Relu6") return clip(name);
  if (op == "Shape") return integersOf(imageAt(name, 0).shape);
  if (op == "StridedSlice") return slice(name);
  if (op == "Pack") {
    Integers packed;
    for (std::size_t i = 0; i < node(name).inputs.size(); ++i) {
      const Integers number = integersAt(name, i);
      if (number.size() != 1) refuseNode(name, fmt::format("its input {} is not one number", i));
      packed.push_back(number[0]);
    }
    return packed;
  }
  if (op == "Reshape") return reshape(name);
  if (op == "ConcatV2") return concatenate(name);
  refuseNode(name, fmt::format("operator {} is not understood", op));
}

Image Compiler::convolve(const std::string& name, bool depthwise) {
  const JSONMember& attributes = node(name).attributes;
  const auto sides = [&](const char* attribute) {
    const auto list = attributes[attribute]["list"]["i"].list();
    Sizes result;
    for (const JSONMember& number : list) result.push_back(static_cast<std::size_t>(integerOf(number)));
    if (result.size() != 4 || result[0] != 1 || result[3] != 1 || result[1] - 1 > 15 || result[2] - 1 > 15)
      refuseNode(name, fmt::format("its {} are not 1, rows, columns, 1", attribute));
    return Sizes{result[1], result[2]};
  };
  if (textOf(attributes["padding"]["s"]) != "SAME" || textOf(attributes["data_format"]["s"]) != "NHWC" ||
      sides("dilations") != Sizes{1, 1})
    refuseNode(name, "only convolutions with padding SAME, format NHWC and no dilation are understood");

  const Image& from = imageAt(name, 0);
  const TFJSConstant* filter = constantAt(name, 1);
  if (filter == nullptr || filter->floats.empty() || filter->shape.size() != 4 ||
      filter->shape[2] != from.shape[3])
    refuseNode(name, fmt::format("its weights are not a constant for {} channels", from.shape[3]));
  const Sizes& shape = filter->shape;  // rows, columns, inputs, outputs; depthwise outputs of one input
  const std::size_t outputs = depthwise ? shape[2] * shape[3] : shape[3];

  Convolution result;
  result.input = written(inputName(name, 0));
  result.kernel = {shape[0], shape[1]};
  result.stride = sides("strides");
  result.groups = depthwise ? shape[2] : 1;
  result.inputs = depthwise ? 1 : shape[2];
  result.weights.assign(filter->floats.begin(), filter->floats.end());
  result.bias.assign(outputs, 0);
  const auto after = [&](std::size_t side) { return (from.shape[1 + side] - 1) / result.stride[side] + 1; };
  Sizes size = {1, after(0), after(1), outputs};
  return {std::move(size), std::move(result)};
}

/// The convolution that is input 0 with scaled and shifted output channels.
Image Compiler::scaled(const std::string& name, std::span<const double> scale,
                       std::span<const double> shift) {
  Image image = imageAt(name, 0);
  if (!image.convolution || !image.convolution->addend.empty())
    refuseNode(name, "it does not stand directly behind a convolution");
  Convolution& convolution = *image.convolution;
  const std::size_t channels = scale.size();
  for (std::size_t i = 0; i < convolution.weights.size(); ++i) convolution.weights[i] *= scale[i % channels];
  for (std::size_t i = 0; i < channels; ++i) convolution.bias[i] = convolution.bias[i] * scale[i] + shift[i];
  image.isWritten = false;
  return image;
}

Image Compiler::multiply(const std::string& name) {
  const std::size_t channels = imageAt(name, 0).shape[3];
  const auto& factors = channelsAt(name, 1, channels);
  return scaled(name, std::vector<double>(factors.begin(), factors.end()), std::vector<double>(channels));
}

Image Compiler::normalize(const std::string& name) {
  const std::size_t channels = imageAt(name, 0).shape[3];
  const auto& gamma = channelsAt(name, 1, channels);
  const auto& beta = channelsAt(name, 2, channels);
  const auto& mean = channelsAt(name, 3, channels);
  const auto& variance = channelsAt(name, 4, channels);
  const double epsilon = node(name).attributes["epsilon"]["f"].number();
  std::vector<double> scale(channels);
  std::vector<double> shift(channels);
  for (std::size_t i = 0; i < channels; ++i) {
    scale[i] = gamma[i] / std::sqrt(variance[i] + epsilon);
    shift[i] = beta[i] - mean[i] * scale[i];
  }
  return scaled(name, scale, shift);
}

/// Adds a constant, in either place, or two images.
Image Compiler::add(const std::string& name) {
  if (node(name).inputs.size() != 2) refuseNode(name, "it does not add two inputs");
  const std::size_t constant = constantAt(name, 0) != nullptr ? 0 : 1;
  if (constantAt(name, constant) == nullptr) return addImages(name);
  Image image = imageAt(name, 1 - constant);
  if (!image.convolution) refuseNode(name, "it adds a constant to something other than a convolution");
  const auto& shift = channelsAt(name, constant, image.shape[3]);
  std::transform(shift.begin(), shift.end(), image.convolution->bias.begin(), image.convolution->bias.begin(),
                 std::plus<double>());
  image.isWritten = false;
  return image;
}

/// The sum stays open for constants: one of its terms is a convolution that is not written yet.
Image Compiler::addImages(const std::string& name) {
  for (const std::size_t open : {std::size_t{0}, std::size_t{1}}) {
    imageAt(name, 1 - open);  // may write the other
    Image image = imageAt(name, open);
    if (!image.convolution || image.isWritten || !image.convolution->addend.empty()) continue;
    if (imageAt(name, 1 - open).shape != image.shape) refuseNode(name, "it adds images of different shapes");
    image.convolution->addend = written(inputName(name, 1 - open));
    return image;
  }
  refuseNode(name, "it adds two images of which neither is the output of a convolution of its own");
}

Image Compiler::clip(const std::string& name) {
  const Sizes shape = imageAt(name, 0).shape;
  graph_.node("Clip", {written(inputName(name, 0))}, name, ONNXAttributes().real("min", 0).real("max", 6));
  return {shape, {}, true};
}

Integers Compiler::slice(const std::string& name) {
  for (const char* mask : {"begin_mask", "end_mask", "ellipsis_mask", "new_axis_mask"}) {
    const JSONMember value = node(name).attributes[mask]["i"];
    if (value.isPresent() && integerOf(value) != 0)
      refuseNode(name, fmt::format("its {} is not understood", mask));
  }
  const Integers from = integersAt(name, 0);
  const Integers begin = integersAt(name, 1);
  const Integers end = integersAt(name, 2);
  if (begin.size() != 1 || end.size() != 1 || begin[0] < 0 || begin[0] > end[0] ||
      end[0] > std::ssize(from) || integersAt(name, 3) != Integers{1})
    refuseNode(name, "its bounds are not understood");
  return {from.begin() + begin[0], from.begin() + end[0]};
}

/// Only the heads are reshaped, to [1, anchors of the layer, (1,) columns].
Rows Compiler::reshape(const std::string& name) {
  const Image& image = imageAt(name, 0);
  Integers target = integersAt(name, 1);
  if (!image.convolution || !image.convolution->addend.empty())
    refuseNode(name, "it does not stand directly behind a convolution; raw scores and encodings are needed");
  const std::size_t cells = image.shape[1] * image.shape[2];
  const std::size_t channels = image.shape[3];
  if (target.size() == 4 && target[2] == 1) target.erase(target.begin() + 2);
  if (target.size() != 3 || target[0] != 1 || target[2] < 1 ||
      channels % static_cast<std::size_t>(target[2]) != 0 ||
      target[1] != static_cast<std::int64_t>(cells * channels) / target[2])
    refuseNode(name, fmt::format("[{}] is not the shape of the rows of {} cells with {} channels",
                                 fmt::join(target, ", "), cells, channels));
  const auto columns = static_cast<std::size_t>(target[2]);
  return {{{&*image.convolution, cells, channels / columns}}, columns};
}

Rows Compiler::concatenate(const std::string& name) {
  const std::size_t parts = node(name).inputs.size() - 1;
  if (node(name).inputs.size() < 2 || integersAt(name, parts) != Integers{1})
    refuseNode(name, "it does not join rows");
  Rows result;
  for (std::size_t i = 0; i < parts; ++i) {
    const auto* rows = std::get_if<Rows>(&valueOf(inputName(name, i)));
    if (rows == nullptr || (i > 0 && rows->columns != result.columns))
      refuseNode(name, fmt::format("its input {} is not rows like those before", i));
    result.columns = rows->columns;
    result.heads.insert(result.heads.end(), rows->heads.begin(), rows->heads.end());
    if (result.heads.size() > SSDAnchors::COUNT) refuseNode(name, "there are more rows than anchors");
  }
  return result;
}

/// Writes an image, unless that has been done, and gives its name in the ONNX graph.
const std::string& Compiler::written(const std::string& name) {
  Image& image = std::get<Image>(values_.at(name));
  if (!image.isWritten) {
    std::vector<std::size_t> channels(image.shape[3]);
    std::iota(channels.begin(), channels.end(), std::size_t{0});
    writeConvolution(name, *image.convolution, channels);
    image.isWritten = true;
  }
  return values_.find(name)->first;
}

/// Writes a convolution whose output channel i is the source's channel channels[i]. A name with a colon
/// cannot be that of another node.
void Compiler::writeConvolution(const std::string& name, const Convolution& convolution,
                                std::span<const std::size_t> channels) {
  const std::size_t area = convolution.kernel[0] * convolution.kernel[1];
  const std::size_t outputs = convolution.bias.size();
  std::vector<float> weights;
  std::vector<float> bias;
  for (const std::size_t channel : channels) {
    bias.push_back(static_cast<float>(convolution.bias[channel]));
    for (std::size_t input = 0; input < convolution.inputs; ++input) {
      for (std::size_t place = 0; place < area; ++place)
        weights.push_back(static_cast<float>(
            convolution.weights[(place * convolution.inputs + input) * outputs + channel]));
    }
  }
  const auto isFinite = [](float w) { return std::isfinite(w); };
  if (!std::all_of(weights.begin(), weights.end(), isFinite) ||
      !std::all_of(bias.begin(), bias.end(), isFinite))
    refuseNode(name, "a weight with what is folded into it is not a finite number");

  const Integers kernel = integersOf(convolution.kernel);
  ONNXAttributes attributes;
  attributes.numbers("kernel_shape", kernel).numbers("strides", integersOf(convolution.stride));
  attributes.number("group", static_cast<std::int64_t>(convolution.groups)).text("auto_pad", "SAME_UPPER");
  const Integers shape =
      integersOf({channels.size(), convolution.inputs, convolution.kernel[0], convolution.kernel[1]});
  const std::string output = convolution.addend.empty() ? name : name + ":convolution";
  graph_.node("Conv",
              {convolution.input, graph_.constant(name + ":weights", shape, weights),
               graph_.constant(name + ":bias", integersOf({channels.size()}), bias)},
              output, attributes);
  if (!convolution.addend.empty()) graph_.node("Add", {output, convolution.addend}, name);
}

/// For each layer of anchors, which of a cell's anchors in the file is the kit's first, second and so on.
std::vector<std::vector<std::size_t>> Compiler::anchorOrders(const Rows& rows) const {
  const auto found = model_.constants.find(ANCHORS_NODE);
  const auto& kit = SSDAnchors::anchors();
  if (found == model_.constants.end() || found->second.floats.size() != 4 * kit.size())
    refuseNode(ANCHORS_NODE, fmt::format("it is not a table of {} anchors", kit.size()));
  const auto isSame = [&](std::size_t fileRow, std::size_t kitRow) {
    const float* corners = &found->second.floats[4 * fileRow];
    return std::equal(kit[kitRow].begin(), kit[kitRow].end(), corners,
                      [](float a, float b) { return std::abs(a - b) < ANCHOR_TOLERANCE; });
  };
  std::vector<std::vector<std::size_t>> orders;
  std::size_t start = 0;
  for (const Head& head : rows.heads) {
    auto& order = orders.emplace_back();
    const std::size_t end = start + head.cells * head.anchors;
    if (end > kit.size()) refuseNode(ANCHORS_NODE, "there are more rows than anchors");
    for (std::size_t wanted = 0; wanted < head.anchors; ++wanted) {
      std::size_t candidate = 0;
      const auto isEverywhere = [&] {
        for (std::size_t cell = start; cell < end; cell += head.anchors)
          if (!isSame(cell + candidate, cell + wanted)) return false;
        return true;
      };
      while (candidate < head.anchors && !isEverywhere()) ++candidate;
      if (candidate == head.anchors)
        refuseNode(ANCHORS_NODE, fmt::format("no order makes it the kit's table (row {})", start + wanted));
      order.push_back(candidate);
    }
    start = end;
  }
  if (start != kit.size()) refuseNode(ANCHORS_NODE, "there are fewer rows than anchors");
  return orders;
}

/// Writes [columns, anchors]. Channels come out by column first and anchor second, so that what is left is
/// to bring the anchors of a cell next to each other.
void Compiler::writeOutput(const std::string& name, const Rows& rows,
                           std::span<const std::vector<std::size_t>> orders, const std::string& output) {
  std::vector<std::string> layers;
  for (std::size_t layer = 0; layer < rows.heads.size(); ++layer) {
    const Head& head = rows.heads[layer];
    std::vector<std::size_t> channels;
    for (std::size_t column = 0; column < rows.columns; ++column) {
      for (const std::size_t anchor : orders[layer]) channels.push_back(anchor * rows.columns + column);
    }
    const std::string part = fmt::format("{}:layer{}", name, layer);
    writeConvolution(part, *head.convolution, channels);
    const Integers split = integersOf({1, rows.columns, head.anchors, head.cells});
    const Integers flat = integersOf({1, rows.columns, 1, head.anchors * head.cells});
    graph_.node("Reshape", {part, graph_.constant(part + ":split", split)}, part + ":cells");
    graph_.node("Transpose", {part + ":cells"}, part + ":anchors",
                ONNXAttributes().numbers("perm", Integers{0, 1, 3, 2}));
    layers.push_back(
        graph_.node("Reshape", {part + ":anchors", graph_.constant(part + ":flat", flat)}, part + ":rows"));
  }
  graph_.node("Concat", layers, name, ONNXAttributes().number("axis", 3));
  const Integers shape = integersOf({rows.columns, SSDAnchors::COUNT});
  graph_.node("Reshape", {name, graph_.constant(name + ":shape", shape)}, output);
  graph_.output(output, shape);
}

/// The input is the picture's bytes times a constant less another.
void Compiler::readInput() {
  const auto scalar = [&](const std::string& name, std::size_t index) {
    const TFJSConstant* constant = constantAt(name, index);
    if (constant == nullptr || constant->floats.size() != 1)
      refuseNode(name, fmt::format("its input {} is not a constant number", index));
    return double{constant->floats[0]};
  };
  if (node(INPUT_NODE).op != "Sub") refuseNode(INPUT_NODE, "it is not the operator Sub");
  result_.offset = -scalar(INPUT_NODE, 1);
  const std::string product = inputName(INPUT_NODE, 0);
  if (node(product).op != "Mul") refuseNode(product, "it is not the operator Mul");
  const double factor = scalar(product, constantAt(product, 0) != nullptr ? 0 : 1);
  if (factor == 0) refuseNode(product, "it multiplies with 0");
  // Seven digits are what a float knows: 127.5 and not 127.49999247.
  result_.divisor = std::stod(fmt::format("{:.7g}", 1 / factor));
}

CompiledSSD Compiler::compile() {
  readInput();
  graph_.input(CompiledSSD::INPUT, integersOf({1, 3, result_.side, result_.side}));
  graph_.node("Identity", {CompiledSSD::INPUT}, INPUT_NODE);

  std::vector<std::vector<std::size_t>> orders;
  const std::tuple<const char*, std::size_t, const char*> outputs[] = {
      {SCORES_NODE, CompiledSSD::CLASSES, CompiledSSD::SCORES}, {BOXES_NODE, 4, CompiledSSD::BOXES}};
  for (const auto& [name, columns, output] : outputs) {
    const auto* rows = std::get_if<Rows>(&valueOf(name));
    if (rows == nullptr || rows->columns != columns)
      refuseNode(name, fmt::format("it is not rows of {} columns", columns));
    writeOutput(name, *rows, anchorOrders(*rows), output);
  }
  result_.onnx = graph_.model("feature_model");
  return std::move(result_);
}

}  // namespace

base::Result<CompiledSSD> compileSSD(std::string_view modelJSON, const ShardReader& readShard,
                                     const std::string& name) {
  return readJSON<CompiledSSD>(
      modelJSON, name, [&](const JSONMember& root) { return Compiler(readTFJS(root, readShard)).compile(); });
}

}  // namespace geoloom::tools

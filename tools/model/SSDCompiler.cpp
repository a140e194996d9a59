#include "tools/model/SSDCompiler.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <map>
#include <numeric>
#include <optional>

#include "tools/model/ONNX.h"

namespace geoloom::tools {

using base::Failure;
using base::Result;

namespace {

constexpr float scoreWithoutSource = -20.0F;
constexpr std::array<std::size_t, 6> grids = {19, 10, 5, 3, 2, 1};

/// The source's training tools append the interpolated scale to a cell's six anchors, the kit has it second.
constexpr std::array<std::size_t, 6> kitOrderOfSix = {0, 5, 1, 2, 3, 4};

/// Labels of the Open Images collection that the kit knows under another name.
const std::map<std::string, std::string, std::less<>>& otherNames() {
  static const std::map<std::string, std::string, std::less<>> names = {
      {"cattle", "cow"},          {"mug", "cup"},           {"coffee cup", "cup"},
      {"table", "dining table"},  {"desk", "dining table"}, {"computer mouse", "mouse"},
      {"computer monitor", "tv"},
  };
  return names;
}

std::int64_t signedSize(std::size_t size) {
  return static_cast<std::int64_t>(size);
}

std::string kitName(std::string label) {
  std::transform(label.begin(), label.end(), label.begin(), [](unsigned char c) { return std::tolower(c); });
  const auto other = otherNames().find(label);
  return other == otherNames().end() ? label : other->second;
}

/// Which labels stand for which class.
struct ClassMap {
  std::vector<std::size_t> used;                  ///< labels that are kept, by their index
  std::vector<std::vector<std::size_t>> sources;  ///< for every class, places in `used`
  std::vector<std::string> unused;
};

ClassMap mapClasses(std::span<const std::string> labels, std::span<const std::string> classNames) {
  ClassMap map;
  map.sources.resize(classNames.size());
  for (std::size_t label = 0; label < labels.size(); ++label) {
    const auto place = std::find(classNames.begin(), classNames.end(), kitName(labels[label]));
    if (place == classNames.end() || *place == "???") {
      if (label > 0) map.unused.push_back(labels[label]);
      continue;
    }
    map.sources[static_cast<std::size_t>(place - classNames.begin())].push_back(map.used.size());
    map.used.push_back(label);
  }
  return map;
}

/// One output of the source: the convolutions whose results, cell after cell, make its rows.
struct Heads {
  std::vector<const TFLiteOperator*> convolutions;  ///< layer after layer
  std::size_t values = 0;                           ///< per anchor: coordinates or labels
};

class Compiler {
 public:
  explicit Compiler(const TFLiteModel& model) : model_(model), producer_(model.tensors.size(), nullptr) {
    for (const TFLiteOperator& op : model.operators) producer_[op.output] = &op;
  }

  Result<CompiledSSD> run(std::span<const std::string> labels, const ClassMap& classes);

 private:
  // Each of these gives the reason when it cannot go on.
  using Fault = std::optional<std::string>;

  [[nodiscard]] const TFLiteTensor& tensor(std::size_t index) const { return model_.tensors[index]; }
  Fault findOutputs(std::size_t labels);
  Fault findHeads(std::size_t output, std::size_t values, Heads& heads) const;
  Fault findHead(std::size_t index, Heads& heads) const;
  Fault checkGrids(const Heads& heads) const;
  [[nodiscard]] const TFLiteOperator* producerBehindReshapes(std::size_t index) const;

  Fault writeBody();
  Fault writeConvolution(const TFLiteOperator& op, const std::vector<std::size_t>& channels,
                         const std::string& output);
  Fault writeAddition(const TFLiteOperator& op);
  void writeActivation(TFLiteActivation activation, const std::string& from, const std::string& output);
  Fault writeHeads(const Heads& heads, const std::vector<std::size_t>& kept, const std::string& output);
  void writeScores(const ClassMap& classes, const std::string& kept);

  [[nodiscard]] const TFLiteTensor* constant(std::size_t index) const;
  [[nodiscard]] bool isComputed(std::size_t index) const {
    return index == model_.inputs[0] || producer_[index] != nullptr;
  }
  [[nodiscard]] static std::string valueName(std::size_t index) { return "value" + std::to_string(index); }

  const TFLiteModel& model_;
  std::vector<const TFLiteOperator*> producer_;  ///< of every tensor
  Heads boxes_, scores_;
  std::size_t anchors_ = 0;
  ONNXGraph graph_;
};

/// The constant behind a tensor, through its widening to 32 bits; null for what is computed.
const TFLiteTensor* Compiler::constant(std::size_t index) const {
  const TFLiteOperator* op = producer_[index];
  if (op != nullptr && op->code == TFLiteCode::dequantize) index = op->inputs[0];
  const TFLiteTensor& found = tensor(index);
  return found.isConstant() && found.type != TFLiteType::int32 ? &found : nullptr;
}

const TFLiteOperator* Compiler::producerBehindReshapes(std::size_t index) const {
  // Each step goes to an operator that ran earlier, so that this ends.
  const TFLiteOperator* op = producer_[index];
  while (op != nullptr && op->code == TFLiteCode::reshape &&
         tensor(op->inputs[0]).count() == tensor(index).count()) {
    index = op->inputs[0];
    op = producer_[index];
  }
  return op;
}

Compiler::Fault Compiler::findHead(std::size_t index, Heads& heads) const {
  const TFLiteOperator* head = producerBehindReshapes(index);
  if (head == nullptr || head->code != TFLiteCode::conv2D || head->activation != TFLiteActivation::none) {
    return "an output does not come from plain convolutions; raw logits and encodings are needed";
  }
  const auto& shape = tensor(head->output).shape;
  if (shape.size() != 4 || shape[3] % heads.values != 0) return "a head has an unexpected shape";
  heads.convolutions.push_back(head);
  return std::nullopt;
}

Compiler::Fault Compiler::findHeads(std::size_t output, std::size_t values, Heads& heads) const {
  heads.values = values;
  const TFLiteOperator* joined = producerBehindReshapes(output);
  if (joined == nullptr || joined->code != TFLiteCode::concatenation || joined->axis != 1 ||
      joined->activation != TFLiteActivation::none) {
    return "an output does not join the heads of several layers";
  }
  for (const std::size_t part : joined->inputs) {
    if (tensor(part).shape.empty() || tensor(part).shape[0] != 1) return "a head has an unexpected shape";
    if (auto fault = findHead(part, heads)) return fault;
  }
  return checkGrids(heads);
}

Compiler::Fault Compiler::checkGrids(const Heads& heads) const {
  if (heads.convolutions.size() != grids.size()) return "there are not six layers of anchors";
  std::size_t rows = 0;
  for (std::size_t layer = 0; layer < grids.size(); ++layer) {
    const auto& shape = tensor(heads.convolutions[layer]->output).shape;
    const std::size_t wanted = layer == 0 ? 3 : 6;
    rows += grids[layer] * grids[layer] * wanted;
    if (shape[0] != 1 || shape[1] != grids[layer] || shape[2] != grids[layer] ||
        shape[3] / heads.values != wanted) {
      return "layer " + std::to_string(layer) + " has not the " + std::to_string(wanted) + " anchors on " +
             std::to_string(grids[layer]) + " x " + std::to_string(grids[layer]) +
             " cells that the kit knows";
    }
  }
  if (rows != anchors_) return "the output does not have one row for every anchor";
  return std::nullopt;
}

Compiler::Fault Compiler::findOutputs(std::size_t labels) {
  if (model_.outputs.size() != 2) return "two outputs are needed, box encodings and scores";
  for (const std::size_t output : model_.outputs) {
    const auto& shape = tensor(output).shape;
    if (shape.size() != 3 || shape[0] != 1) return "an output is not of three dimensions";
    const bool isBoxes = shape[2] == 4 && boxes_.values == 0;
    if (!isBoxes && shape[2] != labels) {
      return "the scores have " + std::to_string(shape[2]) + " columns and " + std::to_string(labels) +
             " labels; give one label a column";
    }
    anchors_ = shape[1];
    if (auto fault = findHeads(output, shape[2], isBoxes ? boxes_ : scores_)) return fault;
  }
  if (boxes_.values == 0 || scores_.values == 0) return "two outputs are needed, box encodings and scores";
  return std::nullopt;
}

/// Writes a convolution whose output channel i is the source's channel channels[i].
Compiler::Fault Compiler::writeConvolution(const TFLiteOperator& op, const std::vector<std::size_t>& channels,
                                           const std::string& output) {
  const TFLiteTensor* weights = constant(op.inputs[1]);
  const TFLiteTensor* bias = constant(op.inputs[2]);
  const auto& in = tensor(op.inputs[0]).shape;
  const auto& out = tensor(op.output).shape;
  const bool depthwise = op.code == TFLiteCode::depthwiseConv2D;
  if (weights == nullptr || bias == nullptr) return "a convolution's weights are not constant floats";
  if (!isComputed(op.inputs[0])) return "a convolution's input is not computed";
  const auto& kernel = weights->shape;
  // Weights stand as out, rows, columns, in; depthwise as 1, rows, columns, out.
  if (kernel.size() != 4 || in.size() != 4 || out.size() != 4 || kernel[depthwise ? 3 : 0] != out[3] ||
      kernel[depthwise ? 0 : 3] != (depthwise ? 1 : in[3]) || bias->count() != out[3] ||
      (depthwise && out[3] % in[3] != 0)) {
    return "a convolution's sizes do not match (" + tensor(op.output).name + ")";
  }
  for (std::size_t side = 0; side < 2; ++side) {
    const std::size_t reach = (kernel[1 + side] - 1) * op.dilation[side];
    const std::size_t starts = op.samePadding ? in[1 + side] : in[1 + side] - std::min(in[1 + side], reach);
    if (starts == 0 || (starts - 1) / op.stride[side] + 1 != out[1 + side]) {
      return "a convolution's sizes do not match (" + tensor(op.output).name + ")";
    }
  }

  const std::vector<float> source = weights->floats();
  const std::vector<float> sourceBias = bias->floats();
  if (!std::all_of(source.begin(), source.end(), [](float w) { return std::isfinite(w); }) ||
      !std::all_of(sourceBias.begin(), sourceBias.end(), [](float w) { return std::isfinite(w); })) {
    return "a weight is not a finite number (" + tensor(op.output).name + ")";
  }
  const std::size_t inputs = depthwise ? 1 : in[3];
  const std::size_t area = kernel[1] * kernel[2];
  std::vector<float> target;
  target.reserve(channels.size() * inputs * area);
  std::vector<float> targetBias;
  for (const std::size_t channel : channels) {
    targetBias.push_back(sourceBias[channel]);
    for (std::size_t i = 0; i < inputs; ++i) {
      for (std::size_t place = 0; place < area; ++place) {
        target.push_back(depthwise ? source[place * out[3] + channel]
                                   : source[(channel * area + place) * inputs + i]);
      }
    }
  }

  const std::int64_t sides[] = {signedSize(kernel[1]), signedSize(kernel[2])};
  const std::int64_t strides[] = {signedSize(op.stride[0]), signedSize(op.stride[1])};
  const std::int64_t dilations[] = {signedSize(op.dilation[0]), signedSize(op.dilation[1])};
  ONNXAttributes attributes;
  attributes.numbers("kernel_shape", sides).numbers("strides", strides).numbers("dilations", dilations);
  attributes.number("group", depthwise ? signedSize(in[3]) : 1)
      .text("auto_pad", op.samePadding ? "SAME_UPPER" : "VALID");
  const std::string raw = op.activation == TFLiteActivation::none ? output : output + "_raw";
  graph_.node("Conv",
              {valueName(op.inputs[0]),
               graph_.constant(output + "_weights",
                               {signedSize(channels.size()), signedSize(inputs), sides[0], sides[1]}, target),
               graph_.constant(output + "_bias", {signedSize(channels.size())}, targetBias)},
              raw, attributes);
  writeActivation(op.activation, raw, output);
  return std::nullopt;
}

void Compiler::writeActivation(TFLiteActivation activation, const std::string& from,
                               const std::string& output) {
  if (activation == TFLiteActivation::relu) graph_.node("Relu", {from}, output);
  if (activation == TFLiteActivation::relu6) {
    graph_.node("Clip", {from}, output, ONNXAttributes().real("min", 0).real("max", 6));
  }
}

Compiler::Fault Compiler::writeAddition(const TFLiteOperator& op) {
  const auto& shape = tensor(op.output).shape;
  if (tensor(op.inputs[0]).shape != shape || tensor(op.inputs[1]).shape != shape ||
      !isComputed(op.inputs[0]) || !isComputed(op.inputs[1])) {
    return "an addition is not of two computed tensors of one shape";
  }
  const std::string output = valueName(op.output);
  const std::string raw = op.activation == TFLiteActivation::none ? output : output + "_raw";
  graph_.node("Add", {valueName(op.inputs[0]), valueName(op.inputs[1])}, raw);
  writeActivation(op.activation, raw, output);
  return std::nullopt;
}

/// Writes every operator that the heads need, in the source's order.
Compiler::Fault Compiler::writeBody() {
  std::vector<bool> needed(model_.tensors.size(), false);
  for (const Heads* heads : {&boxes_, &scores_}) {
    for (const TFLiteOperator* head : heads->convolutions) needed[head->inputs[0]] = true;
  }
  for (auto op = model_.operators.rbegin(); op != model_.operators.rend(); ++op) {
    if (!needed[op->output]) continue;
    needed[op->inputs[0]] = true;
    if (op->code == TFLiteCode::add) needed[op->inputs[1]] = true;
  }
  for (const TFLiteOperator& op : model_.operators) {
    if (!needed[op.output]) continue;
    Fault fault;
    if (op.code == TFLiteCode::conv2D || op.code == TFLiteCode::depthwiseConv2D) {
      std::vector<std::size_t> channels(tensor(op.output).shape.empty() ? 0 : tensor(op.output).shape.back());
      std::iota(channels.begin(), channels.end(), std::size_t{0});
      fault = writeConvolution(op, channels, valueName(op.output));
    } else if (op.code == TFLiteCode::add) {
      fault = writeAddition(op);
    } else {
      fault = "only convolutions and additions may stand before the heads";
    }
    if (fault) return fault;
  }
  return std::nullopt;
}

/// Writes heads that make a [1, kept, 1, anchors] tensor: channels by value first, anchor second, so that
/// what is left is to bring the anchors of a cell next to each other.
Compiler::Fault Compiler::writeHeads(const Heads& heads, const std::vector<std::size_t>& kept,
                                     const std::string& output) {
  std::vector<std::string> layers;
  for (std::size_t layer = 0; layer < heads.convolutions.size(); ++layer) {
    const TFLiteOperator& op = *heads.convolutions[layer];
    const std::size_t cells = grids[layer] * grids[layer];
    const std::size_t perCell = tensor(op.output).shape[3] / heads.values;
    std::vector<std::size_t> channels;
    for (const std::size_t value : kept) {
      for (std::size_t anchor = 0; anchor < perCell; ++anchor) {
        channels.push_back((perCell == 6 ? kitOrderOfSix[anchor] : anchor) * heads.values + value);
      }
    }
    const std::string name = output + "_layer" + std::to_string(layer);
    if (auto fault = writeConvolution(op, channels, name)) return fault;
    const std::int64_t split[] = {1, signedSize(kept.size()), signedSize(perCell), signedSize(cells)};
    const std::int64_t order[] = {0, 1, 3, 2};
    const std::int64_t flat[] = {1, signedSize(kept.size()), 1, signedSize(cells * perCell)};
    graph_.node("Reshape", {name, graph_.constant(name + "_split_shape", split)}, name + "_split");
    graph_.node("Transpose", {name + "_split"}, name + "_turned", ONNXAttributes().numbers("perm", order));
    layers.push_back(graph_.node("Reshape", {name + "_turned", graph_.constant(name + "_flat_shape", flat)},
                                 name + "_flat"));
  }
  graph_.node("Concat", layers, output, ONNXAttributes().number("axis", 3));
  return std::nullopt;
}

/// Spreads the kept labels over all classes by 1 x 1 convolutions that select one label each; the second such
/// convolution selects a class's second label, or its only one again, and the larger is taken.
void Compiler::writeScores(const ClassMap& classes, const std::string& kept) {
  std::size_t most = 1;
  for (const auto& sources : classes.sources) most = std::max(most, sources.size());
  std::string result;
  for (std::size_t turn = 0; turn < most; ++turn) {
    std::vector<float> weights(classes.sources.size() * classes.used.size());
    std::vector<float> bias(classes.sources.size(), scoreWithoutSource);
    for (std::size_t c = 0; c < classes.sources.size(); ++c) {
      const auto& sources = classes.sources[c];
      if (sources.empty()) continue;
      weights[c * classes.used.size() + sources[std::min(turn, sources.size() - 1)]] = 1;
      bias[c] = 0;
    }
    const std::string name = "select" + std::to_string(turn);
    const std::int64_t one[] = {1, 1};
    const std::int64_t rows = signedSize(classes.sources.size());
    graph_.node(
        "Conv",
        {kept, graph_.constant(name + "_weights", {rows, signedSize(classes.used.size()), 1, 1}, weights),
         graph_.constant(name + "_bias", {rows}, bias)},
        name, ONNXAttributes().numbers("kernel_shape", one));
    result = turn == 0 ? name : graph_.node("Max", {result, name}, "larger" + std::to_string(turn));
  }
  const std::int64_t shape[] = {signedSize(classes.sources.size()), signedSize(anchors_)};
  graph_.node("Reshape", {result, graph_.constant("scores_shape", shape)}, networkScores);
  graph_.output(networkScores, {shape[0], shape[1]});
}

Result<CompiledSSD> Compiler::run(std::span<const std::string> labels, const ClassMap& classes) {
  if (model_.inputs.size() != 1) return Failure{"one input is needed, a picture"};
  const auto& input = tensor(model_.inputs[0]);
  if (input.shape.size() != 4 || input.shape[0] != 1 || input.shape[1] != input.shape[2] ||
      input.shape[3] != 3 || input.type != TFLiteType::float32) {
    return Failure{"the input is not a square picture of three 32-bit floats a pixel"};
  }
  if (auto fault = findOutputs(labels.size())) return Failure{*fault};
  const std::size_t side = input.shape[1];
  graph_.input(networkInput, {1, 3, signedSize(side), signedSize(side)});
  graph_.node("Identity", {networkInput}, valueName(model_.inputs[0]));
  if (auto fault = writeBody()) return Failure{*fault};
  if (auto fault = writeHeads(scores_, classes.used, "scores")) return Failure{*fault};
  writeScores(classes, "scores");
  if (auto fault = writeHeads(boxes_, {0, 1, 2, 3}, "boxes")) return Failure{*fault};
  const std::int64_t shape[] = {4, signedSize(anchors_)};
  graph_.node("Reshape", {"boxes", graph_.constant("boxes_shape", shape)}, networkBoxes);
  graph_.output(networkBoxes, {shape[0], shape[1]});
  return CompiledSSD{graph_.model("feature_model"), side, classes.sources.size(), anchors_, classes.unused};
}

}  // namespace

Result<CompiledSSD> compileSSD(const TFLiteModel& model, std::span<const std::string> labels,
                               std::span<const std::string> classNames) {
  const ClassMap classes = mapClasses(labels, classNames);
  if (classes.used.empty()) return Failure{"none of the labels is a class of the kit"};
  return Compiler(model).run(labels, classes);
}

}  // namespace geoloom::tools

#include "geoloom/platform/vision/NetworkPlan.h"

#include <algorithm>
#include <map>
#include <set>

#include <fmt/format.h>

namespace geoloom::platform {

namespace {

using Node = ONNXNetwork::Node;
using Constant = ONNXNetwork::Constant;
using Shape = ONNXNetwork::Shape;
using Tensor = NetworkPlan::Tensor;

constexpr std::int64_t MAXIMUM_ELEMENTS = 1 << 28;
constexpr std::size_t MAXIMUM_RANK = 8;
constexpr std::int64_t MAXIMUM_STEP = 1 << 10;

/// Elements of a shape; 0 if a size is less than 1 or there are too many.
std::int64_t elementsOf(const Shape& shape) {
  std::int64_t count = shape.size() <= MAXIMUM_RANK ? 1 : 0;
  for (const std::int64_t size : shape)
    count = size < 1 || size > MAXIMUM_ELEMENTS / std::max<std::int64_t>(count, 1) ? 0 : count * size;
  return count;
}

Shape contiguousStrides(const Shape& shape) {
  Shape strides(shape.size(), 1);
  for (std::size_t d = shape.size(); d > 1; --d) strides[d - 2] = strides[d - 1] * shape[d - 1];
  return strides;
}

Shape numbersOf(const Node& node, std::string_view attribute, const Shape& otherwise) {
  const auto found = node.attributes.find(attribute);
  return found == node.attributes.end() ? otherwise : found->second.numbers;
}

/// Two or four numbers of an attribute, from `least` to MAXIMUM_STEP.
bool areSteps(const Shape& numbers, std::size_t count, std::int64_t least) {
  return numbers.size() == count && std::all_of(numbers.begin(), numbers.end(), [&](std::int64_t n) {
           return n >= least && n <= MAXIMUM_STEP;
         });
}

/// Each function that plans a node returns false if it cannot.
class Planner {
 public:
  explicit Planner(const ONNXNetwork& network) : network_(network) {}
  base::Result<NetworkPlan> plan(const ModelManifest& manifest);

 private:
  [[nodiscard]] const Tensor* tensorAt(const Node& node, std::size_t index) const;
  [[nodiscard]] const Constant* constantAt(const Node& node, std::size_t index, Constant::Type type) const;
  [[nodiscard]] const Node* onlyUse(std::string_view name) const;
  Tensor newTensor(const Shape& shape);
  Tensor contiguous(const Tensor& tensor);

  bool planNode(const Node& node);
  bool convolve(const Node& node);
  std::string_view fuse(std::string_view output, const Shape& shape, NetworkPlan::Convolution& convolution);
  bool reshape(const Node& node);
  bool transpose(const Node& node);
  bool concatenate(const Node& node);
  void finish(const Tensor& tensor, std::size_t buffer);

  const ONNXNetwork& network_;
  NetworkPlan plan_;
  std::map<std::string_view, Tensor> tensors_;
  std::map<std::string_view, std::vector<const Node*>> uses_;  ///< null for an output of the network
  std::set<const Node*> fused_;
};

const Tensor* Planner::tensorAt(const Node& node, std::size_t index) const {
  const auto found = index < node.inputs.size() ? tensors_.find(node.inputs[index]) : tensors_.end();
  return found == tensors_.end() ? nullptr : &found->second;
}

const Constant* Planner::constantAt(const Node& node, std::size_t index, Constant::Type type) const {
  if (index >= node.inputs.size()) return nullptr;
  const auto found = network_.constants.find(node.inputs[index]);
  if (found == network_.constants.end() || found->second.type != type) return nullptr;
  const std::size_t elementSize = type == Constant::float32 ? 4 : 8;
  const auto elements = static_cast<std::size_t>(elementsOf(found->second.shape));
  return elements > 0 && found->second.bytes.size() == elements * elementSize ? &found->second : nullptr;
}

const Node* Planner::onlyUse(std::string_view name) const {
  const auto found = uses_.find(name);
  return found != uses_.end() && found->second.size() == 1 ? found->second[0] : nullptr;
}

Tensor Planner::newTensor(const Shape& shape) {
  return {plan_.buffers++, shape, contiguousStrides(shape), 0};
}

/// The tensor, or a copy of it, without gaps.
Tensor Planner::contiguous(const Tensor& tensor) {
  if (tensor.strides == contiguousStrides(tensor.shape)) return tensor;
  return plan_.layers.emplace_back(NetworkPlan::Layer{tensor, newTensor(tensor.shape), {}}).output;
}

bool Planner::planNode(const Node& node) {
  if (node.outputs.size() != 1 || tensors_.contains(node.outputs[0])) return false;
  if (node.kind == "Conv") return convolve(node);
  if (node.kind == "Reshape") return reshape(node);
  if (node.kind == "Transpose") return transpose(node);
  if (node.kind == "Concat") return concatenate(node);
  const Tensor* input = tensorAt(node, 0);
  if (node.kind != "Identity" || input == nullptr) return false;
  tensors_.emplace(node.outputs[0], *input);
  return true;
}

bool Planner::convolve(const Node& node) {
  const Tensor* input = tensorAt(node, 0);
  const Constant* weights = constantAt(node, 1, Constant::float32);
  const Constant* bias = constantAt(node, 2, Constant::float32);
  if (input == nullptr || weights == nullptr || bias == nullptr || input->shape.size() != 4 ||
      weights->shape.size() != 4)
    return false;
  const auto group = node.attributes.find("group");
  const std::int64_t groups = group == node.attributes.end() ? 1 : group->second.number;
  const Shape& shape = weights->shape;
  if (groups < 1 || input->shape[1] % groups != 0 || shape[0] % groups != 0 ||
      shape[1] != input->shape[1] / groups || bias->shape != Shape{shape[0]})
    return false;

  NetworkPlan::Convolution convolution{{groups, shape[0] / groups, shape[1], shape[2], shape[3]},
                                       weights->bytes,
                                       bias->bytes,
                                       numbersOf(node, "strides", {1, 1}),
                                       {},
                                       {},
                                       {},
                                       {}};
  const auto padding = node.attributes.find("auto_pad");
  const std::string_view mode = padding == node.attributes.end() ? "NOTSET" : padding->second.text;
  const Shape pads = numbersOf(node, "pads", {0, 0, 0, 0});
  if ((mode != "NOTSET" && mode != "SAME_UPPER") || !areSteps(pads, 4, 0) ||
      !areSteps(convolution.strides, 2, 1) || numbersOf(node, "dilations", {1, 1}) != Shape{1, 1})
    return false;
  Shape output = {1, shape[0]};
  for (std::size_t side = 0; side < 2; ++side) {
    const std::int64_t from = input->shape[2 + side];
    const std::int64_t kernel = shape[2 + side];
    const std::int64_t stride = convolution.strides[side];
    std::int64_t before = pads[side];
    std::int64_t after = pads[2 + side];
    if (mode == "SAME_UPPER") {
      const std::int64_t both = std::max<std::int64_t>(((from - 1) / stride) * stride + kernel - from, 0);
      before = both / 2;
      after = both - before;
    }
    convolution.before.push_back(before);
    convolution.after.push_back(after);
    output.push_back(from + before + after < kernel ? 0 : (from + before + after - kernel) / stride + 1);
  }
  if (elementsOf(output) == 0) return false;
  const std::string_view name = fuse(node.outputs[0], output, convolution);
  const Tensor image{plan_.buffers++, output, {}, 0};
  plan_.layers.push_back({*input, image, std::move(convolution)});
  tensors_.emplace(name, image);
  return true;
}

/// Adds what follows a convolution and nothing else uses: a sum with another image, and a clip. Returns the
/// name of the result.
std::string_view Planner::fuse(std::string_view output, const Shape& shape,
                               NetworkPlan::Convolution& convolution) {
  const Node* next = onlyUse(output);
  if (next != nullptr && next->kind == "Add" && next->inputs.size() == 2 && next->outputs.size() == 1) {
    const Tensor* addend = tensorAt(*next, next->inputs[0] == output ? 1 : 0);
    if (addend == nullptr || addend->shape != shape || !addend->strides.empty()) return output;
    convolution.addend = addend->buffer;
    fused_.insert(next);
    output = next->outputs[0];
    next = onlyUse(output);
  }
  if (next == nullptr || next->kind != "Clip" || next->inputs.size() != 1 || next->outputs.size() != 1)
    return output;
  const auto least = next->attributes.find("min");
  const auto most = next->attributes.find("max");
  if (least == next->attributes.end() || most == next->attributes.end()) return output;
  convolution.limits.emplace(least->second.real, most->second.real);
  fused_.insert(next);
  return next->outputs[0];
}

bool Planner::reshape(const Node& node) {
  const Tensor* input = tensorAt(node, 0);
  const Constant* target = constantAt(node, 1, Constant::int64);
  if (input == nullptr || target == nullptr || target->shape.size() != 1) return false;
  Shape shape(target->bytes.size() / sizeof(std::int64_t));
  std::copy(target->bytes.begin(), target->bytes.end(), reinterpret_cast<char*>(shape.data()));
  if (elementsOf(shape) != elementsOf(input->shape)) return false;
  Tensor tensor = contiguous(*input);
  tensor.strides = contiguousStrides(shape);
  tensor.shape = std::move(shape);
  tensors_.emplace(node.outputs[0], std::move(tensor));
  return true;
}

bool Planner::transpose(const Node& node) {
  const Tensor* input = tensorAt(node, 0);
  if (input == nullptr) return false;
  const Shape order = numbersOf(node, "perm", {});
  Shape sorted = order;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t d = 0; d < sorted.size(); ++d)
    if (sorted[d] != static_cast<std::int64_t>(d)) return false;
  if (sorted.size() != input->shape.size()) return false;
  const Tensor from = contiguous(*input);
  Tensor tensor = from;
  for (std::size_t d = 0; d < order.size(); ++d) {
    tensor.shape[d] = from.shape[static_cast<std::size_t>(order[d])];
    tensor.strides[d] = from.strides[static_cast<std::size_t>(order[d])];
  }
  tensors_.emplace(node.outputs[0], std::move(tensor));
  return true;
}

bool Planner::concatenate(const Node& node) {
  const Tensor* first = tensorAt(node, 0);
  const auto attribute = node.attributes.find("axis");
  if (first == nullptr || attribute == node.attributes.end()) return false;
  Shape shape = first->shape;
  if (attribute->second.number < 0 || attribute->second.number >= std::ssize(shape)) return false;
  const auto axis = static_cast<std::size_t>(attribute->second.number);
  shape[axis] = 0;
  for (std::size_t i = 0; i < node.inputs.size(); ++i) {
    const Tensor* part = tensorAt(node, i);
    if (part == nullptr || part->shape.size() != shape.size()) return false;
    for (std::size_t d = 0; d < shape.size(); ++d)
      if (d != axis && part->shape[d] != shape[d]) return false;
    shape[axis] += part->shape[axis];
  }
  if (elementsOf(shape) == 0) return false;
  const Tensor whole = newTensor(shape);
  Tensor target = whole;
  for (std::size_t i = 0; i < node.inputs.size(); ++i) {
    const Tensor& part = *tensorAt(node, i);
    target.shape = part.shape;
    plan_.layers.push_back({part, target, {}});
    target.offset += part.shape[axis] * whole.strides[axis];
  }
  tensors_.emplace(node.outputs[0], whole);
  return true;
}

/// Brings an output to its buffer.
void Planner::finish(const Tensor& tensor, std::size_t buffer) {
  plan_.layers.push_back({tensor, {buffer, tensor.shape, contiguousStrides(tensor.shape), 0}, {}});
}

base::Result<NetworkPlan> Planner::plan(const ModelManifest& manifest) {
  for (const Node& node : network_.nodes)
    for (const std::string_view input : node.inputs) uses_[input].push_back(&node);
  for (const auto& output : manifest.outputs) uses_[output.name].push_back(nullptr);
  tensors_.emplace(manifest.inputName, newTensor({1, 3, static_cast<std::int64_t>(manifest.inputHeight),
                                                  static_cast<std::int64_t>(manifest.inputWidth)}));
  plan_.outputs = manifest.outputs.size();
  plan_.buffers += plan_.outputs;
  for (const Node& node : network_.nodes) {
    if (fused_.contains(&node) || planNode(node)) continue;
    return base::Failure{fmt::format("operator {} of node \"{}\" is not understood", node.kind,
                                     node.outputs.empty() ? "" : node.outputs[0])};
  }
  for (std::size_t i = 0; i < manifest.outputs.size(); ++i) {
    const auto& output = manifest.outputs[i];
    const auto found = tensors_.find(output.name);
    if (found == tensors_.end()) return base::Failure{"there is no output \"" + output.name + "\""};
    if (found->second.shape != Shape(output.shape.begin(), output.shape.end()))
      return base::Failure{"the shape of output \"" + output.name + "\" differs from the manifest's"};
    finish(found->second, 1 + i);
  }
  return std::move(plan_);
}

}  // namespace

base::Result<NetworkPlan> planNetwork(const ONNXNetwork& network, const ModelManifest& manifest) {
  return Planner(network).plan(manifest);
}

}  // namespace geoloom::platform

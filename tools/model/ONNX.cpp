#include "tools/model/ONNX.h"

#include <bit>
#include <cstring>

namespace geoloom::tools {

namespace {

static_assert(std::endian::native == std::endian::little, "raw_data holds little-endian numbers");

// Fields and values by their number in the published schema.
namespace field {
constexpr std::uint32_t modelVersion = 1, modelProducer = 2, modelGraph = 7, modelOperators = 8;
constexpr std::uint32_t operatorsVersion = 2;
constexpr std::uint32_t graphNode = 1, graphName = 2, graphConstant = 5, graphInput = 11, graphOutput = 12;
constexpr std::uint32_t nodeInput = 1, nodeOutput = 2, nodeName = 3, nodeKind = 4, nodeAttribute = 5;
constexpr std::uint32_t attributeName = 1, attributeReal = 2, attributeNumber = 3, attributeText = 4,
                        attributeNumbers = 8, attributeType = 20;
constexpr std::uint32_t tensorDimension = 1, tensorType = 2, tensorName = 8, tensorData = 9;
constexpr std::uint32_t valueName = 1, valueType = 2, typeTensor = 1, tensorElement = 1, tensorShape = 2,
                        shapeSize = 1, sizeValue = 1;
}  // namespace field

constexpr std::int64_t fileVersion = 4;  // the first that keeps constants apart from inputs
constexpr std::int64_t operatorSet = 9;
constexpr std::int64_t typeFloat = 1, typeInt64 = 7;
constexpr std::int64_t attributeIsReal = 1, attributeIsNumber = 2, attributeIsText = 3,
                       attributeIsNumbers = 7;

ProtobufMessage attribute(std::string_view name, std::int64_t type) {
  ProtobufMessage message;
  message.bytes(field::attributeName, name);
  message.number(field::attributeType, type);
  return message;
}

ProtobufMessage valueInfo(const std::string& name, const ONNXGraph::Shape& shape) {
  ProtobufMessage dimensions;
  for (const std::int64_t size : shape) {
    ProtobufMessage dimension;
    dimension.number(field::sizeValue, size);
    dimensions.message(field::shapeSize, dimension);
  }
  ProtobufMessage tensor;
  tensor.number(field::tensorElement, typeFloat);
  tensor.message(field::tensorShape, dimensions);
  ProtobufMessage type;
  type.message(field::typeTensor, tensor);
  ProtobufMessage value;
  value.bytes(field::valueName, name);
  value.message(field::valueType, type);
  return value;
}

template <class Number>
ProtobufMessage tensor(const std::string& name, std::int64_t type, const ONNXGraph::Shape& shape,
                       std::span<const Number> values) {
  ProtobufMessage message;
  for (const std::int64_t size : shape) message.number(field::tensorDimension, size);
  message.number(field::tensorType, type);
  message.bytes(field::tensorName, name);
  message.bytes(field::tensorData, {reinterpret_cast<const char*>(values.data()), values.size_bytes()});
  return message;
}

}  // namespace

void ProtobufMessage::varint(std::uint64_t value) {
  for (; value >= 0x80; value >>= 7) text_.push_back(static_cast<char>(value | 0x80));
  text_.push_back(static_cast<char>(value));
}

void ProtobufMessage::number(std::uint32_t field, std::int64_t value) {
  varint(field << 3);
  varint(static_cast<std::uint64_t>(value));
}

void ProtobufMessage::real(std::uint32_t field, float value) {
  varint(field << 3 | 5U);
  char raw[sizeof value];
  std::memcpy(raw, &value, sizeof value);
  text_.append(raw, sizeof raw);
}

void ProtobufMessage::bytes(std::uint32_t field, std::string_view value) {
  varint(field << 3 | 2U);
  varint(value.size());
  text_.append(value);
}

ONNXAttributes& ONNXAttributes::number(std::string_view name, std::int64_t value) {
  attributes_.push_back(attribute(name, attributeIsNumber));
  attributes_.back().number(field::attributeNumber, value);
  return *this;
}

ONNXAttributes& ONNXAttributes::real(std::string_view name, float value) {
  attributes_.push_back(attribute(name, attributeIsReal));
  attributes_.back().real(field::attributeReal, value);
  return *this;
}

ONNXAttributes& ONNXAttributes::text(std::string_view name, std::string_view value) {
  attributes_.push_back(attribute(name, attributeIsText));
  attributes_.back().bytes(field::attributeText, value);
  return *this;
}

ONNXAttributes& ONNXAttributes::numbers(std::string_view name, std::span<const std::int64_t> values) {
  attributes_.push_back(attribute(name, attributeIsNumbers));
  for (const std::int64_t value : values) attributes_.back().number(field::attributeNumbers, value);
  return *this;
}

void ONNXGraph::input(const std::string& name, const Shape& shape) {
  inputs_.push_back(valueInfo(name, shape));
}

void ONNXGraph::output(const std::string& name, const Shape& shape) {
  outputs_.push_back(valueInfo(name, shape));
}

std::string ONNXGraph::node(std::string_view kind, const std::vector<std::string>& inputs,
                            const std::string& output, const ONNXAttributes& attributes) {
  ProtobufMessage& message = nodes_.emplace_back();
  for (const std::string& input : inputs) message.bytes(field::nodeInput, input);
  message.bytes(field::nodeOutput, output);
  message.bytes(field::nodeName, output);
  message.bytes(field::nodeKind, kind);
  for (const ProtobufMessage& entry : attributes.attributes_) message.message(field::nodeAttribute, entry);
  return output;
}

std::string ONNXGraph::constant(const std::string& name, const Shape& shape, std::span<const float> values) {
  constants_.push_back(tensor(name, typeFloat, shape, values));
  return name;
}

std::string ONNXGraph::constant(const std::string& name, std::span<const std::int64_t> values) {
  constants_.push_back(tensor(name, typeInt64, {static_cast<std::int64_t>(values.size())}, values));
  return name;
}

std::string ONNXGraph::model(std::string_view graphName) const {
  ProtobufMessage graph;
  for (const ProtobufMessage& node : nodes_) graph.message(field::graphNode, node);
  graph.bytes(field::graphName, graphName);
  for (const ProtobufMessage& constant : constants_) graph.message(field::graphConstant, constant);
  for (const ProtobufMessage& input : inputs_) graph.message(field::graphInput, input);
  for (const ProtobufMessage& output : outputs_) graph.message(field::graphOutput, output);

  ProtobufMessage operators;
  operators.number(field::operatorsVersion, operatorSet);
  ProtobufMessage model;
  model.number(field::modelVersion, fileVersion);
  model.bytes(field::modelProducer, "geoloom");
  model.message(field::modelGraph, graph);
  model.message(field::modelOperators, operators);
  return model.text();
}

}  // namespace geoloom::tools

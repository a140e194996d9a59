#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Writing of ONNX files (opset 9), as far as a convolutional network needs it.
namespace geoloom::tools {

/// A message in the Protocol Buffers wire format, built field by field.
class ProtobufMessage {
 public:
  void number(std::uint32_t field, std::int64_t value);
  void real(std::uint32_t field, float value);
  void bytes(std::uint32_t field, std::string_view value);
  void message(std::uint32_t field, const ProtobufMessage& value) { bytes(field, value.text_); }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  void varint(std::uint64_t value);
  std::string text_;
};

/// The attributes of one node.
class ONNXAttributes {
 public:
  ONNXAttributes& number(std::string_view name, std::int64_t value);
  ONNXAttributes& real(std::string_view name, float value);
  ONNXAttributes& text(std::string_view name, std::string_view value);
  ONNXAttributes& numbers(std::string_view name, std::span<const std::int64_t> values);

 private:
  friend class ONNXGraph;
  std::vector<ProtobufMessage> attributes_;
};

/// Nodes are written in the order of the calls, which must be an order in which they can run. Every value has
/// a name, unique in the graph; what returns a name gives that of its only output.
class ONNXGraph {
 public:
  using Shape = std::vector<std::int64_t>;

  void input(const std::string& name, const Shape& shape);
  void output(const std::string& name, const Shape& shape);
  std::string node(std::string_view kind, const std::vector<std::string>& inputs, const std::string& output,
                   const ONNXAttributes& attributes = {});
  std::string constant(const std::string& name, const Shape& shape, std::span<const float> values);
  std::string constant(const std::string& name, std::span<const std::int64_t> values);

  /// The whole file.
  [[nodiscard]] std::string model(std::string_view graphName) const;

 private:
  std::vector<ProtobufMessage> nodes_;
  std::vector<ProtobufMessage> constants_;
  std::vector<ProtobufMessage> inputs_;
  std::vector<ProtobufMessage> outputs_;
};

}  // namespace geoloom::tools

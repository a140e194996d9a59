#include "geoloom/platform/vision/ONNXNetwork.h"

#include <bit>
#include <cstring>
#include <optional>

namespace geoloom::platform {

namespace {

static_assert(std::endian::native == std::endian::little, "constants are read as they stand in the file");

/// A field of a message in the Protocol Buffers wire format: a number, or bytes that can be a message.
struct Field {
  std::uint64_t id;
  std::uint64_t number;
  std::string_view bytes;
};

/// Takes a number off the front of `rest`.
std::optional<std::uint64_t> takeVarint(std::string_view& rest) {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 64 && !rest.empty(); shift += 7) {
    const auto byte = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    value |= std::uint64_t{byte & 0x7FU} << shift;
    if (byte < 0x80) return value;
  }
  return std::nullopt;
}

std::optional<Field> takeField(std::string_view& rest) {
  const auto key = takeVarint(rest);
  if (!key) return std::nullopt;
  Field field{*key >> 3, 0, {}};
  const std::uint64_t encoding = *key & 7;
  if (encoding == 0) {
    const auto number = takeVarint(rest);
    if (!number) return std::nullopt;
    field.number = *number;
    return field;
  }
  if (encoding != 1 && encoding != 2 && encoding != 5) return std::nullopt;
  const auto length = encoding == 2 ? takeVarint(rest) : std::optional<std::uint64_t>(encoding == 1 ? 8 : 4);
  if (!length || *length > rest.size()) return std::nullopt;
  field.bytes = rest.substr(0, *length);
  rest.remove_prefix(*length);
  if (encoding != 2) std::memcpy(&field.number, field.bytes.data(), *length);
  return field;
}

/// False if the message or what `read` makes of a field is malformed.
template <class Read>
bool readFields(std::string_view message, const Read& read) {
  while (!message.empty()) {
    const auto field = takeField(message);
    if (!field || !read(*field)) return false;
  }
  return true;
}

/// Repeated numbers stand one in a field or packed into one field.
bool readNumbers(const Field& field, ONNXNetwork::Shape& numbers) {
  std::string_view rest = field.bytes;
  if (rest.empty()) numbers.push_back(static_cast<std::int64_t>(field.number));
  while (!rest.empty()) {
    const auto number = takeVarint(rest);
    if (!number) return false;
    numbers.push_back(static_cast<std::int64_t>(*number));
  }
  return true;
}

// The ids of fields are those of the published schema.

bool readAttribute(std::string_view message, ONNXNetwork::Node& node) {
  std::string_view name;
  ONNXNetwork::Attribute attribute;
  const bool good = readFields(message, [&](const Field& field) {
    if (field.id == 1) name = field.bytes;
    if (field.id == 2) attribute.real = std::bit_cast<float>(static_cast<std::uint32_t>(field.number));
    if (field.id == 3) attribute.number = static_cast<std::int64_t>(field.number);
    if (field.id == 4) attribute.text = field.bytes;
    return field.id != 8 || readNumbers(field, attribute.numbers);
  });
  node.attributes[name] = std::move(attribute);
  return good;
}

bool readNode(std::string_view message, ONNXNetwork& network) {
  ONNXNetwork::Node& node = network.nodes.emplace_back();
  return readFields(message, [&](const Field& field) {
    if (field.id == 1) node.inputs.push_back(field.bytes);
    if (field.id == 2) node.outputs.push_back(field.bytes);
    if (field.id == 4) node.kind = field.bytes;
    return field.id != 5 || readAttribute(field.bytes, node);
  });
}

bool readConstant(std::string_view message, ONNXNetwork& network) {
  std::string_view name;
  ONNXNetwork::Constant constant;
  const bool good = readFields(message, [&](const Field& field) {
    if (field.id == 2) constant.type = static_cast<std::int64_t>(field.number);
    if (field.id == 8) name = field.bytes;
    if (field.id == 9) constant.bytes = field.bytes;
    return field.id != 1 || readNumbers(field, constant.shape);
  });
  network.constants[name] = std::move(constant);
  return good;
}

}  // namespace

base::Result<ONNXNetwork> readONNX(std::string_view file) {
  ONNXNetwork network;
  const bool good = readFields(file, [&](const Field& field) {
    if (field.id != 7) return true;
    return readFields(field.bytes, [&](const Field& part) {
      if (part.id == 1) return readNode(part.bytes, network);
      return part.id != 5 || readConstant(part.bytes, network);
    });
  });
  if (!good || network.nodes.empty()) return base::Failure{"not an ONNX file"};
  return network;
}

}  // namespace geoloom::platform

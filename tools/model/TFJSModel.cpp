#include "tools/model/TFJSModel.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

#include <openssl/evp.h>

namespace geoloom::tools {

namespace {

/// Takes the next constant off the front of `bytes`.
TFJSConstant readConstant(const std::string& name, const JSONMember& weight, std::string_view& bytes) {
  const std::string type = weight["dtype"].string();
  if (weight["quantization"].isPresent() || (type != "float32" && type != "int32"))
    refuseNode(name, "its weights are quantized or of another type than float32 and int32");
  TFJSConstant constant;
  std::size_t count = 1;
  for (const JSONMember& size : weight["shape"].list()) {
    const std::int32_t length = integerOf(size);
    if (length < 1) refuseNode(name, fmt::format("its shape has a size of {}", length));
    constant.shape.push_back(static_cast<std::size_t>(length));
    // Stops counting once there are more than the shards can hold.
    if (count <= bytes.size()) count *= constant.shape.back();
  }
  if (count > bytes.size() / 4) refuseNode(name, "the shards end before its weights do");

  const std::string_view mine = bytes.substr(0, 4 * count);
  bytes.remove_prefix(mine.size());
  if (type == "int32") {
    constant.integers.resize(count);
    std::memcpy(constant.integers.data(), mine.data(), mine.size());
    return constant;
  }
  constant.floats.resize(count);
  std::memcpy(constant.floats.data(), mine.data(), mine.size());
  if (!std::all_of(constant.floats.begin(), constant.floats.end(), [](float w) { return std::isfinite(w); }))
    refuseNode(name, "a weight is not a finite number");
  return constant;
}

void readWeights(const JSONMember& group, const ShardReader& readShard,
                 std::map<std::string, TFJSConstant>& constants) {
  std::string bytes;
  for (const JSONMember& path : group["paths"].list()) {
    const auto shard = readShard(path.string());
    if (!shard) throw MalformedJSON(shard.failure().message);
    bytes += *shard;
  }
  std::string_view rest = bytes;
  std::string name;
  for (const JSONMember& weight : group["weights"].list()) {
    name = weight["name"].string();
    constants[name] = readConstant(name, weight, rest);
  }
  if (!rest.empty()) refuseNode(name, fmt::format("the shards go on for {} bytes after it", rest.size()));
}

}  // namespace

void refuseNode(const std::string& node, const std::string& reason) {
  throw MalformedJSON(fmt::format("node \"{}\": {}", node, reason));
}

std::int32_t integerOf(const JSONMember& attribute) {
  if (attribute.isString()) {
    const std::string text = attribute.string();
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size()) return number;
  } else {
    const double number = attribute.number();
    if (number == std::trunc(number) && std::abs(number) <= std::numeric_limits<std::int32_t>::max())
      return static_cast<std::int32_t>(number);
  }
  throw MalformedJSON(attribute.path() + " must be an integer");
}

std::string textOf(const JSONMember& attribute) {
  std::string text;
  if (!attribute.isString()) {
    for (const JSONMember& byte : attribute.list()) text.push_back(static_cast<char>(integerOf(byte)));
    return text;
  }
  const std::string base64 = attribute.string();
  text.resize(base64.size() / 4 * 3 + 3);
  const int size =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(base64.data()), static_cast<int>(base64.size()));
  if (size < 0) throw MalformedJSON(attribute.path() + " must be a list of bytes or base64");
  // The decoder writes a zero for each "=".
  text.resize(static_cast<std::size_t>(size));
  while (text.ends_with('\0')) text.pop_back();
  return text;
}

TFJSModel readTFJS(const JSONMember& root, const ShardReader& readShard) {
  TFJSModel model;
  for (const JSONMember& entry : root["modelTopology"]["node"].list()) {
    const std::string name = entry["name"].string();
    TFJSNode node{entry["op"].string(), {}, entry["attr"].withPath("node \"" + name + "\": attr")};
    if (entry["input"].isPresent()) {
      for (const JSONMember& input : entry["input"].list()) node.inputs.push_back(input.string());
    }
    if (!model.nodes.emplace(name, std::move(node)).second) refuseNode(name, "there are two of that name");
  }
  for (const JSONMember& group : root["weightsManifest"].list())
    readWeights(group, readShard, model.constants);
  return model;
}

}  // namespace geoloom::tools

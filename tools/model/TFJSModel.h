#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "geoloom/base/Result.h"

#include "tools/json/JSONMember.h"

/// Reading of TensorFlow.js graph models: a model.json with the shards that hold its weights. The functions
/// throw MalformedJSON, whose message names the node at fault.
namespace geoloom::tools {

struct TFJSNode {
  std::string op;
  std::vector<std::string> inputs;  ///< names of nodes; "^name" only orders, "name:1" is a second output
  JSONMember attributes;
};

/// A constant of 32-bit floats or of 32-bit integers; the other list is empty.
struct TFJSConstant {
  std::vector<std::size_t> shape;
  std::vector<float> floats;  ///< finite
  std::vector<std::int32_t> integers;
};

struct TFJSModel {
  std::map<std::string, TFJSNode> nodes;
  std::map<std::string, TFJSConstant> constants;  ///< by the name of their node
};

/// Gives the bytes of the shard that model.json calls `path`.
using ShardReader = std::function<base::Result<std::string>(const std::string& path)>;

/// Every constant has exactly the bytes that its shape needs.
[[nodiscard]] TFJSModel readTFJS(const JSONMember& root, const ShardReader& readShard);

/// Attributes of a node. Integers are numbers or texts, texts are lists of bytes or base64.
[[nodiscard]] std::int32_t integerOf(const JSONMember& attribute);
[[nodiscard]] std::string textOf(const JSONMember& attribute);

[[noreturn]] void refuseNode(const std::string& node, const std::string& reason);

}  // namespace geoloom::tools

#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include "geoloom/base/Result.h"

namespace geoloom::platform {

/// A network as an ONNX file states it. Everything refers to the file's bytes, which must outlive it.
struct ONNXNetwork {
  using Shape = std::vector<std::int64_t>;

  struct Attribute {
    float real = 0;
    std::int64_t number = 0;
    std::string_view text;
    Shape numbers;
  };
  struct Node {
    std::string_view kind;
    std::vector<std::string_view> inputs;
    std::vector<std::string_view> outputs;
    std::map<std::string_view, Attribute> attributes;
  };
  /// Little-endian elements, last dimension fastest.
  struct Constant {
    enum Type : std::int64_t { float32 = 1, int64 = 7 };
    std::int64_t type = 0;
    Shape shape;
    std::string_view bytes;
  };

  std::vector<Node> nodes;  ///< in an order in which they can run
  std::map<std::string_view, Constant> constants;
};

/// Reads the members above. The sizes of constants are not checked.
[[nodiscard]] base::Result<ONNXNetwork> readONNX(std::string_view file);

}  // namespace geoloom::platform

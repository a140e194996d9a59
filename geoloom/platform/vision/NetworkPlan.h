#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "geoloom/base/Result.h"
#include "geoloom/platform/vision/ModelManifest.h"
#include "geoloom/platform/vision/ONNXNetwork.h"

namespace geoloom::platform {

/// A network as a list of convolutions and copies, which run in their order.
struct NetworkPlan {
  using Shape = ONNXNetwork::Shape;

  /// A view of a buffer of floats, `offset` elements from its front. Without strides it is a whole image,
  /// 1 x channels x rows x columns, in the layout that the engine prefers.
  struct Tensor {
    std::size_t buffer = 0;
    Shape shape;
    Shape strides;
    std::int64_t offset = 0;
  };

  struct Convolution {
    Shape shape;  ///< of the weights: groups, outputs and inputs of a group, rows, columns
    std::string_view weights;
    std::string_view bias;
    Shape strides;
    Shape before;                                   ///< padding: rows above, columns on the left
    Shape after;                                    ///< rows below, columns on the right
    std::optional<std::size_t> addend;              ///< buffer of an image that is added to the output
    std::optional<std::pair<float, float>> limits;  ///< to which the sum is clipped
  };

  struct Layer {
    Tensor input;
    Tensor output;
    std::optional<Convolution> convolution;  ///< absent for a copy
  };

  std::vector<Layer> layers;
  /// Buffer 0 holds the input, 1 x 3 x height x width; the next hold the outputs, contiguous, in the
  /// manifest's order. Only copies write to those.
  std::size_t buffers = 0;
  std::size_t outputs = 0;
};

/// Plans networks of these operators: Conv with a bias, and Add and Clip behind one; then Reshape, Transpose
/// and Concat of its outputs; and Identity. The failure names the first node that it cannot plan, or the
/// difference between network and manifest. The plan refers to the network's constants.
[[nodiscard]] base::Result<NetworkPlan> planNetwork(const ONNXNetwork& network,
                                                    const ModelManifest& manifest);

}  // namespace geoloom::platform

#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

#include "geoloom/base/Result.h"
#include "geoloom/platform/vision/MLModelPrecision.h"
#include "geoloom/platform/vision/NetworkPlan.h"

namespace geoloom::platform {

/// Runs one network on the caller's thread. May be used from several threads at once.
class NetworkEngine {
 public:
  NetworkEngine() = default;
  virtual ~NetworkEngine() = default;
  NetworkEngine(const NetworkEngine&) = delete;
  NetworkEngine& operator=(const NetworkEngine&) = delete;

  /// The engine with its precision and the processor's instructions that it uses.
  [[nodiscard]] virtual std::string description() const = 0;

  using Fill = std::function<void(float* planes)>;

  /// Runs the network on the 3 * width * height floats that `fill` writes. outputs[i] has room for output i.
  [[nodiscard]] virtual base::Result<void> run(const Fill& fill, std::span<float* const> outputs) = 0;
};

/// An engine of oneDNN's primitives. Copies the weights. Fails if the library lacks a primitive. Takes 32-bit
/// floats if the processor does not have `precision`.
[[nodiscard]] base::Result<std::unique_ptr<NetworkEngine>> makeOneDNNEngine(const NetworkPlan& plan,
                                                                            MLModelPrecision precision);

/// OpenCV's dnn on an ONNX file, in a part of the library that is loaded here for the first time:
/// geoloom-opencv.so, found like the detection model (LibraryBundle).
[[nodiscard]] base::Result<std::unique_ptr<NetworkEngine>> makeOpenCVEngine(const std::string& path,
                                                                            const ModelManifest& manifest);

}  // namespace geoloom::platform

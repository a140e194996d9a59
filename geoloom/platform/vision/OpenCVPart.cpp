#include "geoloom/platform/vision/OpenCVPart.h"

#include <algorithm>
#include <cstring>

#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include "geoloom/Export.h"
#include "geoloom/base/Mutex.h"

namespace geoloom::platform {

namespace {

/// Runs one network at a time.
class OpenCVEngine {
 public:
  OpenCVEngine(const std::string& path, const ModelManifest& manifest)
      : manifest_(manifest), net_(cv::dnn::readNetFromONNX(path)) {
    const int shape[] = {1, 3, static_cast<int>(manifest.inputHeight), static_cast<int>(manifest.inputWidth)};
    input_ = cv::Mat(4, shape, CV_32F, cv::Scalar(0));
    net_.setInput(input_, manifest.inputName);
    for (const auto& output : manifest.outputs) names_.push_back(output.name);
  }

  /// An output of the manifest that the network lacks.
  [[nodiscard]] std::optional<std::string> missingOutput() const {
    const auto known = net_.getUnconnectedOutLayersNames();
    for (const auto& name : names_)
      if (std::find(known.begin(), known.end(), name) == known.end()) return name;
    return std::nullopt;
  }

  base::Result<void> run(const std::function<void(float* planes)>& fill, std::span<float* const> outputs) {
    const base::MutexLock guard(mutex_);
    try {
      // Inside one of its parallel loops OpenCV starts no threads. This leaves the process-wide number of
      // threads, which the application chooses, unchanged.
      cv::parallel_for_(cv::Range(0, 1), [&](const cv::Range&) {
        fill(input_.ptr<float>());
        net_.setInput(input_, manifest_.inputName);
        net_.forward(results_, names_);
      });
    } catch (const std::exception&) {
      return base::Failure{"the network cannot be run on the input that its manifest states"};
    }
    for (std::size_t i = 0; i < outputs.size(); ++i) {
      const cv::Mat& result = results_[i];
      std::size_t count = 1;
      for (const std::ptrdiff_t size : manifest_.outputs[i].shape) count *= static_cast<std::size_t>(size);
      if (result.type() != CV_32F || !result.isContinuous() || result.total() != count)
        return base::Failure{"the shape of output \"" + names_[i] + "\" differs from the manifest's"};
      // Copied, because OpenCV writes its next results to the same memory.
      std::memcpy(outputs[i], result.ptr<float>(), count * sizeof(float));
    }
    return {};
  }

 private:
  const ModelManifest manifest_;
  std::vector<cv::String> names_;
  base::Mutex mutex_;  ///< guards the members below
  cv::dnn::Net net_;
  cv::Mat input_;
  std::vector<cv::Mat> results_;
};

base::Result<OpenCVRun> loadNetwork(const std::string& path, const ModelManifest& manifest) {
  try {
    auto engine = std::make_shared<OpenCVEngine>(path, manifest);
    if (const auto missing = engine->missingOutput())
      return base::Failure{"the network has no output \"" + *missing + "\""};
    return OpenCVRun([engine](const auto& fill, auto outputs) { return engine->run(fill, outputs); });
  } catch (const std::exception&) {
    // OpenCV's own text names only its source files.
    return base::Failure{"cannot be loaded as a network with the input \"" + manifest.inputName + "\""};
  }
}

}  // namespace

extern "C" GEOLOOM_EXPORT void geoloomLoadOpenCVNetwork(const std::string& path,
                                                        const ModelManifest& manifest,
                                                        base::Result<OpenCVRun>& loaded) {
  loaded = loadNetwork(path, manifest);
}

}  // namespace geoloom::platform

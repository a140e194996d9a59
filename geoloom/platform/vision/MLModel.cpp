#include "geoloom/platform/vision/MLModel.h"

#include <cstring>
#include <map>
#include <mutex>

#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include "geoloom/base/ProcessExit.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/NSLock.h"

namespace geoloom::platform {

namespace {

constexpr std::uint64_t MAXIMUM_MANIFEST_BYTES = 1 << 20;

/// Runs `work` on this thread only: inside one of its parallel loops OpenCV starts no threads. This leaves
/// the process-wide number of threads, which the application chooses, unchanged.
template <class Work>
void onThisThread(const Work& work) {
  cv::parallel_for_(cv::Range(0, 1), [&](const cv::Range&) { work(); });
}

}  // namespace

struct MLModel::State {
  ModelManifest manifest;
  std::string name;  ///< of the network's file
  std::vector<std::string> outputNames;

  /// Held while the network runs: it guards the members below.
  NSLock lock;
  cv::dnn::Net net;
  cv::Mat input;
  std::vector<cv::Mat> results;

  base::Result<void> load(const std::filesystem::path& bundle);
};

base::Result<void> MLModel::State::load(const std::filesystem::path& bundle) {
  const auto manifestPath = bundle / "manifest.json";
  const auto text = base::readFile(manifestPath, MAXIMUM_MANIFEST_BYTES);
  if (!text) return text.failure();
  auto parsed = parseModelManifest(*text, manifestPath.string());
  if (!parsed) return parsed.failure();
  manifest = *std::move(parsed);
  name = (bundle / manifest.network).string();
  try {
    net = cv::dnn::readNetFromONNX(name);
    const int shape[] = {1, 3, static_cast<int>(manifest.inputHeight), static_cast<int>(manifest.inputWidth)};
    input = cv::Mat(4, shape, CV_32F, cv::Scalar(0));
    net.setInput(input, manifest.inputName);
    const auto known = net.getUnconnectedOutLayersNames();
    for (const auto& output : manifest.outputs) {
      if (std::find(known.begin(), known.end(), output.name) == known.end()) {
        return base::Failure{name + ": the network has no output \"" + output.name + "\""};
      }
      outputNames.push_back(output.name);
    }
  } catch (const std::exception&) {
    // The engine's own text names only its source files.
    return base::Failure{name + ": cannot be loaded as a network with the input \"" + manifest.inputName +
                         "\""};
  }
  return {};
}

MLModel::MLModel(std::unique_ptr<State> state) : state_(std::move(state)) {}
MLModel::~MLModel() = default;

const ModelManifest& MLModel::manifest() const {
  return state_->manifest;
}

base::Result<std::shared_ptr<MLModel>> MLModel::create(const std::filesystem::path& bundle) {
  std::error_code error;
  const auto canonical = std::filesystem::canonical(bundle, error);
  if (error) return base::Failure{bundle.string() + ": there is no model at this path"};

  // Never destroyed, because sessions live until the process ends. Loads under the lock, so that two sessions
  // that start together share one model.
  static auto& lock = *new NSLock;
  static auto& models = *new std::map<std::filesystem::path, std::weak_ptr<MLModel>>;
  const std::lock_guard guard(lock);
  if (auto shared = models[canonical].lock()) return shared;
  auto state = std::make_unique<State>();
  if (const auto loaded = state->load(canonical); !loaded) return loaded.failure();
  std::shared_ptr<MLModel> model(new MLModel(std::move(state)));
  models[canonical] = model;
  // The engine registers exit handlers when it first reads a network and when it first runs one.
  base::restAtExit();
  return model;
}

base::Result<std::vector<std::shared_ptr<MLMultiArray>>> MLModel::prediction(
    const std::function<void(float* planes)>& fill) {
  State& state = *state_;
  const std::lock_guard guard(state.lock);
  try {
    onThisThread([&] {
      fill(state.input.ptr<float>());
      state.net.setInput(state.input, state.manifest.inputName);
      state.net.forward(state.results, state.outputNames);
    });
    static std::once_flag first;
    std::call_once(first, base::restAtExit);
  } catch (const std::exception&) {
    return base::Failure{state.name + ": the network cannot be run on the input that its manifest states"};
  }
  std::vector<std::shared_ptr<MLMultiArray>> outputs;
  for (std::size_t i = 0; i < state.manifest.outputs.size(); ++i) {
    const cv::Mat& result = state.results[i];
    auto array = MLMultiArray::create(state.manifest.outputs[i].shape, MLMultiArrayDataType::float32);
    if (!array) return base::Failure{state.name + ": out of memory"};
    if (result.type() != CV_32F || !result.isContinuous() || result.total() != array->count()) {
      return base::Failure{state.name + ": the shape of output \"" + state.outputNames[i] +
                           "\" differs from the manifest's"};
    }
    // Copied, because the engine writes its next results to the same memory.
    std::memcpy(array->dataPointer(), result.ptr<float>(), result.total() * sizeof(float));
    outputs.push_back(std::move(array));
  }
  return outputs;
}

}  // namespace geoloom::platform

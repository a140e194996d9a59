#include "geoloom/platform/vision/MLModel.h"

#include <cstring>
#include <map>
#include <mutex>
#include <optional>

#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include "geoloom/base/ProcessExit.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/BlockingMutexLock.h"

namespace geoloom::platform {

namespace {

constexpr std::uint64_t MAXIMUM_MANIFEST_BYTES = 1 << 20;

/// Reuses the memory of released outputs. Outputs may be released on any thread.
class BufferPool : public std::enable_shared_from_this<BufferPool> {
 public:
  std::shared_ptr<MLMultiArray> array(const std::vector<std::ptrdiff_t>& shape) {
    std::size_t count = 1;
    for (const std::ptrdiff_t length : shape) count *= static_cast<std::size_t>(length);
    auto memory = std::make_shared<std::vector<float>>(take(count));
    std::vector<std::ptrdiff_t> strides(shape.size(), 1);
    for (std::size_t i = shape.size(); i-- > 1;) strides[i - 1] = strides[i] * shape[i];
    return MLMultiArray::createWithDataPointer(
        memory->data(), shape, MLMultiArrayDataType::float32, std::move(strides),
        [memory, pool = shared_from_this()] { pool->giveBack(std::move(*memory)); });
  }

 private:
  static constexpr std::size_t MAXIMUM_KEPT = 4;

  std::vector<float> take(std::size_t count) {
    const base::MutexLock guard(mutex_);
    for (auto& kept : free_) {
      if (kept.size() != count) continue;
      std::swap(kept, free_.back());
      std::vector<float> memory = std::move(free_.back());
      free_.pop_back();
      return memory;
    }
    return std::vector<float>(count);
  }

  void giveBack(std::vector<float> memory) {
    const base::MutexLock guard(mutex_);
    if (free_.size() < MAXIMUM_KEPT) free_.push_back(std::move(memory));
  }

  base::Mutex mutex_;
  std::vector<std::vector<float>> free_ GEOLOOM_GUARDED_BY(mutex_);
};

/// Runs the network on this thread only: inside one of its parallel loops the engine starts no threads. This
/// leaves the process-wide number of threads, which the application chooses, unchanged. May throw.
void forwardOnThisThread(cv::dnn::Net& net, const cv::Mat& input, const std::string& inputName,
                         std::vector<cv::Mat>& results, const std::vector<std::string>& outputNames) {
  cv::parallel_for_(cv::Range(0, 1), [&](const cv::Range&) {
    net.setInput(input, inputName);
    net.forward(results, outputNames);
  });
}

}  // namespace

struct MLModel::State {
  ModelManifest manifest;
  std::string name;  ///< of the network's file
  std::vector<std::string> outputNames;
  std::shared_ptr<BufferPool> pool = std::make_shared<BufferPool>();

  base::Mutex mutex;
  cv::dnn::Net net GEOLOOM_GUARDED_BY(mutex);
  cv::Mat input GEOLOOM_GUARDED_BY(mutex);
  std::vector<cv::Mat> results GEOLOOM_GUARDED_BY(mutex);

  std::optional<base::Failure> load(const std::filesystem::path& bundle);
};

std::optional<base::Failure> MLModel::State::load(const std::filesystem::path& bundle) {
  const auto manifestPath = bundle / "manifest.json";
  const auto text = base::readFile(manifestPath, MAXIMUM_MANIFEST_BYTES);
  if (!text) return text.failure();
  auto parsed = parseModelManifest(*text, manifestPath.string());
  if (!parsed) return parsed.failure();
  manifest = *std::move(parsed);
  name = (bundle / manifest.network).string();
  const base::MutexLock guard(mutex);
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
  return std::nullopt;
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
  static auto& mutex = *new base::Mutex;
  static auto& loaded = *new std::map<std::filesystem::path, std::weak_ptr<MLModel>>;
  const BlockingMutexLock guard(mutex);
  if (auto shared = loaded[canonical].lock()) return shared;
  auto state = std::make_unique<State>();
  if (auto failure = state->load(canonical)) return *failure;
  std::shared_ptr<MLModel> model(new MLModel(std::move(state)));
  loaded[canonical] = model;
  // The engine registers exit handlers when it first reads a network and when it first runs one.
  base::restAtExit();
  return model;
}

base::Result<std::vector<std::shared_ptr<MLMultiArray>>> MLModel::prediction(
    const std::function<void(float* planes)>& fill) {
  State& state = *state_;
  const BlockingMutexLock guard(state.mutex);
  fill(state.input.ptr<float>());
  try {
    forwardOnThisThread(state.net, state.input, state.manifest.inputName, state.results, state.outputNames);
    static std::once_flag first;
    std::call_once(first, base::restAtExit);
  } catch (const std::exception&) {
    return base::Failure{state.name + ": the network cannot be run on the input that its manifest states"};
  }
  std::vector<std::shared_ptr<MLMultiArray>> outputs;
  for (std::size_t i = 0; i < state.manifest.outputs.size(); ++i) {
    const cv::Mat& result = state.results[i];
    auto array = state.pool->array(state.manifest.outputs[i].shape);
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

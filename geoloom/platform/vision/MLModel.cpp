#include "geoloom/platform/vision/MLModel.h"

#include <atomic>
#include <map>
#include <mutex>

#include <fcntl.h>
#include <sys/mman.h>

#include "geoloom/base/Descriptor.h"
#include "geoloom/base/ProcessExit.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/foundation/NSLock.h"
#include "geoloom/platform/vision/NetworkEngine.h"

namespace geoloom::platform {

namespace {

constexpr std::uint64_t MAXIMUM_MANIFEST_BYTES = 1 << 20;

std::atomic<MLModelPrecision> modelPrecision = MLModelPrecision::float32;

struct Unmap {
  std::size_t size;
  void operator()(const char* front) const { munmap(const_cast<char*>(front), size); }
};
using Mapping = std::unique_ptr<const char, Unmap>;

/// The bytes of a file; null if there are none. `model compile` replaces files whole, which leaves a mapping
/// as it is.
Mapping mapped(const std::filesystem::path& path) {
  std::error_code error;
  const std::size_t size =
      std::filesystem::is_regular_file(path, error) ? std::filesystem::file_size(path, error) : 0;
  const base::Descriptor file(error ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  void* const front = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
  return Mapping(front == MAP_FAILED ? nullptr : static_cast<const char*>(front), {size});
}

/// oneDNN for the networks that it can run, otherwise OpenCV. Logs which.
base::Result<std::unique_ptr<NetworkEngine>> makeEngine(const std::string& path,
                                                        const ModelManifest& manifest,
                                                        MLModelPrecision precision) {
  const Mapping file = mapped(path);
  if (!file) return base::Failure{std::filesystem::exists(path) ? "cannot be read" : "there is no such file"};
  const auto network = readONNX({file.get(), file.get_deleter().size});
  if (!network) return network.failure();
  const auto plan = planNetwork(*network, manifest);
  auto engine = plan ? makeOneDNNEngine(*plan, precision) : plan.failure();
  const std::string reason = engine ? "" : ", because " + engine.failure().message;
  if (!engine) engine = makeOpenCVEngine(path, manifest);
  if (engine) SystemLog::log(path + ": runs on " + (*engine)->description() + reason);
  return engine;
}

}  // namespace

struct MLModel::State {
  ModelManifest manifest;
  std::string name;  ///< of the network's file
  std::unique_ptr<NetworkEngine> engine;

  base::Result<void> load(const std::filesystem::path& bundle, MLModelPrecision precision);
};

base::Result<void> MLModel::State::load(const std::filesystem::path& bundle, MLModelPrecision precision) {
  const auto manifestPath = bundle / "manifest.json";
  const auto text = base::readFile(manifestPath, MAXIMUM_MANIFEST_BYTES);
  if (!text) return text.failure();
  auto parsed = parseModelManifest(*text, manifestPath.string());
  if (!parsed) return parsed.failure();
  manifest = *std::move(parsed);
  name = (bundle / manifest.network).string();
  auto made = makeEngine(name, manifest, precision);
  if (!made) return base::Failure{name + ": " + made.failure().message};
  engine = *std::move(made);
  return {};
}

MLModel::MLModel(std::unique_ptr<State> state) : state_(std::move(state)) {}
MLModel::~MLModel() = default;

const ModelManifest& MLModel::manifest() const {
  return state_->manifest;
}

std::string MLModel::engineDescription() const {
  return state_->engine->description();
}

void MLModel::setPrecision(MLModelPrecision precision) {
  modelPrecision = precision;
}

base::Result<std::shared_ptr<MLModel>> MLModel::create(const std::filesystem::path& bundle) {
  std::error_code error;
  const auto canonical = std::filesystem::canonical(bundle, error);
  if (error) return base::Failure{bundle.string() + ": there is no model at this path"};

  // Never destroyed, because sessions live until the process ends. Loads under the lock, so that two sessions
  // that start together share one model.
  static auto& lock = *new NSLock;
  static auto& models =
      *new std::map<std::pair<std::filesystem::path, MLModelPrecision>, std::weak_ptr<MLModel>>;
  const std::lock_guard guard(lock);
  const MLModelPrecision precision = modelPrecision;
  auto& known = models[{canonical, precision}];
  if (auto shared = known.lock()) return shared;
  auto state = std::make_unique<State>();
  if (const auto loaded = state->load(canonical, precision); !loaded) return loaded.failure();
  std::shared_ptr<MLModel> model(new MLModel(std::move(state)));
  known = model;
  // Engines register exit handlers when they first load a network and when they first run one.
  base::restAtExit();
  return model;
}

base::Result<std::vector<std::shared_ptr<MLMultiArray>>> MLModel::prediction(
    const std::function<void(float* planes)>& fill) {
  std::vector<std::shared_ptr<MLMultiArray>> outputs;
  std::vector<float*> fronts;
  for (const auto& output : state_->manifest.outputs) {
    outputs.push_back(MLMultiArray::create(output.shape, MLMultiArrayDataType::float32));
    if (!outputs.back()) return base::Failure{state_->name + ": out of memory"};
    fronts.push_back(static_cast<float*>(outputs.back()->dataPointer()));
  }
  const auto ran = state_->engine->run(fill, fronts);
  static std::once_flag first;
  std::call_once(first, base::restAtExit);
  if (!ran) return base::Failure{state_->name + ": " + ran.failure().message};
  return outputs;
}

}  // namespace geoloom::platform

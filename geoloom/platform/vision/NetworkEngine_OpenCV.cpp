#include <dlfcn.h>

#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/vision/NetworkEngine.h"
#include "geoloom/platform/vision/OpenCVPart.h"

namespace geoloom::platform {

namespace {

class OpenCVEngine final : public NetworkEngine {
 public:
  explicit OpenCVEngine(OpenCVRun run) : run_(std::move(run)) {}
  [[nodiscard]] std::string description() const override { return "OpenCV, 32-bit floats"; }
  base::Result<void> run(const Fill& fill, std::span<float* const> outputs) override {
    return run_(fill, outputs);
  }

 private:
  const OpenCVRun run_;
};

}  // namespace

base::Result<std::unique_ptr<NetworkEngine>> makeOpenCVEngine(const std::string& path,
                                                              const ModelManifest& manifest) {
  const auto file = LibraryBundle::pathForResource("geoloom-opencv", "so");
  if (!file) return base::Failure{"geoloom-opencv.so, which runs other networks, is not beside the library"};
  // Loaded until the process ends.
  void* const part = dlopen(file->c_str(), RTLD_NOW | RTLD_LOCAL);
  if (part == nullptr) {
    const std::string reason = dlerror();  // NOLINT(concurrency-mt-unsafe): glibc keeps it for each thread
    return base::Failure{"cannot load the part for other networks: " + reason};
  }
  auto* const load = reinterpret_cast<LoadOpenCVNetwork*>(dlsym(part, OPENCV_PART_SYMBOL));
  if (load == nullptr) return base::Failure{file->string() + " is not the part for other networks"};
  base::Result<OpenCVRun> run = OpenCVRun();
  load(path, manifest, run);
  if (!run) return run.failure();
  return std::unique_ptr<NetworkEngine>(new OpenCVEngine(*std::move(run)));
}

}  // namespace geoloom::platform

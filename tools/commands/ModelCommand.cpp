#include <cmath>
#include <memory>

#include <fmt/format.h>

#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/SceneUnderstanding/network/feature_model.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/platform/vision/VNRequest.h"

#include "tools/commands/Commands.h"
#include "tools/model/ModelBundle.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {

namespace {

struct CompileOptions {
  std::filesystem::path in;
  std::filesystem::path out;
  std::vector<std::filesystem::path> notices;
};

void compile(const CompileOptions& options) {
  constexpr std::uint64_t MAXIMUM_SHARD_BYTES = std::uint64_t{1} << 30;
  const auto readShard = [&](const std::string& path) -> base::Result<std::string> {
    // A model.json may name only files beside itself.
    if (std::filesystem::path(path).filename() != path) return base::Failure{path + ": not a file name"};
    return base::readFile(options.in.parent_path() / path, MAXIMUM_SHARD_BYTES);
  };
  const auto json = valueOf(base::readFile(options.in, maximumJSONBytes));
  const auto compiled = valueOf(compileSSD(json, readShard, options.in.string()));
  if (const auto failure =
          writeModelBundle(options.out, compiled, options.in.filename().string(), options.notices))
    throw CommandError(ExitCode::badInput, failure->message);
  say(fmt::format("{}: compiled", options.out.string()));
}

struct TryOptions {
  std::filesystem::path bundle;
  std::vector<std::filesystem::path> pictures;
};

/// Prints a line for each picture: what the network sees in its central square, best first.
void tryOut(const TryOptions& options) {
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", options.bundle);
  const auto model = valueOf(platform::VNCoreMLModel::create(valueOf(feature_model::create()).model));
  const SSDPostProcessor reader(1917, 90, 0.01);
  for (const auto& path : options.pictures) {
    const auto picture = platform::makePixelBuffer(valueOf(platform::readPNG(path)));
    const auto outputs = valueOf(model->prediction(*picture, platform::EXIFOrientation::topLeft,
                                                   platform::VNImageCropAndScaleOption::centerCrop));
    std::vector<std::string> seen;
    for (const Prediction& p : reader.nonMaximumSuppression(reader.postprocess(*outputs[1], *outputs[0]))) {
      const double confidence = 1 / (1 + std::exp(-p.score));
      const auto& name = (*reader.classNames())[static_cast<std::size_t>(p.detectedClass)];
      seen.push_back(fmt::format("{} {:.2f}", name, confidence));
    }
    say(fmt::format("{:20} {}", path.stem().string(),
                    seen.empty() ? "-" : fmt::format("{}", fmt::join(seen, ", "))));
  }
}

}  // namespace

void addModelCommand(CLI::App& app) {
  CLI::App* model = app.add_subcommand("model", "Work on detection models.");
  model->require_subcommand(1);

  CLI::App* command =
      model->add_subcommand("compile", "Turn a single-shot detector into the bundle that the kit loads.");
  auto compiling = std::make_shared<CompileOptions>();
  command->add_option("IN", compiling->in, "model.json of a TensorFlow.js graph model, its shards beside it")
      ->required();
  command->add_option("OUT", compiling->out, "folder to write, usually feature_model.mlmodelc")->required();
  command->add_option("--notice", compiling->notices,
                      "licence or notice to keep beside the model; may be repeated");
  command->callback([compiling] { compile(*compiling); });

  command = model->add_subcommand("try", "Print what a model sees in pictures.");
  auto trying = std::make_shared<TryOptions>();
  command->add_option("BUNDLE", trying->bundle, "folder of the model")->required();
  command->add_option("PICTURE", trying->pictures, "PNG files; the model sees their central square")
      ->required();
  command->callback([trying] { tryOut(*trying); });
}

}  // namespace geoloom::tools

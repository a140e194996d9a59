#include <cmath>
#include <map>
#include <memory>
#include <set>

#include <fmt/format.h>

#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/SceneUnderstanding/network/feature_model.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/platform/vision/VNRequest.h"

#include "tools/commands/Commands.h"
#include "tools/model/ModelBundle.h"
#include "tools/synthetic/FurnitureViews.h"
#include "tools/synthetic/RoomGenerator.h"
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
  std::vector<std::string> models;
  std::string furniture = ".deps/furniture";
};

/// What the network names in pictures, with its confidence.
class Recogniser {
 public:
  explicit Recogniser(const std::filesystem::path& bundle) {
    platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", bundle);
    model_ = valueOf(platform::VNCoreMLModel::create(valueOf(feature_model::create()).model));
  }

  /// In the picture's central square, best first.
  [[nodiscard]] std::vector<std::pair<std::string, double>> namesIn(const platform::PNGImage& picture) const {
    const auto outputs =
        valueOf(model_->prediction(*platform::makePixelBuffer(picture), platform::EXIFOrientation::topLeft,
                                   platform::VNImageCropAndScaleOption::centerCrop));
    std::vector<std::pair<std::string, double>> names;
    for (const Prediction& p : reader_.nonMaximumSuppression(reader_.postprocess(*outputs[1], *outputs[0])))
      names.emplace_back((*reader_.classNames())[static_cast<std::size_t>(p.detectedClass)],
                         1 / (1 + std::exp(-p.score)));
    return names;
  }

 private:
  std::shared_ptr<platform::VNCoreMLModel> model_;
  SSDPostProcessor reader_{1917, 90, 0.01};
};

void tryPicture(const Recogniser& network, const std::filesystem::path& path) {
  std::vector<std::string> seen;
  for (const auto& [name, confidence] : network.namesIn(valueOf(platform::readPNG(path))))
    seen.push_back(fmt::format("{} {:.2f}", name, confidence));
  say(fmt::format("{:20} {}", path.stem().string(),
                  seen.empty() ? "-" : fmt::format("{}", fmt::join(seen, ", "))));
}

/// Prints the names that the network gives a model, each with the number of sides of eight.
void tryModel(const Recogniser& network, const std::string& type, const std::string& model,
              const RoomSources& sources) {
  std::map<std::string, int> sides;
  for (const platform::PNGImage& picture : valueOf(picturesAround(model, sources))) {
    std::set<std::string> names;
    for (const auto& [name, confidence] : network.namesIn(picture)) names.insert(name);
    for (const std::string& name : names) ++sides[name];
  }
  std::vector<std::string> others;
  for (const auto& [name, count] : sides) {
    if (name != type) others.push_back(fmt::format("{} {}", name, count));
  }
  say(fmt::format("{:14} {:32} {} of 8  {}", type, model, sides[type], fmt::join(others, ", ")));
}

void tryOut(const TryOptions& options) {
  const Recogniser network(options.bundle);
  for (const auto& picture : options.pictures) tryPicture(network, picture);
  for (const std::string& entry : options.models) {
    const RoomSources sources{{}, options.furniture};
    const std::size_t equals = entry.find('=');
    if (entry == "all") {
      for (const auto& [type, model] : modelsByClass()) tryModel(network, type, model, sources);
    } else if (equals == std::string::npos) {
      throw CommandError(ExitCode::usage, fmt::format("--model {}: must be CLASS=MODEL or \"all\"", entry));
    } else {
      tryModel(network, entry.substr(0, equals), entry.substr(equals + 1), sources);
    }
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

  command = model->add_subcommand(
      "try", "Print what a network sees in pictures, and in furniture from eight sides.");
  auto trying = std::make_shared<TryOptions>();
  command->add_option("BUNDLE", trying->bundle, "folder of the network")->required();
  command->add_option("PICTURE", trying->pictures, "PNG files; the network sees their central square");
  command->add_option("--model", trying->models,
                      "CLASS=MODEL, a furniture model and what it should be called, or \"all\" that `record "
                      "room` uses; may be repeated");
  command->add_option("--furniture", trying->furniture, "folder of the furniture")->capture_default_str();
  command->callback([trying] { tryOut(*trying); });
}

}  // namespace geoloom::tools

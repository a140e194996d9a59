#include <memory>

#include <fmt/format.h>

#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/base/ReadFile.h"

#include "tools/commands/Commands.h"
#include "tools/model/ModelBundle.h"

namespace geoloom::tools {

namespace {

struct ModelOptions {
  std::string in;
  std::string out;
  std::string labels;
  std::vector<std::string> notices;
};

constexpr std::uint64_t maximumFileBytes = std::uint64_t{1} << 30;

template <class T>
T valueOf(base::Result<T> result) {
  if (!result) throw CommandError(ExitCode::badInput, result.failure().message);
  return *std::move(result);
}

std::vector<std::string> labelsFor(const ModelOptions& options, const ModelFile& file) {
  if (!options.labels.empty())
    return readLabels(valueOf(base::readFileOrPipe(options.labels, maximumFileBytes)));
  return file.labels.empty() ? publishedLabels() : file.labels;
}

void compile(const ModelOptions& options) {
  const std::string bytes = valueOf(base::readFileOrPipe(options.in, maximumFileBytes));
  const auto file = valueOf(
      splitModelFile({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, options.in));
  const auto model = valueOf(readTFLite(file.network, options.in));
  const SSDPostProcessor reader(1917, 90, 0.01);
  const auto compiled = compileSSD(model, labelsFor(options, file), *reader.classNames());
  if (!compiled) throw CommandError(ExitCode::badInput, options.in + ": " + compiled.failure().message);
  const std::vector<std::filesystem::path> notices(options.notices.begin(), options.notices.end());
  const auto failure = writeModelBundle(options.out, *compiled,
                                        std::filesystem::path(options.in).filename().string(), notices);
  if (failure) throw CommandError(ExitCode::badInput, failure->message);
  fmt::print("{}: {} classes, {} anchors, {} x {} pixels\n", options.out, compiled->classes,
             compiled->anchors, compiled->inputSide, compiled->inputSide);
  if (!compiled->unused.empty())
    fmt::print("labels without a class: {}\n", fmt::join(compiled->unused, ", "));
}

}  // namespace

void addModelCommand(CLI::App& app) {
  CLI::App* model = app.add_subcommand("model", "Work on detection models.");
  model->require_subcommand(1);
  CLI::App* command =
      model->add_subcommand("compile", "Turn a single-shot detector into the bundle that the kit loads.");
  auto options = std::make_shared<ModelOptions>();
  command->add_option("IN", options->in, "TensorFlow Lite file, alone or packed behind its list of labels")
      ->required();
  command->add_option("OUT", options->out, "folder to write, usually feature_model.mlmodelc")->required();
  command->add_option("--labels", options->labels,
                      "names of the scores' columns, one a line, the background first");
  command->add_option("--notice", options->notices,
                      "licence or notice to keep beside the model; may be repeated");
  command->callback([options] { compile(*options); });
}

}  // namespace geoloom::tools

// Detection networks to be compiled: TensorFlow Lite files, alone or behind a list of labels.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Expect.h"
#include "tools/model/ModelBundle.h"
#include "tools/model/SSDCompiler.h"
#include "tools/model/TFLite.h"

using namespace geoloom::tools;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto file = splitModelFile({data, size}, "input");
  if (!file) return 0;
  const auto model = readTFLite(file->network, "input");
  if (!model) return 0;

  for (const auto& tensor : model->tensors) {
    if (tensor.isConstant()) GEOLOOM_EXPECT(tensor.data.size() >= tensor.count() * 2);
  }
  for (const auto& operation : model->operators) {
    GEOLOOM_EXPECT(operation.output < model->tensors.size());
    for (const std::size_t input : operation.inputs) GEOLOOM_EXPECT(input < model->tensors.size());
  }

  static const std::vector<std::string> labels = {"???", "Mug", "Cat", "Boot", "Coffee cup", "Person"};
  static const std::vector<std::string> classes = {"background", "person", "cat", "cup"};
  const auto compiled = compileSSD(*model, file->labels.empty() ? labels : file->labels, classes);
  if (compiled) GEOLOOM_EXPECT(compiled->classes == classes.size() && !compiled->onnx.empty());
  return 0;
}

#include <cmath>
#include <functional>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/vision/MLModel.h"
#include "geoloom/platform/vision/NetworkPlan.h"

#include "tests/support/Model.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/model/ReferenceInterpreter.h"
#include "tests/tools/model/TinyDetector.h"
#include "tools/model/ModelBundle.h"
#include "tools/model/ONNX.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define GEOLOOM_TEST_IS_SLOW 1
#else
#define GEOLOOM_TEST_IS_SLOW 0
#endif

namespace geoloom::tools {
namespace {

using test::TinyDetector;

/// Splits the bytes in the middle of a number, as shards may.
base::Result<CompiledSSD> compile(const std::string& json, const std::string& bytes) {
  return compileSSD(
      json,
      [&](const std::string& path) -> base::Result<std::string> {
        const std::size_t half = std::min<std::size_t>(bytes.size(), 4097);
        if (path == "a") return bytes.substr(0, half);
        if (path == "b") return bytes.substr(half);
        return base::Failure{path + ": missing"};
      },
      "model.json");
}

/// The row of the file that stands for each anchor of the kit: the one with the nearest corners.
std::vector<std::size_t> fileRows(const std::vector<double>& table) {
  std::vector<std::size_t> rows;
  for (const auto& anchor : SSDAnchors::anchors()) {
    const auto distance = [&](std::size_t row) {
      double sum = 0;
      for (std::size_t i = 0; i < 4; ++i) sum += std::abs(anchor[i] - table[4 * row + i]);
      return sum;
    };
    std::size_t nearest = 0;
    for (std::size_t row = 1; row < SSDAnchors::COUNT; ++row)
      if (distance(row) < distance(nearest)) nearest = row;
    rows.push_back(nearest);
  }
  return rows;
}

/// Runs a compiled network in the kit's own runtime and compares every element with the reference.
void expectSameAsReference(const CompiledSSD& compiled, test::ReferenceInterpreter reference) {
  const test::TemporaryDirectory folder;
  ASSERT_FALSE(writeModelBundle(folder.path() / "m.mlmodelc", compiled, "model.json", {}));
  const auto loaded = platform::MLModel::create(folder.path() / "m.mlmodelc");
  ASSERT_TRUE(loaded) << loaded.failure().message;
  EXPECT_TRUE((*loaded)->engineDescription().starts_with("oneDNN")) << (*loaded)->engineDescription();
  EXPECT_EQ((*loaded)->manifest().divisor, 127.5);
  EXPECT_EQ((*loaded)->manifest().offset, -1);

  std::mt19937 random(7);
  std::uniform_real_distribution<float> pixel(-1, 1);
  test::ReferenceInterpreter::Tensor picture{{1, 300, 300, 3}, std::vector<double>(300 * 300 * 3)};
  for (double& value : picture.values) value = double{pixel(random)};
  const auto outputs = (*loaded)->prediction([&](float* planes) {
    for (std::size_t i = 0; i < picture.values.size(); ++i)
      planes[i % 3 * 300 * 300 + i / 3] = static_cast<float>(picture.values[i]);
  });
  ASSERT_TRUE(outputs) << outputs.failure().message;
  const auto scores = *SSDPostProcessor::floatElements(*(*outputs)[0]);
  const auto boxes = *SSDPostProcessor::floatElements(*(*outputs)[1]);
  ASSERT_EQ(scores.size(), 91U * 1917);
  ASSERT_EQ(boxes.size(), 4U * 1917);

  reference.set("Preprocessor/sub", picture);
  const auto& wantedBoxes = reference.value("concat").values;
  const auto& wantedScores = reference.value("concat_1").values;
  const auto rows = fileRows(reference.value("Postprocessor/ExpandDims").values);
  for (std::size_t anchor = 0; anchor < 1917; ++anchor) {
    for (std::size_t k = 0; k < 4; ++k)
      ASSERT_NEAR(boxes[k * 1917 + anchor], wantedBoxes[rows[anchor] * 4 + k], 2e-3) << anchor << " " << k;
    for (std::size_t c = 0; c < 91; ++c)
      ASSERT_NEAR(scores[c * 1917 + anchor], wantedScores[rows[anchor] * 91 + c], 2e-3) << anchor << " " << c;
  }
}

TEST(ModelCompile, EveryFormOfOperatorComputesWhatItsDefinitionSays) {
  for (const unsigned seed : {1U, 2U}) {
    const TinyDetector tiny(seed);
    const auto compiled = compile(tiny.json(), tiny.bytes);
    ASSERT_TRUE(compiled) << compiled.failure().message;
    expectSameAsReference(*compiled, {nlohmann::json::parse(tiny.json()), tiny.bytes});
  }
}

TEST(ModelCompile, ThePublishedNetworkComputesWhatItsFileSays) {
  if (GEOLOOM_TEST_IS_SLOW) GTEST_SKIP() << "the reference takes minutes under a sanitizer";
  const std::filesystem::path path = GEOLOOM_TEST_NETWORK;
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no network; run scripts/setup";
  const auto json = *base::readFile(path, 1U << 30);
  std::string bytes;
  const auto compiled = compileSSD(
      json,
      [&](const std::string& shard) {
        auto read = base::readFile(path.parent_path() / shard, 1U << 30);
        if (read) bytes += *read;
        return read;
      },
      "model.json");
  ASSERT_TRUE(compiled) << compiled.failure().message;
  expectSameAsReference(*compiled, {nlohmann::json::parse(json), bytes});
}

TEST(ModelCompile, OtherModelsAreRefusedInOneLineThatNamesTheNode) {
  struct Case {
    const char* message;
    std::function<void(TinyDetector&)> change;
  };
  const auto constant = [](TinyDetector& tiny, const char* name) -> nlohmann::json& {
    return *std::find_if(tiny.manifest.begin(), tiny.manifest.end(),
                         [&](const auto& weight) { return weight["name"] == name; });
  };
  const Case cases[] = {
      {"node \"c/relu\": operator Elu is not understood",
       [](TinyDetector& t) { t.nodes["c/relu"]["op"] = "Elu"; }},
      {"node \"activated\": operator Sigmoid is not understood",
       [](TinyDetector& t) {
         t.nodes["activated"] = {
             {"name", "activated"}, {"op", "Sigmoid"}, {"input", {"layer2/score/reshape"}}};
         t.nodes["concat_1"]["input"][2] = "activated";
       }},
      {"node \"c/relu\": its input \"^image\" is control flow or a second output",
       [](TinyDetector& t) { t.nodes["c/relu"]["input"][0] = "^image"; }},
      {"node \"c/relu\": its input \"c/add:1\" is control flow or a second output",
       [](TinyDetector& t) { t.nodes["c/relu"]["input"][0] = "c/add:1"; }},
      {"node \"f/add\": it is part of a loop", [](TinyDetector& t) { t.nodes["c"]["input"][0] = "f/add"; }},
      {"node \"nowhere\": it is not in the graph",
       [](TinyDetector& t) { t.nodes["c"]["input"][0] = "nowhere"; }},
      {"node \"c/weights\": its weights are quantized or of another type than float32 and int32",
       [&](TinyDetector& t) {
         constant(t, "c/weights")["quantization"] = {{"dtype", "uint8"}};
       }},
      {"node \"c/weights\": its weights are quantized or of another type than float32 and int32",
       [&](TinyDetector& t) { constant(t, "c/weights")["dtype"] = "float16"; }},
      {"node \"c/weights\": its shape has a size of -3",
       [&](TinyDetector& t) { constant(t, "c/weights")["shape"][0] = -3; }},
      {"node \"c/weights\": the shards end before its weights do",
       [&](TinyDetector& t) {
         constant(t, "c/weights")["shape"] = {2147483647, 2147483647, 2147483647, 4};
       }},
      {"node \"Postprocessor/ExpandDims\": the shards end before its weights do",
       [](TinyDetector& t) { t.bytes.pop_back(); }},
      {"node \"Postprocessor/ExpandDims\": the shards go on for 3 bytes after it",
       [](TinyDetector& t) { t.bytes += "abc"; }},
      {"node \"factor\": a weight is not a finite number",
       [](TinyDetector& t) { t.bytes.replace(0, 4, "\xff\xff\xff\x7f"); }},
      {"node \"d/scale\": it is missing in the weights manifest",
       [&](TinyDetector& t) { constant(t, "d/scale")["name"] = "other"; }},
      {"node \"d/mul\": its input 1 is not a constant of 8 floats",
       [](TinyDetector& t) { t.nodes["d/mul"]["input"][1] = "c/shift"; }},
      {"node \"d/mul\": it does not stand directly behind a convolution",
       [](TinyDetector& t) {
         t.nodes["d/mul"]["input"] = {"c/relu", "c/shift"};
       }},
      {"node \"f/sum\": it adds images of different shapes",
       [](TinyDetector& t) { t.nodes["f/sum"]["input"][1] = "d/relu"; }},
      {"node \"c\": only convolutions with padding SAME, format NHWC and no dilation are understood",
       [](TinyDetector& t) { t.nodes["c"]["attr"]["padding"]["s"] = "VkFMSUQ="; }},
      {"node \"c\": its strides are not 1, rows, columns, 1",
       [](TinyDetector& t) { t.nodes["c"]["attr"]["strides"]["list"]["i"][1] = 0; }},
      {"node \"c\": attr.strides.list.i[1] must be an integer",
       [](TinyDetector& t) { t.nodes["c"]["attr"]["strides"]["list"]["i"][1] = "1.5"; }},
      {"node \"f\": its weights are not a constant for 3 channels",
       [](TinyDetector& t) { t.nodes["f"]["input"][1] = "d/weights"; }},
      {"node \"layer0/box/reshape\": [1, 1083, 91] is not the shape of the rows of 361 cells with 12 "
       "channels",
       [](TinyDetector& t) { t.nodes["layer0/box/reshape"]["input"][1] = "layer0/score/target"; }},
      {"node \"concat_1\": it is not rows of 91 columns",
       [](TinyDetector& t) { t.nodes["concat_1"]["input"] = t.nodes["concat"]["input"]; }},
      {"node \"Postprocessor/ExpandDims\": there are fewer rows than anchors",
       [](TinyDetector& t) { t.nodes["concat_1"]["input"].erase(5); }},
      {"node \"Postprocessor/ExpandDims\": no order makes it the kit's table (row 1911)",
       [](TinyDetector& t) { t.bytes.replace(t.bytes.size() - 96, 96, 96, 'a'); }},
      {"node \"Preprocessor/sub\": its input 1 is not a constant number",
       [](TinyDetector& t) { t.nodes["Preprocessor/sub"]["input"][1] = "c/shift"; }},
  };
  for (const Case& c : cases) {
    TinyDetector tiny(3);
    c.change(tiny);
    const auto compiled = compile(tiny.json(), tiny.bytes);
    ASSERT_FALSE(compiled) << c.message;
    EXPECT_EQ(compiled.failure().message, std::string("model.json: ") + c.message);
  }
}

TEST(ModelCompile, WritesABundleOverAnOlderOneAndNamesWhatItCannotWrite) {
  const TinyDetector tiny(8);
  const auto compiled = compile(tiny.json(), tiny.bytes);
  ASSERT_TRUE(compiled);
  const test::TemporaryDirectory folder;
  const auto bundle = folder.path() / "m.mlmodelc";
  const std::vector<std::filesystem::path> notices = {folder.write("NOTICE", "thanks")};
  folder.write("m.mlmodelc/manifest.json", "older");
  ASSERT_FALSE(writeModelBundle(bundle, *compiled, "a\xff.json", notices));
  EXPECT_EQ(*base::readFile(bundle / "NOTICE", 100), "thanks");
  EXPECT_TRUE(platform::MLModel::create(bundle));

  const auto inTheWay = folder.write("file", "");
  EXPECT_EQ(writeModelBundle(inTheWay, *compiled, "", {})->message,
            inTheWay.string() + ": cannot be created as a folder");
  const std::vector<std::filesystem::path> missing = {folder.path() / "no"};
  EXPECT_EQ(writeModelBundle(bundle, *compiled, "", missing)->message,
            (folder.path() / "no").string() + ": cannot be copied into " + bundle.string());
}

constexpr const char* SMALL_MANIFEST = R"({"format": "geoloom-model", "version": 1, "network": "model.onnx",
  "input": {"name": "picture", "width": 4, "height": 2, "colors": "RGB", "divisor": 1, "offset": 0},
  "outputs": [{"name": "result", "shape": [1, 3, 2, 4]}]})";

TEST(ModelCompile, OtherOperatorsRunOnOpenCV) {
  ONNXGraph graph;
  graph.input("picture", {1, 3, 2, 4});
  graph.node("Sigmoid", {"picture"}, "result");
  graph.output("result", {1, 3, 2, 4});
  const test::TemporaryDirectory bundle;
  bundle.write("manifest.json", SMALL_MANIFEST);
  bundle.write("model.onnx", graph.model("small"));
  test::useBuiltOpenCVEngine();
  const auto model = platform::MLModel::create(bundle.path());
  ASSERT_TRUE(model) << model.failure().message;
  EXPECT_TRUE((*model)->engineDescription().starts_with("OpenCV")) << (*model)->engineDescription();
  const auto outputs = (*model)->prediction([](float* planes) { std::iota(planes, planes + 24, -12.0F); });
  ASSERT_TRUE(outputs) << outputs.failure().message;
  const auto result = *SSDPostProcessor::floatElements(*(*outputs)[0]);
  for (std::size_t i = 0; i < 24; ++i)
    EXPECT_NEAR(result[i], 1 / (1 + std::exp(12 - static_cast<double>(i))), 1e-6) << i;
}

/// Reading and planning trust no size of the file; the sanitizer would find one.
TEST(ModelCompile, DamagedNetworksAreRefused) {
  const TinyDetector tiny(3);
  const auto compiled = compile(tiny.json(), tiny.bytes);
  ASSERT_TRUE(compiled);
  auto manifest = *platform::parseModelManifest(SMALL_MANIFEST, "m");
  manifest.inputName = CompiledSSD::INPUT;
  manifest.inputWidth = manifest.inputHeight = 300;
  manifest.outputs = {{CompiledSSD::SCORES, {91, 1917}}, {CompiledSSD::BOXES, {4, 1917}}};
  const auto isPlanned = [&](const std::string& bytes) {
    const std::vector<char> file(bytes.begin(), bytes.end());  // exactly as large, unlike a string's memory
    const auto network = platform::readONNX({file.data(), file.size()});
    return network && platform::planNetwork(*network, manifest);
  };
  EXPECT_TRUE(isPlanned(compiled->onnx));
  std::mt19937 random(11);
  for (int turn = 0; turn < 200; ++turn) {
    const std::size_t place = random() % compiled->onnx.size();
    EXPECT_FALSE(isPlanned(compiled->onnx.substr(0, place))) << place;
    std::string changed = compiled->onnx;
    changed[place] = static_cast<char>(random());
    isPlanned(changed);  // a changed weight is planned like another
  }
}

}  // namespace
}  // namespace geoloom::tools

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/vision/MLModel.h"

#include "tests/support/Model.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/model/ReferenceInterpreter.h"
#include "tests/tools/model/TinyDetector.h"
#include "tools/model/ModelBundle.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define GEOLOOM_TEST_IS_SLOW 1
#else
#define GEOLOOM_TEST_IS_SLOW 0
#endif

namespace geoloom::tools {
namespace {

using test::TinyDetector;

const std::vector<std::string>& classNames() {
  static const std::vector<std::string> names = *SSDPostProcessor(1917, 90, 0.01).classNames();
  return names;
}

std::span<const std::uint8_t> bytesOf(const std::string& file) {
  return {reinterpret_cast<const std::uint8_t*>(file.data()), file.size()};
}

/// The row of the source that a kit's anchor stands for: a cell's anchors 0, 1, 2, 3, 4, 5 are the source's
/// 0, 5, 1, 2, 3, 4.
std::size_t sourceRow(std::size_t anchor) {
  constexpr std::size_t firstLayer = 19 * 19 * 3;
  if (anchor < firstLayer) return anchor;
  const std::size_t inCell = (anchor - firstLayer) % 6;
  return anchor - inCell + (inCell == 0 ? 0 : inCell == 1 ? 5 : inCell - 1);
}

/// Compiles a network, runs it through the kit's own runtime and holds every element against the reference.
void expectSameAsReference(const TFLiteModel& model, const std::vector<std::string>& labels,
                           const std::map<std::string, std::vector<std::string>>& sources, double tolerance) {
  const auto compiled = compileSSD(model, labels, classNames());
  ASSERT_TRUE(compiled) << compiled.failure().message;
  const test::TemporaryDirectory folder;
  ASSERT_FALSE(writeModelBundle(folder.path() / "m.mlmodelc", *compiled, "tiny", {}));
  const auto loaded = platform::MLModel::create(folder.path() / "m.mlmodelc");
  ASSERT_TRUE(loaded) << loaded.failure().message;

  const std::size_t side = compiled->inputSide;
  std::mt19937 random(7);
  std::vector<double> picture(side * side * 3);
  for (double& value : picture)
    value = static_cast<float>(std::uniform_real_distribution<double>(-1, 1)(random));
  const auto outputs = (*loaded)->prediction([&](float* planes) {
    for (std::size_t i = 0; i < picture.size(); ++i)
      planes[i % 3 * side * side + i / 3] = static_cast<float>(picture[i]);
  });
  ASSERT_TRUE(outputs) << outputs.failure().message;
  const auto scores = *SSDPostProcessor::floatElements(*(*outputs)[0]);
  const auto boxes = *SSDPostProcessor::floatElements(*(*outputs)[1]);
  ASSERT_EQ(scores.size(), 91U * 1917);
  ASSERT_EQ(boxes.size(), 4U * 1917);

  const auto expected = test::ReferenceInterpreter(model).run(picture);
  for (std::size_t anchor = 0; anchor < 1917; ++anchor) {
    const std::size_t row = sourceRow(anchor);
    for (std::size_t k = 0; k < 4; ++k)
      ASSERT_NEAR(boxes[k * 1917 + anchor], expected[0][row * 4 + k], tolerance) << anchor << " " << k;
    for (std::size_t c = 0; c < 91; ++c) {
      double best = -std::numeric_limits<double>::infinity();
      const auto found = sources.find(classNames()[c]);
      if (found == sources.end()) best = -20;
      for (std::size_t label = 0; found != sources.end() && label < labels.size(); ++label) {
        const auto& wanted = found->second;
        if (std::find(wanted.begin(), wanted.end(), labels[label]) == wanted.end()) continue;
        best = std::max(best, expected[1][row * labels.size() + label]);
      }
      ASSERT_NEAR(scores[c * 1917 + anchor], best, tolerance) << anchor << " " << classNames()[c];
    }
  }
}

TEST(ModelCompile, BringsEveryElementToItsPlace) {
  for (const unsigned seed : {1U, 2U}) {
    const TinyDetector detector(seed);
    const std::string file = detector.file();
    const auto model = readTFLite(bytesOf(file), "tiny");
    ASSERT_TRUE(model) << model.failure().message;
    expectSameAsReference(*model, TinyDetector::labels(),
                          {{"cup", {"Mug", "Coffee cup"}}, {"cat", {"Cat"}}, {"person", {"Person"}}}, 1e-3);
  }
}

TEST(ModelCompile, ThePublishedNetworkRunsAsItsFileSays) {
  if (GEOLOOM_TEST_IS_SLOW) GTEST_SKIP() << "the reference takes minutes under a sanitizer";
  const std::filesystem::path path = GEOLOOM_TEST_NETWORK;
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no network; run scripts/setup";
  const auto bytes = base::readFile(path, 1U << 30);
  ASSERT_TRUE(bytes);
  const auto file = splitModelFile(bytesOf(*bytes), "assets");
  ASSERT_TRUE(file) << file.failure().message;
  EXPECT_EQ(file->labels, publishedLabels());
  const auto model = readTFLite(file->network, "assets");
  ASSERT_TRUE(model) << model.failure().message;
  expectSameAsReference(*model, file->labels,
                        {{"person", {"Person"}},
                         {"bicycle", {"Bicycle"}},
                         {"car", {"Car"}},
                         {"cat", {"Cat"}},
                         {"dog", {"Dog"}},
                         {"cow", {"Cattle"}},
                         {"bottle", {"Bottle"}},
                         {"cup", {"Mug", "Coffee cup"}},
                         {"chair", {"Chair"}},
                         {"dining table", {"Table", "Desk"}},
                         {"laptop", {"Laptop"}},
                         {"mouse", {"Computer mouse"}},
                         {"tv", {"Computer monitor"}},
                         {"book", {"Book"}}},
                        2e-3);
}

TEST(ModelCompile, WhatIsNoSuchDetectorIsRefusedInOneLine) {
  struct Case {
    std::string message;
    std::function<void(TinyDetector&)> change;
    std::vector<std::string> labels = TinyDetector::labels();
  };
  const auto shape = [](std::size_t tensor, const std::vector<std::int32_t>& sizes) {
    return [tensor, sizes](TinyDetector& tiny) { tiny.tensors[tensor].fields[0] = sizes; };
  };
  const auto keep = [](TinyDetector&) {};
  const Case cases[] = {
      {"the scores have 6 columns and 2 labels; give one label a column", keep, {"???", "Cat"}},
      {"none of the labels is a class of the kit", keep, {"a", "b", "c", "d", "e", "f"}},
      {"the input is not a square picture of three 32-bit floats a pixel", shape(0, {1, 19, 20, 3})},
      {"tensor \"t1\" holds 216 bytes where its shape asks for 218", shape(1, {109})},
      {"tensor \"t1\" has a size of -3", shape(1, {4, -3, 3, 3})},
      {"tensor \"t1\" has a size of 65536", shape(1, {65536, 65536})},
      {"tensor \"t0\" is of type 9; only 16- and 32-bit floats and 32-bit integers are understood",
       [](TinyDetector& tiny) { tiny.tensors[0].fields[1] = std::uint8_t{9}; }},
      {"tensor \"t0\" names a buffer that is not there",
       [](TinyDetector& tiny) { tiny.tensors[0].fields[2] = 100000; }},
      {"operator 14 is not understood; a network of convolutions, additions, reshapes and concatenations is "
       "needed",
       [](TinyDetector& tiny) { tiny.codes[0] = 14; }},
      {"an operator reads tensor 2, which has no value then",
       [](TinyDetector& tiny) { tiny.operators.erase(tiny.operators.begin()); }},
      {"an operator does not write one new tensor",
       [](TinyDetector& tiny) { tiny.operators.push_back(tiny.operators.back()); }},
      {"an operator has no code", [](TinyDetector& tiny) { tiny.codes.resize(3); }},
      {"a convolution's sizes do not match (t5)", shape(5, {1, 18, 19, 4})},
      {"a convolution has a stride or dilation of 0",
       [](TinyDetector& tiny) {
         static const test::FlatTableNode none;
         tiny.operators[2].fields[4] = &none;
       }},
  };
  for (const Case& c : cases) {
    TinyDetector tiny(3);
    c.change(tiny);
    const std::string file = tiny.file();
    const auto model = readTFLite(bytesOf(file), "f");
    const auto message = model ? compileSSD(*model, c.labels, classNames()) : model.failure();
    ASSERT_FALSE(message) << c.message;
    EXPECT_EQ(message.failure().message, (model ? "" : "f: ") + c.message);
  }
}

TEST(ModelCompile, DamagedFilesNeverDoHarm) {
  const std::string whole = TinyDetector(4).file();
  std::mt19937 random(5);
  std::size_t refused = 0;
  for (int turn = 0; turn < 4000; ++turn) {
    std::string file = whole;
    if (turn % 4 == 0) {
      file.resize(random() % whole.size());
    } else {
      for (int change = 0; change < turn % 4; ++change) {
        const std::size_t place = random() % (file.size() - 4);
        const std::uint32_t values[] = {0xffffffffU, 0x7fffffffU, 0, static_cast<std::uint32_t>(random())};
        std::memcpy(file.data() + place, &values[random() % 4], 1 + random() % 4);
      }
    }
    const auto model = readTFLite(bytesOf(file), "f");
    const auto compiled = model ? compileSSD(*model, TinyDetector::labels(), classNames()) : model.failure();
    if (compiled) continue;
    ++refused;
    EXPECT_FALSE(compiled.failure().message.empty());
  }
  EXPECT_GT(refused, 1000U);
}

TEST(ModelCompile, FindsTheNetworkBehindItsLabels) {
  const std::string network = TinyDetector(6).file();
  const auto labelsOf = [&](const std::string& file) {
    const auto split = splitModelFile(bytesOf(file), "f");
    return split ? split->labels : std::vector<std::string>{split.failure().message};
  };
  EXPECT_EQ(labelsOf(network), std::vector<std::string>{});
  EXPECT_EQ(labelsOf("???\nCat\r\nCoffee cup\n" + network),
            (std::vector<std::string>{"???", "Cat", "Coffee cup"}));
  EXPECT_EQ(labelsOf(std::string("a\0b", 3) + network)[0],
            "f: what stands before the TensorFlow Lite file is not a list of labels");
  const std::string nothing =
      "f: holds no TensorFlow Lite file; give a .tflite file or the assets it was packed in";
  EXPECT_EQ(labelsOf("")[0], nothing);
  EXPECT_EQ(labelsOf("TFL3")[0], nothing);
  EXPECT_EQ(labelsOf("Cat\n")[0], nothing);
}

TEST(ModelCompile, WidensHalfPrecision) {
  EXPECT_EQ(floatFromHalf(0x3c00), 1.0F);
  EXPECT_EQ(floatFromHalf(0xc001), -2.001953125F);
  EXPECT_EQ(floatFromHalf(0x7bff), 65504.0F);
  EXPECT_EQ(floatFromHalf(0x0400), 0x1p-14F);
  EXPECT_EQ(floatFromHalf(0x8001), -0x1p-24F);
  EXPECT_EQ(floatFromHalf(0x03ff), 1023 * 0x1p-24F);
  EXPECT_TRUE(std::signbit(floatFromHalf(0x8000)));
  EXPECT_EQ(floatFromHalf(0xfc00), -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(floatFromHalf(0x7e01)));
}

TEST(ModelCompile, WritesABundleOverAnOlderOneAndNamesWhatItCannotWrite) {
  const std::string file = TinyDetector(8).file();
  const auto compiled = compileSSD(*readTFLite(bytesOf(file), "f"), TinyDetector::labels(), classNames());
  ASSERT_TRUE(compiled);
  EXPECT_EQ(compiled->unused, std::vector<std::string>{"Boot"});
  const test::TemporaryDirectory folder;
  const auto bundle = folder.path() / "m.mlmodelc";
  const std::vector<std::filesystem::path> notices = {folder.write("NOTICE", "thanks")};
  folder.write("m.mlmodelc/manifest.json", "older");
  ASSERT_FALSE(writeModelBundle(bundle, *compiled, "a\xff.tflite", notices));
  EXPECT_EQ(*base::readFile(bundle / "NOTICE", 100), "thanks");
  EXPECT_TRUE(platform::MLModel::create(bundle));

  const auto inTheWay = folder.write("file", "");
  EXPECT_EQ(writeModelBundle(inTheWay, *compiled, "", {})->message,
            inTheWay.string() + ": cannot be made a folder");
  const std::vector<std::filesystem::path> missing = {folder.path() / "no"};
  EXPECT_EQ(writeModelBundle(bundle, *compiled, "", missing)->message,
            (folder.path() / "no").string() + ": cannot be copied into " + bundle.string());
}

}  // namespace
}  // namespace geoloom::tools

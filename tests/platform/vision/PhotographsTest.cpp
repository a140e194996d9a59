#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/SceneUnderstanding/network/feature_model.h"
#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/platform/vision/ImagePreparation.h"
#include "geoloom/platform/vision/NetworkEngine.h"
#include "geoloom/platform/vision/VNRequest.h"

#include "tests/support/Model.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

/// A box in pixels of the photograph.
struct Box {
  double left, top, right, bottom;
};

double overlap(const Box& a, const Box& b) {
  const auto area = [](const Box& box) {
    return std::max(box.right - box.left, 0.0) * std::max(box.bottom - box.top, 0.0);
  };
  const double both = area({std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                            std::min(a.bottom, b.bottom)});
  return both / (area(a) + area(b) - both);
}

class Photographs : public testing::Test {
 protected:
  void SetUp() override {
    if (!test::haveModelAndPhotographs())
      GTEST_SKIP() << "no model or photographs; run scripts/setup and build";
    test::useBuiltModel();
    auto loaded = feature_model::create();
    ASSERT_TRUE(loaded) << loaded.failure().message;
    model_ = loaded->model;
    vision_ = *VNCoreMLModel::create(model_);
  }

  static std::shared_ptr<CVPixelBuffer> photograph(const std::string& name) {
    const auto image = readPNG(test::photograph(name));
    EXPECT_TRUE(image) << image.failure().message;
    return makePixelBuffer(*image);
  }

  /// What the network finds, best first.
  std::vector<Prediction> find(const std::shared_ptr<CVPixelBuffer>& picture, EXIFOrientation orientation) {
    std::vector<Prediction> found;
    const auto thread = std::this_thread::get_id();
    auto request = std::make_shared<VNCoreMLRequest>(vision_, [&](VNCoreMLRequest& performed) {
      EXPECT_EQ(std::this_thread::get_id(), thread);
      std::vector<std::shared_ptr<MLMultiArray>> arrays;
      for (const auto& result : performed.results()) {
        const auto feature = std::dynamic_pointer_cast<VNCoreMLFeatureValueObservation>(result);
        ASSERT_TRUE(feature);
        names_.push_back(feature->featureName());
        arrays.push_back(feature->featureValue().multiArrayValue);
      }
      ASSERT_EQ(arrays.size(), 2U);
      found = reader_.nonMaximumSuppression(reader_.postprocess(*arrays[1], *arrays[0]));
    });
    const std::shared_ptr<VNCoreMLRequest> requests[] = {request};
    EXPECT_TRUE(VNImageRequestHandler(picture, orientation).perform(requests));
    return found;
  }

  /// In pixels of an upright picture of that size, of which the network saw the square in the middle.
  static Box boxOf(const Prediction& prediction, double width, double height) {
    const BoundingBox2 box = prediction.decodeBoundingBox();
    const double side = std::min(width, height);
    const double x = (width - side) / 2;
    const double y = (height - side) / 2;
    return {x + side * box.xMin, y + side * box.yMin, x + side * box.xMax, y + side * box.yMax};
  }

  [[nodiscard]] const std::string& nameOf(const Prediction& prediction) const {
    return (*reader_.classNames())[static_cast<std::size_t>(prediction.detectedClass)];
  }

  SSDPostProcessor reader_{1917, 90, 0.01};
  std::shared_ptr<MLModel> model_;
  std::shared_ptr<VNCoreMLModel> vision_;
  std::vector<std::string> names_;
};

/// The boxes were drawn by hand on the photographs, inside the square in the middle.
TEST_F(Photographs, ObjectsAreFoundInTheirPlaces) {
  const std::tuple<const char*, std::vector<std::string>, Box> cases[] = {
      // With red and blue swapped or the bytes scaled to another range, only one of the two names remains.
      {"car", {"truck", "car"}, {0, 143, 418, 408}},
      // With the anchors in the file's order, this becomes two cups, one of them wide and low.
      {"coffee", {"cup"}, {172, 18, 410, 308}},
  };
  for (const auto& [file, names, expected] : cases) {
    const auto picture = photograph(file);
    std::vector<std::string> found;
    for (const Prediction& prediction : find(picture, EXIFOrientation::topLeft)) {
      found.push_back(nameOf(prediction));
      const Box box =
          boxOf(prediction, static_cast<double>(picture->width()), static_cast<double>(picture->height()));
      EXPECT_GT(overlap(box, expected), 0.75)
          << file << ": " << box.left << " " << box.top << " " << box.right << " " << box.bottom;
    }
    EXPECT_EQ(found, names) << file;
  }
  EXPECT_EQ(names_[0], "concat_1__0");
  EXPECT_EQ(names_[1], "concat__0");
}

TEST_F(Photographs, NothingIsFoundWithoutKnownObjects) {
  for (const char* name : {"grass", "fish"})
    EXPECT_TRUE(find(photograph(name), EXIFOrientation::topLeft).empty()) << name;
}

/// The reference is another engine on the same file.
TEST_F(Photographs, LogitsAndDetectionsAreThoseOfOpenCV) {
  const ModelManifest& manifest = model_->manifest();
  EXPECT_TRUE(model_->engineDescription().starts_with("oneDNN, 32-bit floats, "))
      << model_->engineDescription();
  const auto reference = makeOpenCVEngine((test::builtModel() / manifest.network).string(), manifest);
  ASSERT_TRUE(reference) << reference.failure().message;
  const auto scores = MLMultiArray::create(manifest.outputs[0].shape, MLMultiArrayDataType::float32);
  const auto boxes = MLMultiArray::create(manifest.outputs[1].shape, MLMultiArrayDataType::float32);
  float* const fronts[] = {static_cast<float*>(scores->dataPointer()),
                           static_cast<float*>(boxes->dataPointer())};
  for (const auto& entry : std::filesystem::directory_iterator(test::photographs())) {
    if (entry.path().extension() != ".png") continue;
    const auto picture = photograph(entry.path().stem());
    const auto outputs =
        vision_->prediction(*picture, EXIFOrientation::topLeft, VNImageCropAndScaleOption::centerCrop);
    ASSERT_TRUE(outputs) << outputs.failure().message;
    ASSERT_TRUE((*reference)
                    ->run(
                        [&](float* planes) {
                          prepareImage(*picture, EXIFOrientation::topLeft,
                                       VNImageCropAndScaleOption::centerCrop, {300, 300, false, 127.5F, -1},
                                       planes);
                        },
                        fronts));
    for (std::size_t i = 0; i < 2; ++i) {
      const auto elements = *SSDPostProcessor::floatElements(*(*outputs)[i]);
      double difference = 0;
      for (std::size_t k = 0; k < elements.size(); ++k)
        difference = std::max(difference, double{std::abs(elements[k] - fronts[i][k])});
      EXPECT_LT(difference, 1e-4) << entry.path() << " output " << i;
    }
    const auto ours = reader_.nonMaximumSuppression(reader_.postprocess(*(*outputs)[1], *(*outputs)[0]));
    const auto theirs = reader_.nonMaximumSuppression(reader_.postprocess(*boxes, *scores));
    const auto isSame = [](const Prediction& a, const Prediction& b) {
      return a.index == b.index && a.detectedClass == b.detectedClass;
    };
    EXPECT_TRUE(std::equal(ours.begin(), ours.end(), theirs.begin(), theirs.end(), isSame)) << entry.path();
  }
}

TEST_F(Photographs, BFloat16KeepsTheDetectionsAndRepeatsItsScores) {
  MLModel::setPrecision(MLModelPrecision::bfloat16);
  const auto loaded = feature_model::create();
  MLModel::setPrecision(MLModelPrecision::float32);
  ASSERT_TRUE(loaded);
  if (loaded->model->engineDescription().find("bfloat16") == std::string::npos)
    GTEST_SKIP() << "this processor has no bfloat16";
  const auto rounded = *VNCoreMLModel::create(loaded->model);
  for (const char* name : {"car", "cat", "coffee", "dog"}) {
    const auto picture = photograph(name);
    const auto run = [&] {
      return *rounded->prediction(*picture, EXIFOrientation::topLeft, VNImageCropAndScaleOption::centerCrop);
    };
    const auto outputs = run();
    const auto scores = *SSDPostProcessor::floatElements(*outputs[0]);
    const auto again = run();
    const auto repeated = *SSDPostProcessor::floatElements(*again[0]);
    EXPECT_TRUE(std::equal(scores.begin(), scores.end(), repeated.begin())) << name;
    const auto found = reader_.nonMaximumSuppression(reader_.postprocess(*outputs[1], *outputs[0]));
    const auto expected = find(picture, EXIFOrientation::topLeft);
    ASSERT_FALSE(found.empty()) << name;
    EXPECT_EQ(found[0].detectedClass, expected[0].detectedClass) << name;
    EXPECT_NEAR(found[0].score, expected[0].score, 0.3) << name;
    EXPECT_NE(found[0].score, expected[0].score) << name;
  }
}

TEST_F(Photographs, TurnsASidewaysPictureUpright) {
  const auto upright = photograph("chelsea");
  const auto sensor = test::sensorImageOf(*upright);
  const auto expected = find(upright, EXIFOrientation::topLeft);
  const auto found = find(sensor, EXIFOrientation::rightTop);
  ASSERT_FALSE(expected.empty());
  ASSERT_EQ(found.size(), expected.size());
  EXPECT_EQ(found[0].index, expected[0].index);
  EXPECT_NEAR(found[0].score, expected[0].score, 1e-3);
}

TEST_F(Photographs, LaterRunsDoNotChangeEarlierResults) {
  const auto run = [&](const char* name) {
    return *vision_->prediction(*photograph(name), EXIFOrientation::topLeft,
                                VNImageCropAndScaleOption::centerCrop);
  };
  const auto elements = [](const std::shared_ptr<MLMultiArray>& array) {
    const auto span = SSDPostProcessor::floatElements(*array);
    return std::vector<float>(span->begin(), span->end());
  };
  const auto first = run("cat");
  EXPECT_EQ(first[0]->shape(), (std::vector<std::ptrdiff_t>{91, 1917}));
  EXPECT_EQ(first[1]->shape(), (std::vector<std::ptrdiff_t>{4, 1917}));
  const auto before = elements(first[0]);
  const auto second = run("dog");
  EXPECT_EQ(elements(first[0]), before);
  EXPECT_NE(elements(second[0]), before);
}

TEST_F(Photographs, SessionsShareOneNetworkFromAnyThread) {
  const auto again = feature_model::create();
  ASSERT_TRUE(again);
  EXPECT_EQ(again->model, model_);
  const auto picture = photograph("cat");
  const auto expected = find(picture, EXIFOrientation::topLeft);
  std::vector<std::vector<float>> scores(3);
  std::vector<std::thread> threads;
  for (auto& result : scores) {
    threads.emplace_back([&] {
      const auto outputs =
          vision_->prediction(*picture, EXIFOrientation::topLeft, VNImageCropAndScaleOption::centerCrop);
      const auto span = SSDPostProcessor::floatElements(*(*outputs)[0]);
      result.assign(span->begin(), span->end());
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(scores[0], scores[1]);
  EXPECT_EQ(scores[0], scores[2]);
  const auto& best = expected[0];
  EXPECT_EQ(static_cast<double>(scores[0][static_cast<std::size_t>(best.detectedClass * 1917 + best.index)]),
            best.score);
}

TEST_F(Photographs, RequestFailsIfTheManifestDoesNotFitTheNetwork) {
  const auto manifest = base::readFile(test::builtModel() / "manifest.json", 1 << 20);
  ASSERT_TRUE(manifest);
  const auto picture = photograph("cat");
  const std::pair<std::string, std::string> changes[] = {{"300", "320"}, {"91", "90"}};
  for (const auto& [part, instead] : changes) {
    std::string text = *manifest;
    text.replace(text.find(part), part.size(), instead);
    const test::TemporaryDirectory bundle;
    bundle.write("manifest.json", text);
    std::filesystem::create_symlink(test::builtModel() / "model.onnx", bundle.path() / "model.onnx");
    const auto model = MLModel::create(bundle.path());
    ASSERT_TRUE(model) << model.failure().message;
    const auto request = std::make_shared<VNCoreMLRequest>(
        *VNCoreMLModel::create(*model), [](VNCoreMLRequest&) { FAIL() << "nothing was performed"; });
    for (int turn = 0; turn < 2; ++turn) {
      const std::shared_ptr<VNCoreMLRequest> requests[] = {request};
      const auto performed = VNImageRequestHandler(picture, EXIFOrientation::topLeft).perform(requests);
      ASSERT_FALSE(performed) << part;
      EXPECT_NE(performed.failure().message.find("model.onnx: "), std::string::npos);
      EXPECT_TRUE(request->results().empty());
    }
  }
  EXPECT_FALSE(find(picture, EXIFOrientation::topLeft).empty());
}

}  // namespace
}  // namespace geoloom::platform

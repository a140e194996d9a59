#include <cmath>
#include <future>
#include <stdexcept>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/SSDObjectDetector.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/locate/LocateBox.h"
#include "geoloom/SceneUnderstanding/locate/SampleGrid.h"
#include "geoloom/SceneUnderstanding/network/feature_model.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/platform/ui/UIView.h"
#include "geoloom/platform/vision/VNRequest.h"
#include "geoloom/session/types/DetectedObject.h"

#include "tests/SceneUnderstanding/FailingAllocation.h"
#include "tests/support/Model.h"

namespace geoloom {
namespace {

using platform::ARFrame;
using platform::CGPoint;
using platform::CGRect;
using platform::CGSize;
using platform::MLMultiArray;
using platform::simd_float3;

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

void expectNear(const CGRect& actual, const CGRect& expected) {
  EXPECT_NEAR(actual.origin.x, expected.origin.x, 1e-12);
  EXPECT_NEAR(actual.origin.y, expected.origin.y, 1e-12);
  EXPECT_NEAR(actual.size.width, expected.size.width, 1e-12);
  EXPECT_NEAR(actual.size.height, expected.size.height, 1e-12);
}

TEST(SampleGrid, MapsBoxesToTheScreenAndTheRotatedImage) {
  const CGRect whole = screenRect({0, 0, 1, 1}, 375, 812);
  EXPECT_EQ(whole, (CGRect{{0, 218.5}, {375, 375}}));
  expectNear(imageRect(whole, 375, 812), {{218.5 / 812, 0}, {375.0 / 812, 1}});

  // The left third of the screen's width is the lower third of the image.
  const CGRect left = screenRect({0.5, 0, 1, 0.25}, 400, 800);
  EXPECT_EQ(left, (CGRect{{0, 400}, {100, 200}}));
  expectNear(imageRect(left, 400, 800), {{0.5, 0.75}, {0.25, 0.25}});
}

std::vector<CGPoint> samplesOf(const CGRect& rect) {
  std::vector<CGPoint> samples;
  forEachSample(rect, [&](CGPoint p) { samples.push_back(p); });
  return samples;
}

TEST(SampleGrid, StepsFromTheStartOfTheBox) {
  const auto samples = samplesOf({{0, 10}, {5, 50}});
  ASSERT_EQ(samples.size(), 16U);
  EXPECT_EQ(samples[0], (CGPoint{1, 20}));
  EXPECT_EQ(samples[1], (CGPoint{1, 30})) << "y is the inner loop";
  EXPECT_EQ(samples[15], (CGPoint{4, 50}));

  // Rounding puts the fifth sample below 0.22 + 0.42.
  EXPECT_EQ(samplesOf({{0.22, 0}, {0.42, 1}}).size(), 20U);
}

TEST(SampleGrid, HasNoSamplesWithoutASize) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double least = std::numeric_limits<double>::denorm_min();
  for (const CGSize& size : {CGSize{0, 1}, {1, 0}, {least, 1}, {NOT_A_NUMBER, 1}, {infinity, 1}})
    EXPECT_TRUE(samplesOf({{0, 0}, size}).empty()) << size.width;
  for (const double x : {NOT_A_NUMBER, infinity}) EXPECT_TRUE(samplesOf({{x, 0}, {1, 1}}).empty()) << x;
}

/// Number of frames that pass the gate, of 100 with these steps.
int passed(simd_float3 step, simd_float3 turn) {
  MotionGate gate;
  int count = 0;
  for (int i = 0; i < 100; ++i) {
    const auto n = static_cast<float>(i);
    count +=
        gate.hasMoved({n * step.x, n * step.y, n * step.z}, {n * turn.x, n * turn.y, n * turn.z}) ? 1 : 0;
  }
  return count;
}

TEST(MotionGate, OpensForAMillimetreOrAMilliradian) {
  EXPECT_EQ(passed({1, 0, 0}, {}), 96) << "never in the first four frames";
  EXPECT_EQ(passed({}, {}), 0);
  // Three steps are divided by four.
  for (const simd_float3& axis : {simd_float3{1, 0, 0}, {0, 1, 0}, {0, 0, 1}})
    for (const auto& [step, count] : {std::pair(0.0012F, 0), {0.0015F, 96}}) {
      const simd_float3 v{axis.x * step, axis.y * step, axis.z * step};
      EXPECT_EQ(passed(v, {}), count);
      EXPECT_EQ(passed({}, v), count);
    }
}

TEST(MotionGate, StaysShutAtExactlyAMillimetre) {
  for (const auto& [sum, opens] : {std::pair(0.004F, false), {std::nextafter(0.004F, 1.0F), true}}) {
    MotionGate gate;
    for (int i = 0; i < 4; ++i) EXPECT_FALSE(gate.hasMoved({}, {}));
    EXPECT_EQ(gate.hasMoved({0, 0, sum}, {}), opens);
  }
}

/// A frame of a camera at `camera` that looks along -z; 640 x 480, 90 degrees wide.
std::shared_ptr<const ARFrame> frameOf(std::vector<simd_float3> points, simd_float3 camera = {}) {
  platform::simd_float4x4 pose;
  pose.columns[3] = {camera.x, camera.y, camera.z, 1};
  platform::simd_float3x3 intrinsics;
  intrinsics.columns = {{{320, 0, 0}, {0, 320, 0}, {319.5F, 239.5F, 1}}};
  return std::make_shared<const ARFrame>(
      platform::CVPixelBuffer::create(64, 48, platform::CVPixelFormatType::BGRA32),
      std::make_shared<platform::ARCamera>(pose, intrinsics, platform::CGSize{640, 480}), std::move(points),
      0);
}

/// Points of a wall across the view, `spacing` apart.
std::vector<simd_float3> wall(float z, float spacing = 0.02F) {
  std::vector<simd_float3> points;
  const int reach = static_cast<int>(std::abs(z) / spacing);
  for (int i = -reach; i <= reach; ++i)
    for (int j = -reach; j <= reach; ++j)
      points.push_back({static_cast<float>(i) * spacing, static_cast<float>(j) * spacing, z});
  return points;
}

/// The view of a phone whose aspect is that of the frames.
constexpr ViewSize VIEW{.width = 360, .height = 480};

/// The middle of the screen, of the image and of the wall.
constexpr BoundingBox2 MIDDLE{0.4, 0.4, 0.6, 0.6};

auto located(const BoundingBox2& box, std::vector<simd_float3> points, simd_float3 camera = {}) {
  return locateBox(box, *frameOf(std::move(points), camera), VIEW.width, VIEW.height);
}

TEST(LocateBox, BoundsThePointsThatAreHit) {
  const auto found = located(MIDDLE, wall(-2));
  ASSERT_TRUE(found);
  // The square spans 480 of the image's 640 columns; a fifth of it is 96 pixels, and the samples span three
  // fifths of that. Near a sample the point nearest to the camera is chosen, up to 8 pixels further in.
  const float half = 2 * (96 * 0.6F / 2 - 4) / 320;
  EXPECT_NEAR(found->minX, -half, 0.035);
  EXPECT_NEAR(found->maxX, half, 0.035);
  EXPECT_NEAR(found->minY, -half, 0.035);
  EXPECT_NEAR(found->maxY, half, 0.035);
  EXPECT_EQ(found->minZ, -2);
  EXPECT_EQ(found->maxZ, -2);

  const auto wide = located({0.4, 0.2, 0.6, 0.8}, wall(-2));  // across the screen is upwards in the world
  ASSERT_TRUE(wide);
  EXPECT_NEAR(wide->maxX, half, 0.035);
  EXPECT_NEAR(wide->minY, -2 * (3 * 96 * 0.6F / 2 - 4) / 320, 0.035);

  EXPECT_FALSE(located(MIDDLE, {})) << "no feature points";
  EXPECT_FALSE(located({0.5, 0.5, 0.5, 0.6}, wall(-2))) << "no size";
  EXPECT_FALSE(located({NOT_A_NUMBER, 0, 1, 1}, wall(-2)));
}

TEST(LocateBox, TakesTheNearestPointOfASampleUnlessItIsTooNear) {
  EXPECT_FALSE(located(MIDDLE, wall(-0.29F, 0.002F)));
  const BoundingBox2 sampledInTheMiddle{0.3, 0.3, 0.8, 0.8};
  EXPECT_TRUE(located(sampledInTheMiddle, {{0, 0, -0.3F}})) << "exactly the least distance";
  EXPECT_FALSE(located(sampledInTheMiddle, {{0, 0, std::nextafter(-0.3F, 0.0F)}}));
  auto both = wall(-0.25F, 0.002F);
  const auto behind = wall(-2);
  both.insert(both.end(), behind.begin(), behind.end());
  EXPECT_FALSE(located(MIDDLE, both)) << "a point behind does not replace one that is too near";

  auto staggered = wall(-1, 0.01F);
  staggered.insert(staggered.end(), behind.begin(), behind.end());
  const auto found = located(MIDDLE, staggered);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->minZ, -1);
}

TEST(LocateBox, MeasuresTheDistanceFromTheCamera) {
  auto points = wall(-0.25F, 0.002F);
  for (auto& p : points) p.z += 5;
  EXPECT_FALSE(located(MIDDLE, points, {0, 0, 5}));
  points = wall(-1, 0.01F);
  for (auto& p : points) p.z += 1;  // at the world's origin, a metre from the camera
  EXPECT_TRUE(located(MIDDLE, points, {0, 0, 1}));
}

struct Seen {
  std::size_t anchor;
  std::size_t detectedClass;
  float score;
};

std::shared_ptr<platform::VNObservation> observationOf(const std::shared_ptr<MLMultiArray>& array) {
  return std::make_shared<platform::VNCoreMLFeatureValueObservation>(
      "", platform::MLFeatureValue{nullptr, array});
}
std::shared_ptr<platform::VNObservation> observationOf(std::vector<float> values,
                                                       std::vector<std::ptrdiff_t> shape) {
  auto array = MLMultiArray::create(std::move(shape), platform::MLMultiArrayDataType::float32);
  std::copy(values.begin(), values.end(), static_cast<float*>(array->dataPointer()));
  return observationOf(array);
}

/// The outputs of a network that detects these objects; each box is its anchor.
SSDObjectDetector::Observations observationsOf(const std::vector<Seen>& seen) {
  std::vector<float> scores(91 * SSDAnchors::COUNT, -20);
  for (const Seen& s : seen) scores[s.detectedClass * SSDAnchors::COUNT + s.anchor] = s.score;
  return {observationOf(std::move(scores), {91, 1917}),
          observationOf(std::vector<float>(4 * SSDAnchors::COUNT), {4, 1917})};
}

/// A detector with a scripted network, and the batches of its callback.
class ScriptedDetector : public testing::Test {
 protected:
  using Objects = std::vector<std::shared_ptr<DetectedObject>>;

  base::Result<SSDObjectDetector::Observations> observations_ = SSDObjectDetector::Observations{};
  std::function<void()> onCallback_;
  std::vector<Objects> batches_;
  std::vector<std::string> outcomes_;
  const std::shared_ptr<SSDObjectDetector> detector_ = std::make_shared<SSDObjectDetector>(
      VIEW,
      [this](const Objects& objects) {
        if (onCallback_) onCallback_();
        batches_.push_back(objects);
      },
      [this](const ARFrame&, const FrameOutcome& outcome) {
        outcomes_.push_back(outcome.failure ? outcome.failure->message
                                            : std::to_string(outcome.tracked->totalTrackedObjectCount()));
      },
      [this](const ARFrame&) { return observations_; });
};

simd_float3 pose(int step) {
  return {0.01F * static_cast<float>(step), 0, 0};
}

constexpr std::size_t WHOLE_VIEW = 1911;
constexpr std::size_t PERSON = 1;
constexpr std::size_t CHAIR = 62;

TEST_F(ScriptedDetector, ReportsNameConfidenceAndBounds) {
  observations_ = observationsOf({{WHOLE_VIEW, CHAIR, 2}, {WHOLE_VIEW, PERSON, 0.02F}, {0, CHAIR, 0.01F}});
  const auto frame = frameOf(wall(-2));
  detector_->predict(frame);
  ASSERT_EQ(batches_.size(), 1U);
  const Objects& objects = batches_[0];
  ASSERT_EQ(objects.size(), 2U);
  EXPECT_EQ(objects[0]->name, "chair");
  EXPECT_EQ(objects[0]->confidence, static_cast<float>(1 / (1 + std::exp(-2.0))));
  EXPECT_EQ(objects[1]->name, "person") << "ranked by score over all classes";
  const auto bounds = located({0.025, 0.025, 0.975, 0.975}, wall(-2));
  ASSERT_TRUE(bounds);
  EXPECT_EQ(objects[0]->center, bounds->center());
  EXPECT_EQ(objects[0]->height, bounds->maxY - bounds->minY);
  EXPECT_EQ(detector_->semanticNetwork().totalTrackedObjectCount(), 2);
}

TEST_F(ScriptedDetector, CallsBackWithAnEmptyListWithoutHits) {
  observations_ = observationsOf({{WHOLE_VIEW, CHAIR, 2}});
  detector_->predict(frameOf({}));
  ASSERT_EQ(batches_.size(), 1U);
  EXPECT_TRUE(batches_[0].empty());
  EXPECT_EQ(detector_->semanticNetwork().totalTrackedObjectCount(), 0);
}

TEST_F(ScriptedDetector, ContinuesAfterEachKindOfFailure) {
  std::vector<std::string> lines;
  platform::Console::setSink([&](std::string_view line) { lines.emplace_back(line); });
  const auto frame = frameOf(wall(-2));
  const auto good = observationsOf({{WHOLE_VIEW, CHAIR, 2}});
  auto array = observationOf(nullptr);
  auto label = std::make_shared<platform::VNClassificationObservation>("cat", 1.0F);
  auto small = observationOf({1, 2, 3}, {3});
  using Observations = SSDObjectDetector::Observations;
  for (const auto& unusable : {Observations{},
                               {good[0]},
                               {good[0], good[1], good[1]},
                               {good[0], array},
                               {label, good[1]},
                               {small, good[1]},
                               {good[0], small}}) {
    observations_ = unusable;
    detector_->predict(frame);
  }
  EXPECT_TRUE(batches_.empty());

  observations_ = base::Failure{"the image is malformed"};
  detector_->predict(frame);
  EXPECT_TRUE(batches_.empty());
  EXPECT_EQ(lines, std::vector<std::string>{"the image is malformed"});

  observations_ = good;
  onCallback_ = [] { throw std::runtime_error("thrown by the callback"); };
  EXPECT_THROW(detector_->predict(frame), std::runtime_error);
  onCallback_ = nullptr;

  detector_->predict(frame);  // would block if a request had kept the semaphore
  EXPECT_EQ(batches_.size(), 1U);
  platform::Console::setSink({});
}

TEST_F(ScriptedDetector, TakesOneFrameAtATimeAndReportsItsOutcome) {
  observations_ = observationsOf({{WHOLE_VIEW, CHAIR, 2}});
  for (int i = 0; i < 4; ++i) EXPECT_EQ(detector_->offer(frameOf({}, pose(i))), FrameOffer::still);
  std::promise<void> analyse;
  detector_->updateQueue->async([&] { analyse.get_future().wait(); });
  EXPECT_EQ(detector_->offer(frameOf(wall(-2), pose(4))), FrameOffer::taken);
  EXPECT_EQ(detector_->offer(frameOf({}, pose(5))), FrameOffer::busy);
  analyse.set_value();
  detector_->updateQueue->sync([] {});
  EXPECT_EQ(outcomes_, std::vector<std::string>{"1"});

  observations_ = base::Failure{"no network"};
  EXPECT_EQ(detector_->offer(frameOf({}, pose(6))), FrameOffer::taken);
  detector_->updateQueue->sync([] {});
  EXPECT_EQ(outcomes_.back(), "no network");
  EXPECT_EQ(detector_->offer(frameOf({}, pose(6))), FrameOffer::taken) << "the steps before it are averaged";
  detector_->updateQueue->sync([] {});
  EXPECT_EQ(detector_->cameraPositions().size(), 4U);
  EXPECT_EQ(detector_->cameraPositions().front().x, pose(4).x);
}

TEST_F(ScriptedDetector, DropsAFrameWhoseHandOverFails) {
  for (int i = 0; i < 4; ++i) EXPECT_EQ(detector_->offer(frameOf({}, pose(i))), FrameOffer::still);
  const auto frame = frameOf({}, pose(5));
  std::vector<std::string> lines;
  platform::SystemLog::setSink([&](std::string_view line) { lines.emplace_back(line); });
  test::nextAllocationFails() = true;
  EXPECT_EQ(detector_->offer(frame), FrameOffer::busy);
  EXPECT_FALSE(test::nextAllocationFails());
  EXPECT_EQ(lines, std::vector<std::string>{"dropped a frame: std::bad_alloc"});
  EXPECT_EQ(detector_->offer(frame), FrameOffer::taken) << "the lock is free";
  detector_->updateQueue->sync([] {});
  platform::SystemLog::setSink({});
}

TEST_F(ScriptedDetector, DrawsOnlyEnabledOverlays) {
  observations_ = observationsOf({{WHOLE_VIEW, CHAIR, 2}});
  auto points = wall(-2, 0.05F);
  for (auto& p : points) p.z += 0.3F * p.x;  // turned, so that its bounds have depth and overlap
  const auto frame = frameOf(points);
  const auto scene = std::make_shared<platform::SCNScene>();
  detector_->predict(frame);
  detector_->scene.store(scene);
  detector_->predict(frame);
  EXPECT_EQ(detector_->semanticNetwork().totalTrackedObjectCount(), 1);
  EXPECT_TRUE(scene->rootNode()->childNodes().empty());

  detector_->drawBoundingBoxes = true;
  for (int i = 0; i < 4; ++i) detector_->predict(frame);
  EXPECT_EQ(scene->rootNode()->childNodes().size(), 15U)
      << "the box, and the line to itself after five matches";

  detector_->VISUALIZE_HITTEST_LOCS = true;
  const auto before = scene->rootNode()->childNodes().size();
  detector_->predict(frame);
  const auto markers = scene->rootNode()->childNodes().size() - before;
  EXPECT_GT(markers, 0U);
  EXPECT_LE(markers, 25U);
}

TEST_F(ScriptedDetector, HidesTheOverlayOnTheMainQueue) {
  const auto mainQueue = platform::DispatchQueue::main();
  detector_->hideBoundingBoxes();
  mainQueue->sync([] {});
  const auto view = std::make_shared<platform::UIView>();
  detector_->setUpBoundingBoxes(view);
  detector_->setUpBoundingBoxes(view);
  const auto boxes = detector_->boundingBoxes();
  ASSERT_EQ(boxes.size(), 200U);
  ASSERT_EQ(view->layer()->sublayers().size(), 400U);
  EXPECT_EQ(view->layer()->sublayers()[2], boxes[1].shapeLayer);
  EXPECT_EQ(view->layer()->sublayers()[3], boxes[1].textLayer);
  for (const auto& box : boxes) box.shapeLayer->setHidden(false);

  observations_ = SSDObjectDetector::Observations{};
  detector_->predict(frameOf({}));
  mainQueue->sync([] {});
  EXPECT_FALSE(boxes[0].shapeLayer->isHidden()) << "no result";

  observations_ = observationsOf({});
  detector_->predict(frameOf({}));
  mainQueue->sync([] {});
  EXPECT_TRUE(boxes[0].shapeLayer->isHidden());
  EXPECT_TRUE(boxes[99].shapeLayer->isHidden());
  EXPECT_FALSE(boxes[100].shapeLayer->isHidden()) << "only a hundred boxes are used";
}

TEST(FeatureModel, LooksFeaturesUpByName) {
  const auto scores = MLMultiArray::create({1}, platform::MLMultiArrayDataType::float32);
  const auto boxes = MLMultiArray::create({1}, platform::MLMultiArrayDataType::float32);
  const feature_modelOutput output{scores, boxes};
  EXPECT_EQ(output.featureValue("concat_1__0")->multiArrayValue, scores);
  EXPECT_EQ(output.featureValue("concat__0")->multiArrayValue, boxes);
  EXPECT_FALSE(output.featureValue("Preprocessor__sub__0"));
  EXPECT_TRUE(feature_modelInput{}.featureValue("Preprocessor__sub__0"));
  EXPECT_FALSE(feature_modelInput{}.featureValue("concat__0"));
}

TEST(SSDObjectDetectorDeathTest, EndsTheProcessWithoutANetwork) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc",
                                                    "/nonexistent/feature_model.mlmodelc");
        const SSDObjectDetector detector(VIEW, {});
      },
      "Can't load VisionML model");
}

TEST(SSDObjectDetector, LocatesADog) {
  if (!test::haveModelAndPhotographs())
    GTEST_SKIP() << "no model or photographs; run scripts/setup and build";
  test::useBuiltModel();
  const auto image = platform::readPNG(test::photograph("dog"));
  ASSERT_TRUE(image) << image.failure().message;
  const auto sensor = test::sensorImageOf(*platform::makePixelBuffer(*image));
  const auto pixels = static_cast<int>(sensor->width());
  const auto side = static_cast<float>(pixels);
  ASSERT_EQ(sensor->width(), sensor->height());

  // The photograph hangs two metres away, and every fourth pixel of it is a feature point.
  const float f = side;
  const float c = (side - 1) / 2;
  const auto pointAt = [&](float u, float v) { return simd_float3{(u - c) * 2 / f, -(v - c) * 2 / f, -2}; };
  std::vector<simd_float3> points;
  for (int u = 0; u < pixels; u += 4)
    for (int v = 0; v < pixels; v += 4)
      points.push_back(pointAt(static_cast<float>(u), static_cast<float>(v)));
  platform::simd_float3x3 intrinsics;
  intrinsics.columns = {{{f, 0, 0}, {0, f, 0}, {c, c, 1}}};
  const auto frame = std::make_shared<const ARFrame>(
      sensor,
      std::make_shared<platform::ARCamera>(platform::simd_float4x4{}, intrinsics,
                                           platform::CGSize{side, side}),
      std::move(points), 0);

  std::vector<std::shared_ptr<DetectedObject>> objects;
  SSDObjectDetector detector({.width = 400, .height = 400}, [&](const auto& found) { objects = found; });
  detector.predict(frame);
  ASSERT_FALSE(objects.empty());
  EXPECT_EQ(objects[0]->name, "dog");
  EXPECT_GT(objects[0]->confidence, 0.5F);
  // Upright, the dog fills x 28 to 458 and y 80 to 512; the image's x is the upright y, its y counts x from
  // the right.
  const simd_float3 center = pointAt((80 + 512) / 2.0F, side - 1 - (28 + 458) / 2.0F);
  EXPECT_NEAR(objects[0]->center.x, center.x, 0.1);
  EXPECT_NEAR(objects[0]->center.y, center.y, 0.1);
  EXPECT_NEAR(objects[0]->center.z, -2, 1e-6);
  EXPECT_NEAR(objects[0]->height, 0.6 * (458 - 28) * 2 / static_cast<double>(f), 0.15);
}

}  // namespace
}  // namespace geoloom

#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSession.h"

#include "tests/platform/ar/PlainHitTest.h"

namespace geoloom::platform {
namespace {

constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

/// Ry(yaw) * Rx(pitch) * Rz(roll), written out as a product of three matrices.
simd_float4x4 pose(double pitch, double yaw, double roll, simd_float3 position) {
  using Matrix = std::array<std::array<double, 3>, 3>;
  const auto times = [](const Matrix& a, const Matrix& b) {
    Matrix c{};
    for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 3; ++j)
        for (std::size_t k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
    return c;
  };
  const Matrix rx{{{1, 0, 0}, {0, std::cos(pitch), -std::sin(pitch)}, {0, std::sin(pitch), std::cos(pitch)}}};
  const Matrix ry{{{std::cos(yaw), 0, std::sin(yaw)}, {0, 1, 0}, {-std::sin(yaw), 0, std::cos(yaw)}}};
  const Matrix rz{{{std::cos(roll), -std::sin(roll), 0}, {std::sin(roll), std::cos(roll), 0}, {0, 0, 1}}};
  const Matrix r = times(times(ry, rx), rz);
  simd_float4x4 m;
  for (std::size_t column = 0; column < 3; ++column) {
    m.columns[column] = {static_cast<float>(r[0][column]), static_cast<float>(r[1][column]),
                         static_cast<float>(r[2][column]), 0};
  }
  m.columns[3] = {position.x, position.y, position.z, 1};
  return m;
}

simd_float3x3 intrinsics(float fx, float fy, float cx, float cy) {
  simd_float3x3 k;
  k.columns = {{{fx, 0, 0}, {0, fy, 0}, {cx, cy, 1}}};
  return k;
}

std::shared_ptr<const ARCamera> frameCamera(CGSize size) {
  const auto k = intrinsics(500, 510, static_cast<float>(size.width / 2 - 0.5),
                            static_cast<float>(size.height / 2 - 0.5));
  return std::make_shared<ARCamera>(simd_float4x4{}, k, size);
}

ARFrame frameOf(std::vector<simd_float3> points, CGSize size = {480, 360}) {
  return {nullptr, frameCamera(size), std::move(points), 0};
}

/// All hits. Also checks that nearestHit() finds the first.
std::vector<simd_float3> hits(const ARFrame& frame, CGPoint point) {
  const auto results = frame.hitTest(point, ARHitTestResultType::featurePoint);
  const auto nearest = frame.nearestHit(point, ARHitTestResultType::featurePoint);
  EXPECT_EQ(nearest.has_value(), !results.empty());
  if (nearest && !results.empty()) {
    EXPECT_EQ(nearest->distance, results[0].distance);
    EXPECT_EQ(nearest->worldTransform, results[0].worldTransform);
  }
  std::vector<simd_float3> found;
  for (const ARHitTestResult& hit : results) {
    const auto& t = hit.worldTransform.columns[3];
    found.push_back({t.x, t.y, t.z});
  }
  return found;
}

TEST(ARCamera, RecoversEulerAnglesFromTheRotation) {
  for (const auto& [pitch, yaw, roll] : std::vector<std::array<double, 3>>{
           {0, 0, 0}, {0.3, 0, 0}, {0, -2.5, 0}, {0, 0, 1.5708}, {-1.2, 3.0, -2.0}, {1.5, -0.4, 0.7}}) {
    const ARCamera camera(pose(pitch, yaw, roll, {1, 2, 3}), {}, {480, 360});
    EXPECT_NEAR(camera.eulerAngles().x, pitch, 1e-5) << pitch << ' ' << yaw << ' ' << roll;
    EXPECT_NEAR(camera.eulerAngles().y, yaw, 1e-5) << pitch << ' ' << yaw << ' ' << roll;
    EXPECT_NEAR(camera.eulerAngles().z, roll, 1e-5) << pitch << ' ' << yaw << ' ' << roll;
  }
}

TEST(ARCamera, HasNoRollLookingStraightUpOrDown) {
  const double quarter = std::acos(0.0);
  for (const double pitch : {quarter, -quarter}) {
    const ARCamera camera(pose(pitch, 0.8, 0, {}), {}, {480, 360});
    EXPECT_NEAR(camera.eulerAngles().x, pitch, 1e-3);
    EXPECT_NEAR(camera.eulerAngles().y, 0.8, 1e-5);
    EXPECT_EQ(camera.eulerAngles().z, 0);
  }
}

TEST(HitTest, FindsPointsInFrontNearestFirst) {
  const simd_float3 near{0, 0, -1};
  const simd_float3 far{0, 0, -2};
  const ARFrame frame = frameOf({far, near, {0, 0, 1}, {0.5F, 0, -1}, {NOT_A_NUMBER, 0, -1}, {0, 0, -INF}});
  EXPECT_EQ(hits(frame, {0.5, 0.5}), (std::vector{near, far}));
  EXPECT_TRUE(hits(frame, {0.5, 0.9}).empty());
  EXPECT_TRUE(frame.hitTest({0.5, 0.5}, ARHitTestResultType::existingPlane).empty());
  EXPECT_FALSE(frame.nearestHit({0.5, 0.5}, ARHitTestResultType::existingPlane));
  const auto result =
      frame.hitTest({0.5, 0.5}, ARHitTestResultType::featurePoint | ARHitTestResultType::existingPlane);
  ASSERT_EQ(result.size(), 2U);
  EXPECT_EQ(result[0].type, ARHitTestResultType::featurePoint);
  EXPECT_EQ(result[1].distance, 2);
}

TEST(HitTest, ProjectsRightAndUpOfTheCamera) {
  const simd_float3 right{0.2F, 0, -1};
  const simd_float3 up{0, 0.2F, -1};
  const ARFrame frame = frameOf({right, up});
  EXPECT_EQ(hits(frame, {0.5 + 100.0 / 480, 0.5}), std::vector{right});
  EXPECT_EQ(hits(frame, {0.5, 0.5 - 102.0 / 360}), std::vector{up});
}

TEST(HitTest, RadiusIsInclusiveAndAFractionOfTheWidth) {
  // One metre away, 512 pixels a metre: all numbers are exact. 480 / 80 = 6 pixels.
  const auto at = [](float dx, float dy) { return simd_float3{dx / 512, -dy / 512, -1}; };
  const std::vector<simd_float3> within{at(6, 0), at(-6, 0), at(0, 6), at(0, -6), at(4, 4)};
  const std::vector<simd_float3> beyond{at(6.001F, 0), at(0, -6.001F), at(4.3F, 4.3F)};
  std::vector<simd_float3> points = within;
  points.insert(points.end(), beyond.begin(), beyond.end());
  const ARFrame frame(
      nullptr,
      std::make_shared<ARCamera>(simd_float4x4{}, intrinsics(512, 512, 239.5F, 179.5F), CGSize{480, 360}),
      points, 0);
  EXPECT_EQ(hits(frame, {0.5, 0.5}).size(), within.size());
}

TEST(HitTest, KeepsTheOrderOfEquallyNearPoints) {
  std::vector<simd_float3> points;
  for (int i = 0; i < 40; ++i) {
    const float side = i % 2 == 0 ? 0.004F : -0.004F;
    points.push_back(i % 3 == 0 ? simd_float3{side, 0, -1} : simd_float3{0, side, -1});
  }
  EXPECT_EQ(hits(frameOf(points), {0.5, 0.5}), points);
}

TEST(HitTest, FindsTheSameHitsInTheSameOrderAsALinearSearch) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> coordinate(-3, 3);
  std::uniform_real_distribution<double> inImage(-0.2, 1.2);
  std::vector<simd_float3> points(10000);
  for (simd_float3& p : points) p = {coordinate(random), coordinate(random), coordinate(random)};
  for (std::size_t i = 0; i < points.size(); i += 7) points[i] = points[i / 2];  // equals
  points[11].y = NOT_A_NUMBER;
  points[12].z = INF;
  const auto camera = std::make_shared<ARCamera>(pose(0.7, -2, 1.1, {0.1F, 0.2F, 0.3F}),
                                                 intrinsics(480, 430, 240, 180), CGSize{480, 360});
  const ARFrame frame(nullptr, camera, points, 0);
  std::size_t total = 0;
  for (int i = 0; i < 1000; ++i) {
    const CGPoint point{inImage(random), inImage(random)};
    std::vector<simd_float3> expected;
    for (const std::size_t index : test::plainHitTest(frame, point)) expected.push_back(points[index]);
    EXPECT_EQ(hits(frame, point), expected);
    total += expected.size();
  }
  EXPECT_GT(total, 50U);
  EXPECT_TRUE(hits(frame, {std::numeric_limits<double>::quiet_NaN(), 0.5}).empty());
  EXPECT_TRUE(hits(frame, {-std::numeric_limits<double>::infinity(), 0.5}).empty());
}

TEST(HitTest, AllowsConcurrentFirstTests) {
  const ARFrame frame = frameOf({{0, 0, -1}});
  std::vector<std::thread> threads;
  std::vector<std::size_t> found(8);
  for (std::size_t& count : found)
    threads.emplace_back([&frame, &count] { count = hits(frame, {0.5, 0.5}).size(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<std::size_t>(8, 1));
}

TEST(ARSession, DeliversEveryFrame) {
  const auto session = std::make_shared<ARSession>();
  const auto frame = std::make_shared<const ARFrame>(
      nullptr, std::make_shared<ARCamera>(simd_float4x4{}, simd_float3x3{}, CGSize{4, 3}),
      std::vector<simd_float3>{}, 1.5);
  EXPECT_EQ(session->currentFrame(), nullptr);
  session->deliver(frame);  // without a handler
  std::vector<double> delivered;
  session->setDidUpdateFrame([&](const auto& f) {
    EXPECT_EQ(session->currentFrame(), f);
    delivered.push_back(f->timestamp());
  });
  session->deliver(frame);
  EXPECT_EQ(delivered, std::vector{1.5});
}

TEST(ARSession, MayBeUsedWhileAReplacedHandlerIsDestroyed) {
  ARSession session;
  bool hasUsedIt = false;
  session.setDidUpdateFrame([held = std::shared_ptr<void>(nullptr, [&](void*) {
                               hasUsedIt = session.currentFrame() == nullptr;
                             })](const auto&) {});
  session.setDidUpdateFrame({});
  EXPECT_TRUE(hasUsedIt);
}

}  // namespace
}  // namespace geoloom::platform

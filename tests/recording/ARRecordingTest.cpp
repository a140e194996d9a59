#include <array>
#include <cmath>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <turbojpeg.h>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/recording/ARRecording.h"
#include "geoloom/recording/RecordedCamera.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

using Vector = std::array<double, 3>;
using Quaternion = std::array<double, 4>;  // x, y, z, w

constexpr std::size_t WIDTH = 640;
constexpr std::size_t HEIGHT = 480;
constexpr double FX = 520;
constexpr double FY = 510;
constexpr double CX = 322.25;
constexpr double CY = 236.5;

Quaternion axisAngle(const Vector& axis, double angle) {
  const double length = std::hypot(axis[0], axis[1], axis[2]);
  const double s = std::sin(angle / 2) / length;
  return {axis[0] * s, axis[1] * s, axis[2] * s, std::cos(angle / 2)};
}

Quaternion times(const Quaternion& a, const Quaternion& b) {
  return {a[3] * b[0] + a[0] * b[3] + a[1] * b[2] - a[2] * b[1],
          a[3] * b[1] - a[0] * b[2] + a[1] * b[3] + a[2] * b[0],
          a[3] * b[2] + a[0] * b[1] - a[1] * b[0] + a[2] * b[3],
          a[3] * b[3] - a[0] * b[0] - a[1] * b[1] - a[2] * b[2]};
}

Vector turn(const Quaternion& q, const Vector& v) {
  const Quaternion r = times(times(q, {v[0], v[1], v[2], 0}), {-q[0], -q[1], -q[2], q[3]});
  return {r[0], r[1], r[2]};
}

/// A level camera that looks along world +y with its x along world +x, turned about the vertical by
/// `heading`, raised by `pitch` and rolled about its own axis.
Quaternion cameraTurn(double heading, double pitch, double roll) {
  const Quaternion level = axisAngle({1, 0, 0}, -std::acos(0.0));
  const Quaternion inWorld = times(axisAngle({0, 0, 1}, heading), level);
  return times(times(inWorld, axisAngle({1, 0, 0}, pitch)), axisAngle({0, 0, 1}, roll));
}

struct Pose {
  Vector position;
  Quaternion quaternion;
};

/// A world point projected by the published camera: pixel and depth.
struct Seen {
  double u;
  double v;
  double depth;
};

Seen see(const Pose& pose, const Vector& world) {
  const Quaternion& q = pose.quaternion;
  const Vector c =
      turn({-q[0], -q[1], -q[2], q[3]},
           {world[0] - pose.position[0], world[1] - pose.position[1], world[2] - pose.position[2]});
  return {CX + FX * c[0] / c[2], CY + FY * c[1] / c[2], c[2]};
}

/// Writes recordings with gray pictures that have corners at given pixels.
class RecordedFolder : public testing::Test {
 protected:
  void SetUp() override {
    folder_.write("calibration.txt", fmt::format("{} {} {} {}\n", FX, FY, CX, CY));
    std::filesystem::create_directories(folder_.path() / "rgb");
    std::filesystem::create_directories(folder_.path() / "depth");
  }

  /// Adds a frame with a chequered corner and its depth at each point.
  void add(const Pose& pose, const std::vector<Seen>& points) {
    PNGImage image{WIDTH, HEIGHT, 3, std::vector<std::uint8_t>(WIDTH * HEIGHT * 3, 90)};
    PNGImage depth{WIDTH, HEIGHT, 1, std::vector<std::uint16_t>(WIDTH * HEIGHT, 0)};
    auto& colours = std::get<0>(image.samples);
    auto& units = std::get<1>(depth.samples);
    for (const Seen& point : points) {
      const auto u = static_cast<std::size_t>(std::lround(point.u));
      const auto v = static_cast<std::size_t>(std::lround(point.v));
      constexpr std::size_t REACH = 9;
      constexpr std::size_t DEPTH_REACH = 14;
      for (std::size_t y = v - DEPTH_REACH; y <= v + DEPTH_REACH; ++y) {
        for (std::size_t x = u - DEPTH_REACH; x <= u + DEPTH_REACH; ++x) {
          units[y * WIDTH + x] = static_cast<std::uint16_t>(std::lround(point.depth * 5000));
          const bool near = x + REACH >= u && x <= u + REACH && y + REACH >= v && y <= v + REACH;
          for (std::size_t c = 0; near && (x < u) == (y < v) && c < 3; ++c)
            colours[(y * WIDTH + x) * 3 + c] = 250;
        }
      }
    }
    const double time = 10 + 0.1 * static_cast<double>(count_++);
    ASSERT_FALSE(writePNG(folder_.path() / fmt::format("rgb/{}.png", count_), image));
    ASSERT_FALSE(writePNG(folder_.path() / fmt::format("depth/{}.png", count_), depth));
    rgb_ += fmt::format("{} rgb/{}.png\n", time, count_);
    depth_ += fmt::format("{} depth/{}.png\n", time + 0.01, count_);
    const auto& [p, q] = pose;
    truth_ +=
        fmt::format("{} {} {} {} {} {} {} {}\n", time - 0.005, p[0], p[1], p[2], q[0], q[1], q[2], q[3]);
  }

  std::shared_ptr<ARRecording> open(const ARRecordingOptions& options = {}) {
    folder_.write("rgb.txt", rgb_);
    folder_.write("depth.txt", depth_);
    folder_.write("groundtruth.txt", truth_);
    auto recording = ARRecording::open(folder_.path(), options);
    EXPECT_TRUE(recording) << (recording ? "" : recording.failure().message);
    return recording ? *recording : nullptr;
  }

  geoloom::test::TemporaryDirectory folder_;
  std::string rgb_;
  std::string depth_;
  std::string truth_;
  std::size_t count_ = 0;
};

const ARRecordingOptions recordingOrigin{ARRecordingOptions::Origin::recording};

// Projects a known world point by the published camera, maps it as the detector maps a box from the network's
// square to the sensor's image, and hit-tests it there. A turn in the wrong direction would still be
// orthonormal; this test detects it.
TEST_F(RecordedFolder, HitTestReturnsAProjectedWorldPoint) {
  const std::vector<Pose> poses{{{0, 0, 1.5}, cameraTurn(0, 0, 0)},
                                {{0.4, -0.3, 1.2}, cameraTurn(0.7, -0.2, 0.3)},
                                {{-1, 2, 0.8}, cameraTurn(-2.1, 0.4, -0.25)}};
  std::vector<Vector> worlds;
  for (const Pose& pose : poses) {
    const Vector ahead = turn(pose.quaternion, {0.17, -0.12, 1.6});
    worlds.push_back({pose.position[0] + ahead[0], pose.position[1] + ahead[1], pose.position[2] + ahead[2]});
    add(pose, {see(pose, worlds.back())});
  }
  const auto recording = open(recordingOrigin);
  ASSERT_EQ(recording->frameCount(), poses.size());
  for (std::size_t i = 0; i < poses.size(); ++i) {
    const auto frame = recording->frame(i);
    ASSERT_TRUE(frame);
    ASSERT_EQ(frame->capturedImage()->width(), 480U);
    ASSERT_EQ(frame->capturedImage()->height(), 360U);

    // The upright picture is the central 360 x 480; the network's input is its central 360 x 360.
    const Seen seen = see(poses[i], worlds[i]);
    const double x = (seen.u - 140 + 0.5) / 360;
    const double y = (seen.v - 60 + 0.5) / 360;
    const double screenWidth = 360;
    const double screenHeight = 480;
    const double onScreenX = screenWidth * x;
    const double onScreenY = (screenHeight - screenWidth) * 0.5 + screenWidth * y;
    const auto hits = frame->hitTest({onScreenY / screenHeight, 1 - onScreenX / screenWidth},
                                     ARHitTestResultType::featurePoint);
    ASSERT_FALSE(hits.empty()) << i;
    const auto& found = hits.front().worldTransform.columns[3];
    const Vector expected = yUp(worlds[i]);
    EXPECT_NEAR(found.x, expected[0], 0.01) << i;
    EXPECT_NEAR(found.y, expected[1], 0.01) << i;
    EXPECT_NEAR(found.z, expected[2], 0.01) << i;
  }
}

TEST_F(RecordedFolder, FirstFrameIsTheSessionsOrigin) {
  const Pose first{{1, 2, 1.4}, cameraTurn(0.4, -0.3, 0.1)};
  const Pose second{{1.3, 2.2, 1.5}, cameraTurn(0.5, -0.2, 0)};
  const Vector world{0.4, 3.6, 1};
  add(first, {see(first, world)});
  add(second, {see(second, world)});
  const auto recording = open();
  const auto frame = recording->frame(0);
  ASSERT_TRUE(frame);
  const auto& m = frame->camera().transform().columns;
  EXPECT_NEAR(std::hypot(m[3].x, m[3].y, m[3].z), 0, 1e-6);
  EXPECT_NEAR(m[2].x, 0, 1e-6);  // looks along -z, seen from above
  EXPECT_GT(m[2].z, 0.9);
  EXPECT_NEAR(m[2].y, -std::sin(-0.3), 1e-6);  // y stays vertical, so the pitch is unchanged
  // The sensor's x axis points down, so the roll is a quarter turn more.
  EXPECT_NEAR(frame->camera().eulerAngles().z, -std::acos(0.0) - 0.1, 1e-5);

  EXPECT_EQ(open({.continues = recording})->frame(1)->camera().transform(),
            recording->frame(1)->camera().transform());
}

TEST_F(RecordedFolder, CountsAndSkipsDamagedEntries) {
  const Pose pose{{0, 0, 1}, cameraTurn(0, 0, 0)};
  for (int i = 0; i < 5; ++i) add(pose, {see(pose, {0.1, 2, 1})});
  std::filesystem::remove(folder_.path() / "rgb/1.png");
  folder_.write("rgb/2.png", "no picture");
  std::filesystem::copy_file(folder_.path() / "rgb/5.png", folder_.path() / "depth/3.png",
                             std::filesystem::copy_options::overwrite_existing);
  std::filesystem::remove(folder_.path() / "depth/4.png");
  rgb_ += "10.05\n99 rgb/5.png\n";
  truth_ += "10 0 0\n";
  const auto recording = open();
  ASSERT_EQ(recording->frameCount(), 5U);
  EXPECT_TRUE(recording->firstReadableFrame());
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(recording->frame(i), nullptr) << i;
  EXPECT_NE(recording->frame(4), nullptr);
  EXPECT_EQ(recording->frame(5), nullptr);
  EXPECT_TRUE(std::isnan(recording->timestamp(5)));
  using testing::HasSubstr;
  EXPECT_THAT(
      recording->problems(),
      testing::ElementsAre(
          HasSubstr("rgb.txt: 1 malformed line skipped, the first is line 6"),
          HasSubstr("groundtruth.txt: 1 malformed line"), HasSubstr("1 image skipped: no pose within 0.02 s"),
          HasSubstr("2 frames without a readable image skipped, the first: "),
          AllOf(HasSubstr("2 frames without a readable depth image skipped, the first: "),
                HasSubstr("depth/3.png: is 8-bit colour of 640 x 480; must be 16-bit gray"))));
}

TEST_F(RecordedFolder, NamesTheFirstFaultIfNoFrameIsReadable) {
  const Pose pose{{0, 0, 1}, cameraTurn(0, 0, 0)};
  add(pose, {see(pose, {0.1, 2, 1})});
  folder_.write("rgb/1.png", "no picture");
  const auto frame = open()->firstReadableFrame();
  ASSERT_FALSE(frame);
  EXPECT_THAT(frame.failure().message,
              AllOf(testing::HasSubstr("none of 1 frame can be read"), testing::HasSubstr("rgb/1.png: ")));
}

TEST_F(RecordedFolder, ReadsJPEGImages) {
  const Pose pose{{0, 0, 1}, cameraTurn(0, 0, 0)};
  add(pose, {see(pose, {0.1, 2, 1})});
  const auto expected = open()->frame(0);
  const auto png = readPNG(folder_.path() / "rgb/1.png");
  ASSERT_TRUE(expected && png);
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  const tjhandle encoder = tjInitCompress();
  ASSERT_EQ(tjCompress2(encoder, png->samples8()->data(), WIDTH, 0, HEIGHT, TJPF_RGB, &jpeg, &size,
                        TJSAMP_420, 95, 0),
            0);
  const std::string bytes(reinterpret_cast<const char*>(jpeg), size);
  tjFree(jpeg);
  tjDestroy(encoder);

  folder_.write("rgb/1.png", bytes);
  const auto frame = open()->frame(0);
  ASSERT_TRUE(frame);
  EXPECT_FALSE(frame->rawFeaturePoints().empty());
  for (std::size_t i = 0; i < 4; ++i)
    EXPECT_NEAR(frame->capturedImage()->baseAddress()[i], expected->capturedImage()->baseAddress()[i], 2);

  folder_.write("rgb/1.png", bytes.substr(0, bytes.size() / 2));
  const auto truncated = open();
  EXPECT_EQ(truncated->frame(0), nullptr);
  EXPECT_THAT(truncated->problems(), testing::ElementsAre(testing::HasSubstr("1.png: damaged JPEG file: ")));
}

TEST_F(RecordedFolder, WarnsAboutDepthInMillimetres) {
  const Pose pose{{0, 0, 1}, cameraTurn(0, 0, 0)};
  for (int i = 0; i < 5; ++i) add(pose, {{300.0, 200.0, 3.0 / 5}, {350.0, 250.0, 4.0 / 5}});
  const auto recording = open();
  for (std::size_t i = 0; i < 5; ++i) ASSERT_TRUE(recording->frame(i));
  EXPECT_THAT(recording->problems(), testing::Contains(testing::HasSubstr("if the images hold millimetres")));
}

TEST_F(RecordedFolder, OmitsCornersOfUnknownDepth) {
  const Pose pose{{0, 0, 1}, cameraTurn(0, 0, 0)};
  add(pose, {{300.0, 200.0, 1.5}, {350.0, 250.0, 0.0}});
  const auto recording = open();
  const auto frame = recording->frame(0);
  ASSERT_TRUE(frame);
  ASSERT_FALSE(frame->rawFeaturePoints().empty());
  for (const simd_float3& p : frame->rawFeaturePoints()) EXPECT_NEAR(p.z, -1.5, 1e-3);
  EXPECT_THAT(recording->problems(), testing::ElementsAre(testing::HasSubstr("skipped: no depth there")));
}

TEST(PortraitWindow, IsTheLargestCentredOne) {
  EXPECT_EQ(portraitWindow(640, 480, 0.75), (PortraitWindow{140, 0, 360, 480}));
  EXPECT_EQ(portraitWindow(640, 480, 0.5), (PortraitWindow{200, 0, 240, 480}));
  EXPECT_EQ(portraitWindow(480, 640, 0.75), (PortraitWindow{0, 0, 480, 640}));
  EXPECT_EQ(portraitWindow(300, 640, 0.75), (PortraitWindow{0, 120, 300, 400}));
  EXPECT_EQ(portraitWindow(480, 480, 1), (PortraitWindow{0, 0, 480, 480}));
  EXPECT_EQ(portraitWindow(1, 1, 0.75), (PortraitWindow{0, 0, 1, 1}));
}

TEST(SessionOrigin, HasAHeadingEvenLookingStraightDown) {
  for (const double pitch : {-std::acos(0.0), std::acos(0.0)}) {
    const TimedPose pose{0, {1, 2, 3}, cameraTurn(0.6, pitch, 0)};
    const RigidTransform session = sessionFromWorld(uprightCamera(pose));
    // The level camera of that heading looks along -z of the session.
    const Vector ahead = yUp(turn(cameraTurn(0.6, 0, 0), {0, 0, 1}));
    const Vector there = session.apply({ahead[0] + 1, ahead[1] + 3, ahead[2] - 2});
    EXPECT_NEAR(there[0], 0, 1e-9);
    EXPECT_NEAR(there[1], 0, 1e-9);
    EXPECT_NEAR(there[2], -1, 1e-9);
  }
}

}  // namespace
}  // namespace geoloom::platform

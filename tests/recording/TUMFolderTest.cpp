#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "geoloom/recording/TUMFolder.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom {
namespace {

TEST(TUMFolder, SortsListsByTimeAndCountsMalformedLines) {
  const auto list = parseTimedPaths(
      "# color images\r\n# timestamp filename\n\n  2.5\trgb/b.png \r\n1.25 rgb/a.png\nrgb/c.png\n3 \n4x "
      "rgb/d.png\n"
      "5 rgb/e.png trailing\nnan rgb/f.png\n6 rgb/g.png");
  ASSERT_EQ(list.entries.size(), 3U);
  EXPECT_EQ(list.entries[0].path, "rgb/a.png");
  EXPECT_EQ(list.entries[1].path, "rgb/b.png");
  EXPECT_EQ(list.entries[1].time, 2.5);
  EXPECT_EQ(list.entries[2].path, "rgb/g.png");  // without a line break at its end
  EXPECT_EQ(list.malformed.count, 5U);
  EXPECT_EQ(list.malformed.first, 6U);
}

TEST(TUMFolder, PosesHaveEightNumbersAndAQuaternion) {
  const auto list = parseTimedPoses(
      "1305031102.1758 1.3405 0.6266 1.6575 0 0 0 2\n"
      "1 2 3 4 0 0 0\n"
      "1 2 3 4 0 0 0 0\n"
      "1 2 3 4 0 0 inf 1\n"
      "1 2 3 4 0 0 0 1 9\n"
      "1 2 3 4 0 0 0 -1e-3");
  ASSERT_EQ(list.entries.size(), 2U);
  EXPECT_EQ(list.entries[0].quaternion, (std::array<double, 4>{0, 0, 0, -1}));
  EXPECT_EQ(list.entries[1].quaternion, (std::array<double, 4>{0, 0, 0, 1}));
  EXPECT_EQ(list.entries[1].position, (std::array{1.3405, 0.6266, 1.6575}));
  EXPECT_EQ(list.malformed.count, 4U);
  EXPECT_EQ(list.malformed.first, 2U);
}

TEST(TUMFolder, AcceptsACalibrationWithoutDistortion) {
  const auto k = parseCalibration("# fx fy cx cy\n517.3 516.5 318.6 255.3 0 0\n");
  ASSERT_TRUE(k);
  EXPECT_EQ(k->fx, 517.3);
  EXPECT_EQ(k->fy, 516.5);
  EXPECT_EQ(k->cx, 318.6);
  EXPECT_EQ(k->cy, 255.3);
  for (const char* bad :
       {"", "525 525 319.5", "525 525 x 1", "0 525 1 1", "525 525 319.5 239.5 0.26 0 0 0 0"})
    EXPECT_FALSE(parseCalibration(bad)) << bad;
  EXPECT_EQ(defaultCalibration(640, 480).cx, 319.5);
  EXPECT_EQ(defaultCalibration(1280, 960).fx, 1050);
}

class TUMFolderOnDisk : public testing::Test {
 protected:
  test::TemporaryDirectory folder_;
};

TEST_F(TUMFolderOnDisk, AssociatesTheNearestEntriesWithinTheTolerance) {
  folder_.write("rgb.txt", "1.000 a\n2.000 b\n3.000 c\n4.000 d\n");
  folder_.write("depth.txt", "0.99 da\n1.02 late\n1.98 db1\n2.0151 db2\n3 dc\n4.021 dd\n");
  folder_.write("groundtruth.txt",
                "1.015625 1 0 0 0 0 0 1\n0.984375 2 0 0 0 0 0 1\n2.005 3 0 0 0 0 0 1\n4 4 0 0 0 0 0 1\n");
  const auto lists = readTUMFolder(folder_.path(), 0.02);
  ASSERT_TRUE(lists);
  ASSERT_EQ(lists->entries.size(), 2U);
  EXPECT_EQ(lists->entries[0].image, "a");
  EXPECT_EQ(lists->entries[0].depth, "da");
  EXPECT_EQ(lists->entries[0].pose.position[0], 2);  // equally near: the earlier
  EXPECT_EQ(lists->entries[1].depth, "db2");
  EXPECT_EQ(lists->entries[1].pose.position[0], 3);
  EXPECT_EQ(
      describe(lists->withoutPose, "pose", 0.02),
      "1 image skipped: no pose within 0.02 s (the nearest is 0.995 s away; a larger tolerance accepts it)");
  EXPECT_EQ(lists->withoutDepth.count, 1U);
  EXPECT_FALSE(lists->calibration);
}

TEST_F(TUMFolderOnDisk, NamesTheReasonOfAFailure) {
  using testing::HasSubstr;
  const auto failure = [&] {
    const auto lists = readTUMFolder(folder_.path(), 0.02);
    return lists ? std::string("none") : lists.failure().message;
  };
  EXPECT_THAT(failure(), HasSubstr("rgb.txt: cannot be read"));
  folder_.write("rgb.txt", "1 a\n");
  EXPECT_THAT(failure(), HasSubstr("depth.txt: cannot be read"));
  folder_.write("depth.txt", "1.05 a\n");
  EXPECT_THAT(failure(), HasSubstr("groundtruth.txt: cannot be read"));
  folder_.write("groundtruth.txt", "# no pose\n");
  EXPECT_THAT(failure(), HasSubstr("both a depth image and a pose: 1 image skipped: no pose within 0.02 s"));
  folder_.write("groundtruth.txt", "1,1,0,0,0,0,0,1\n");
  EXPECT_THAT(failure(), HasSubstr("groundtruth.txt: 1 malformed line skipped, the first is line 1"));
  folder_.write("groundtruth.txt", "100 1 0 0 0 0 0 1\n");
  EXPECT_THAT(failure(), HasSubstr("(the nearest is 99 s away; are the times of different clocks?)"));
  folder_.write("groundtruth.txt", "1 1 0 0 0 0 0 1\n");
  EXPECT_THAT(failure(), HasSubstr("no depth image within 0.02 s (the nearest is 0.05 s away"));
  folder_.write("depth.txt", "1 a\n");
  EXPECT_EQ(failure(), "none");
  folder_.write("calibration.txt", "525 525 319.5 239.5 0.2\n");
  EXPECT_THAT(failure(), HasSubstr("calibration.txt: must begin with"));
}

TEST_F(TUMFolderOnDisk, WarnsAboutProbableMistakes) {
  const auto warnings = [&](double step, const std::vector<const char*>& poses) {
    std::string times;
    std::string truth;
    for (std::size_t i = 0; i < poses.size(); ++i) {
      times += fmt::format("{} a\n", step * static_cast<double>(i));
      truth += fmt::format("{} {}\n", step * static_cast<double>(i), poses[i]);
    }
    folder_.write("rgb.txt", times);
    folder_.write("depth.txt", times);
    folder_.write("groundtruth.txt", truth);
    const auto lists = readTUMFolder(folder_.path(), 0.02);
    return lists ? lists->warnings : std::vector{lists.failure().message};
  };
  const char* still = "0 0 0 0 0 0 1";
  const char* moved = "1 0 0 0 0 0 1";
  const char* turned = "1 0 0 0 0 0.6 0.8";
  EXPECT_EQ(warnings(0.033, {still, moved, moved, moved, turned}), std::vector<std::string>{});
  EXPECT_EQ(warnings(0.033, {still, still, still, still, still}), std::vector<std::string>{});
  EXPECT_THAT(warnings(0.033, {still, moved, moved, moved, moved}),
              testing::ElementsAre(testing::HasSubstr("moves but never turns")));
  EXPECT_THAT(warnings(33.3, {still, moved, moved, moved, turned}),
              testing::ElementsAre(testing::HasSubstr("rgb.txt: images are 33.3 s apart")));
}

}  // namespace
}  // namespace geoloom

#include <gtest/gtest.h>

#include "geoloom/recording/TUMFolder.h"

#include "tests/support/TemporaryDirectory.h"

namespace geoloom::platform {
namespace {

TEST(TUMFolder, ListsAreReadInOrderOfTimeAndTornLinesCounted) {
  const auto list = parseTimedPaths(
      "# color images\r\n# timestamp filename\n\n  2.5\trgb/b.png \r\n1.25 rgb/a.png\nrgb/c.png\n3 \n4x "
      "rgb/d.png\n"
      "5 rgb/e.png trailing\nnan rgb/f.png\n6 rgb/g.png");
  ASSERT_EQ(list.entries.size(), 3U);
  EXPECT_EQ(list.entries[0].path, "rgb/a.png");
  EXPECT_EQ(list.entries[1].path, "rgb/b.png");
  EXPECT_EQ(list.entries[1].time, 2.5);
  EXPECT_EQ(list.entries[2].path, "rgb/g.png");  // without a line break at its end
  EXPECT_EQ(list.torn.count, 5U);
  EXPECT_EQ(list.torn.first, 6U);
}

TEST(TUMFolder, PosesNeedEightNumbersAndAQuaternion) {
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
  EXPECT_EQ(list.torn.count, 4U);
  EXPECT_EQ(list.torn.first, 2U);
}

TEST(TUMFolder, ACalibrationWithoutDistortionIsTaken) {
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
  geoloom::test::TemporaryDirectory folder_;
};

TEST_F(TUMFolderOnDisk, PartnersAreTheNearestInTimeWithinTheTolerance) {
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
  EXPECT_EQ(lists->imagesWithoutPose, 1U);   // c
  EXPECT_EQ(lists->imagesWithoutDepth, 1U);  // d
  EXPECT_FALSE(lists->calibration);
}

TEST_F(TUMFolderOnDisk, WhatIsNoRecordingIsNamed) {
  const auto failure = [&] {
    const auto lists = readTUMFolder(folder_.path(), 0.02);
    return lists ? std::string("none") : lists.failure().message;
  };
  EXPECT_NE(failure().find("rgb.txt: cannot be read"), std::string::npos);
  folder_.write("rgb.txt", "1 a\n");
  EXPECT_NE(failure().find("depth.txt: cannot be read"), std::string::npos);
  folder_.write("depth.txt", "1 a\n");
  EXPECT_NE(failure().find("groundtruth.txt: cannot be read"), std::string::npos);
  folder_.write("groundtruth.txt", "9 1 0 0 0 0 0 1\n");
  EXPECT_NE(failure().find("no image of rgb.txt has both"), std::string::npos);
  folder_.write("groundtruth.txt", "1 1 0 0 0 0 0 1\n");
  EXPECT_EQ(failure(), "none");
  folder_.write("calibration.txt", "525 525 319.5 239.5 0.2\n");
  EXPECT_NE(failure().find("calibration.txt: must begin with"), std::string::npos);
}

}  // namespace
}  // namespace geoloom::platform

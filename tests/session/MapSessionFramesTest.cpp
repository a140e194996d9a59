#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/ui/UIView.h"
#include "geoloom/session/DetectionRows.h"
#include "geoloom/session/types/DetectedObjectFactory.h"

#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Objects = std::vector<std::shared_ptr<DetectedObject>>;

class MapSessionDetections : public SessionTest {
 protected:
  static std::shared_ptr<DetectedObject> object(const std::string& name, float confidence) {
    return DetectedObjectFactory::make(name, confidence, {0.1F, -0.5F, -1.2F}, 0.9F);
  }
  // As the detector does, on its queue.
  void detect(MapSession& session, const Objects& objects) {
    const auto& detector = watch(session).detector;
    detector->updateQueue->sync([&] { detector->callback(objects); });
  }
  // "<name> <session> <frame>" of each row written, in the order of their arrival.
  [[nodiscard]] std::vector<std::string> rows() const {
    std::vector<std::string> rows;
    for (const auto& request : requests("PutItem")) {
      const auto item = request.json()["Item"];
      rows.push_back(item["ObjectName"]["S"].get<std::string>() + " " +
                     item["SessionId"]["S"].get<std::string>() + " " +
                     item["FrameId"]["N"].get<std::string>());
    }
    return rows;
  }
};

TEST_F(MapSessionDetections, ReportsAllObjectsAndSavesTheConfidentOnes) {
  const auto session = openInitialized(MapMode::localization, 0.6F);
  configuration->sceneUnderstandingConfidenceThreshold = 0.95F;  // too late
  detect(*session, {});
  detect(*session, {object("chair", 0.9F), object("cup", 0.4F), object("dog", 0.6F)});
  ASSERT_TRUE(watch(*session).waitFor("row saved", 2));
  ASSERT_EQ(detections.entries().size(), 1U);
  EXPECT_EQ(detections.entries().front().size(), 3U);
  EXPECT_THAT(rows(), ElementsAre("chair L1 1", "dog L1 1"));

  session->registerCallbacks({}, {}, {});
  detect(*session, {object("vase", 0.9F)});
  ASSERT_TRUE(watch(*session).waitFor("row saved", 3));
  EXPECT_EQ(rows().back(), "vase L1 2");
}

TEST_F(MapSessionDetections, SavesNoRowsBeforeTheIdentifierIsKnown) {
  Gate answered;
  answer("/prod/maps/create_map",
         FakeAnswer::json(R"({"uuid": "M1"})").after([&] { EXPECT_TRUE(answered.wait()); }));
  const auto session = open(MapMode::mapping);
  detect(*session, {object("chair", 0.9F)});
  EXPECT_EQ(detections.entries().size(), 1U);
  answered.open();
  ASSERT_TRUE(statuses.waitForCount(1));
  detect(*session, {object("dog", 0.9F)});
  ASSERT_TRUE(waitForRequests("PutItem", 1));
  EXPECT_THAT(rows(), ElementsAre("dog M1 2"));
}

// Tests saveDetections without a session; the fixture's services are those of the last session.
TEST_F(MapSessionDetections, SavesTheRowsOfABatchOneAfterTheOther) {
  openInitialized(MapMode::mapping);
  Gate firstArrived;
  Gate mayAnswer;
  answer("PutItem", FakeAnswer::json("{}").after([&] {
    firstArrived.open();
    EXPECT_TRUE(mayAnswer.wait());
  }));
  clock->advance(std::chrono::milliseconds(500));
  const auto observer = std::make_shared<SessionWatch>();
  saveDetections({.sessionID = "S",
                  .frameID = 7,
                  .mode = MapMode::localization,
                  .objects = {object("chair", 0.75F), object("cup", 0.5F), object("dog", 0.75F)}},
                 0.6F, observer);
  ASSERT_TRUE(firstArrived.wait());
  EXPECT_EQ(requests("PutItem").size(), 1U);
  answer("PutItem",
         FakeAnswer::json(R"({"__type": "com.amazonaws.dynamodb.v20120810#ResourceNotFoundException",
      "message": "Requested resource not found"})",
                          400));
  mayAnswer.open();
  ASSERT_TRUE(observer->events.waitForCount(3));
  const auto events = observer->events.entries();
  EXPECT_EQ(events[0], "rows 2");
  EXPECT_EQ(events[1], "row saved");
  EXPECT_THAT(events[2], ::testing::AllOf(::testing::StartsWith("row failed: "),
                                          ::testing::HasSubstr("Requested resource not found")));
  EXPECT_THAT(rows(), ElementsAre("chair S 7", "dog S 7"));
  EXPECT_THAT(journal.entries(),
              ::testing::IsSupersetOf({std::string("> An item was saved. chair, 0.1,-0.5,-1.2"),
                                       "> Amazon DynamoDB Save Error: " + events[2].substr(12)}));
  const auto expected = nlohmann::json::parse(R"({"SessionId": {"S": "S"}, "FrameId": {"N": "7"},
      "PositionX": {"N": "0.1"}, "PositionY": {"N": "-0.5"}, "PositionZ": {"N": "-1.2"}, "ObjectName": {"S": "chair"},
      "Confidence": {"N": "0.75"}, "Timestamp": {"N": "0.5"}, "IsLocalizationSession": {"N": "1"}})");
  EXPECT_EQ(requests("PutItem").front().json()["TableName"], "SceneUnderstanding");
  EXPECT_EQ(requests("PutItem").front().json()["Item"], expected);
}

class MapSessionFrames : public SessionTest {
 protected:
  // A camera that moves steadily to the right, two metres before a wall full of feature points.
  std::shared_ptr<const platform::ARFrame> nextFrame() {
    constexpr float FOCAL = 64;
    platform::simd_float4x4 pose;
    pose.columns[3].x = 0.002F * static_cast<float>(++frames_);
    const platform::simd_float3x3 intrinsics{{{{FOCAL, 0, 0}, {0, FOCAL, 0}, {31.5F, 23.5F, 1}}}};
    std::vector<platform::simd_float3> points;
    for (int v = 0; v < 48; ++v) {
      for (int u = 0; u < 64; ++u) {
        points.push_back({(static_cast<float>(u) - 31.5F) / FOCAL * 2 + pose.columns[3].x,
                          (23.5F - static_cast<float>(v)) / FOCAL * 2, -2});
      }
    }
    return std::make_shared<platform::ARFrame>(
        platform::CVPixelBuffer::create(64, 48, platform::CVPixelFormatType::BGRA32),
        std::make_shared<platform::ARCamera>(pose, intrinsics, platform::CGSize{64, 48}), std::move(points),
        frames_);
  }
  void offer(MapSession& session, int count) {
    for (; count > 0; --count) session.update(nextFrame());
    watch(session).detector->updateQueue->sync([] {});
  }

 private:
  int frames_ = 0;
};

TEST_F(MapSessionFrames, BecomeDetectionsAndRows) {
  const auto session = openInitialized(MapMode::mapping);
  offer(*session, 4);
  EXPECT_THAT(detections.entries(), IsEmpty()) << "the first four frames never reach the detector";
  offer(*session, 1);
  ASSERT_EQ(detections.entries().size(), 1U);
  const auto person = detections.entries().front().front();
  EXPECT_EQ(person->name, "person");
  EXPECT_NEAR(person->confidence, 0.8808F, 1e-4);
  EXPECT_EQ(person->center.z, -2);
  ASSERT_TRUE(waitForRequests("PutItem", 1));
}

TEST_F(MapSessionFrames, AreDroppedWhileOneIsAnalysed) {
  const auto session = openInitialized(MapMode::mapping);
  const SessionWatch& watched = watch(*session);
  const auto analysed = [&] {
    watched.detector->updateQueue->sync([] {});
    return watched.count("frame analysed");
  };
  Gate inAnalysis;
  Gate goOn;
  session->registerCallbacks({}, {}, [&](const Objects&) {
    inAnalysis.open();
    EXPECT_TRUE(goOn.wait());
  });
  for (int i = 0; i < 5; ++i) session->update(nextFrame());
  ASSERT_TRUE(inAnalysis.wait());
  // The fifth frame is analysed until the gate opens: a caller that had to wait would never get here.
  for (int i = 0; i < 10; ++i) session->update(nextFrame());
  const auto still = nextFrame();
  for (int i = 0; i < 4; ++i) session->update(still);
  goOn.open();
  EXPECT_EQ(analysed(), 1U) << "dropped, not queued";

  // The motion gate also uses dropped frames: with them the camera came to rest.
  session->update(still);
  EXPECT_EQ(analysed(), 1U);
  session->update(nextFrame());
  session->update(nextFrame());
  EXPECT_EQ(analysed(), 2U);
}

TEST_F(MapSessionFrames, SwitchOnTheOverlay) {
  const auto session = create(MapMode::mapping);
  const auto& detector = watch(*session).detector;
  const auto view = std::make_shared<platform::UIView>();
  const auto sceneView = std::make_shared<platform::ARSCNView>();
  session->visualizeSceneUnderstanding(view, sceneView);
  EXPECT_TRUE(detector->drawBoundingBoxes);
  EXPECT_EQ(detector->boundingBoxes().size(), 100U);
  EXPECT_EQ(detector->scene.load(), sceneView->scene);
}

/// Uses its session before the detector exists.
struct Early final : MapSession {
  explicit Early(const Construction& construction) : MapSession(construction) {
    update(std::make_shared<platform::ARFrame>(nullptr, nullptr, std::vector<platform::simd_float3>{}, 0));
    visualizeSceneUnderstanding(std::make_shared<platform::UIView>(),
                                std::make_shared<platform::ARSCNView>());
  }
};

TEST_F(MapSessionFrames, LogsBadInput) {
  const auto session = create<Early>(MapMode::mapping);
  session->update(nullptr);
  session->visualizeSceneUnderstanding(nullptr, nullptr);
  const auto lines = journal.entries();
  EXPECT_EQ(std::ranges::count(lines, "! visualizeSceneUnderstanding: a view and a scene view are needed"),
            1);
  EXPECT_EQ(std::ranges::count(
                lines, "! object detector not initialized. Call registerObjectDetectionCallback() first"),
            1);
}

}  // namespace
}  // namespace geoloom::test

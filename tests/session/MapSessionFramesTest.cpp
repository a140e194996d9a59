#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/ui/UIView.h"
#include "geoloom/session/types/DetectedObjectFactory.h"

#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
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
  // "<name> <frame>" of each row written, in the order of their arrival.
  [[nodiscard]] std::vector<std::string> rows() const {
    std::vector<std::string> rows;
    for (const auto& request : requests("PutItem")) {
      const auto item = request.json()["Item"];
      rows.push_back(item["ObjectName"]["S"].get<std::string>() + " " +
                     item["FrameId"]["N"].get<std::string>());
    }
    return rows;
  }
};

TEST_F(MapSessionDetections, AllAreReportedAndTheConfidentOnesSaved) {
  const auto session = openInitialized(MapMode::mapping);
  detect(*session, {object("chair", 0.9F), object("cup", 0.4F), object("dog", 0.6F)});
  ASSERT_TRUE(waitForRequests("PutItem", 2));
  ASSERT_EQ(detections.entries().size(), 1U);
  EXPECT_EQ(detections.entries().front().size(), 3U);
  EXPECT_THAT(rows(), UnorderedElementsAre("chair 1", "dog 1"));
  EXPECT_TRUE(journal.waitUntil([](const auto& lines) {
    return std::ranges::count(lines, "> An item was saved. chair, 0.1,-0.5,-1.2") == 1;
  }));

  // Batches count, not frames: neither an empty one nor one without confident objects is special.
  detect(*session, {});
  detect(*session, {object("cup", 0.4F)});
  EXPECT_EQ(detections.entries().size(), 2U);
  detect(*session, {object("cat", 0.7F)});
  ASSERT_TRUE(waitForRequests("PutItem", 3));
  EXPECT_THAT(rows(), UnorderedElementsAre("chair 1", "dog 1", "cat 3"));
}

TEST_F(MapSessionDetections, ARowSaysWhereAndWhoseItIs) {
  clock->advance(std::chrono::milliseconds(1500));
  auto expected = nlohmann::json::parse(R"({"SessionId": {"S": "M1"}, "FrameId": {"N": "1"},
      "PositionX": {"N": "0.1"}, "PositionY": {"N": "-0.5"}, "PositionZ": {"N": "-1.2"}, "ObjectName": {"S": "chair"},
      "Confidence": {"N": "0.75"}, "Timestamp": {"N": "1.5"}, "IsLocalizationSession": {"N": "0"}})");
  std::size_t rows = 0;
  for (const MapMode mode : {MapMode::mapping, MapMode::localization}) {
    detect(*openInitialized(mode), {object("chair", 0.75F)});
    ASSERT_TRUE(waitForRequests("PutItem", ++rows));
    const auto body = requests("PutItem").back().json();
    EXPECT_EQ(body["TableName"], "SceneUnderstanding");
    EXPECT_EQ(body["Item"], expected);
    expected["SessionId"]["S"] = "L1";
    expected["IsLocalizationSession"]["N"] = "1";
  }
}

TEST_F(MapSessionDetections, BeforeTheIdentifierIsKnownTheyAreOnlyCountedAndReported) {
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
  EXPECT_THAT(rows(), ElementsAre("dog 2"));
}

TEST_F(MapSessionDetections, AreSavedWithoutACallbackAndAfterAnExceptionOutOfOne) {
  const auto session = openInitialized(MapMode::mapping);
  session->registerCallbacks({}, {}, {});
  detect(*session, {object("chair", 0.9F)});
  session->registerCallbacks({}, {}, [](const Objects&) { throw std::runtime_error("mine"); });
  detect(*session, {object("dog", 0.9F)});
  ASSERT_TRUE(waitForRequests("PutItem", 2));
  EXPECT_THAT(rows(), UnorderedElementsAre("chair 1", "dog 2"));
  EXPECT_EQ(std::ranges::count(journal.entries(), "! exception out of the detections callback: mine"), 1);
}

TEST_F(MapSessionDetections, AFailedSaveIsALineAndNoMore) {
  answer("PutItem",
         FakeAnswer::json(R"({"__type": "com.amazonaws.dynamodb.v20120810#ResourceNotFoundException",
      "message": "Requested resource not found"})",
                          400));
  const auto session = openInitialized(MapMode::mapping);
  detect(*session, {object("chair", 0.9F)});
  EXPECT_TRUE(journal.waitUntil([](const auto& lines) {
    return std::ranges::count_if(lines, [](const std::string& line) {
             return line.starts_with("> Amazon DynamoDB Save Error: ") &&
                    line.find("Requested resource not found") != std::string::npos;
           }) == 1;
  }));
}

TEST_F(MapSessionDetections, TheThresholdIsThatOfTheConstruction) {
  const auto session = open(MapMode::mapping, 0.25F);
  ASSERT_TRUE(statuses.waitForCount(1));
  configuration->sceneUnderstandingConfidenceThreshold = 0.9F;
  detect(*session, {object("chair", 0.25F)});
  ASSERT_TRUE(waitForRequests("PutItem", 1));
  EXPECT_THAT(rows(), ElementsAre("chair 1"));
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

TEST_F(MapSessionFrames, BecomeObjectsInTheWorldAndRows) {
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

TEST_F(MapSessionFrames, AreDroppedWhileOneIsInAnalysis) {
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
  // The detector holds the fifth frame until the gate opens, so a caller that had to wait would not get
  // there.
  for (int i = 0; i < 10; ++i) session->update(nextFrame());
  const auto still = nextFrame();
  for (int i = 0; i < 4; ++i) session->update(still);
  goOn.open();
  EXPECT_EQ(analysed(), 1U) << "dropped, not queued";

  // The motion gate has seen the frames that were dropped: the camera came to rest with them.
  session->update(still);
  EXPECT_EQ(analysed(), 1U);
  session->update(nextFrame());
  session->update(nextFrame());
  EXPECT_EQ(analysed(), 2U);
}

TEST_F(MapSessionFrames, ASessionShowsWhatItSees) {
  const auto session = create(MapMode::mapping);
  const auto& detector = watch(*session).detector;
  const auto view = std::make_shared<platform::UIView>();
  const auto sceneView = std::make_shared<platform::ARSCNView>();
  session->visualizeSceneUnderstanding(view, sceneView);
  EXPECT_TRUE(detector->drawBoundingBoxes);
  EXPECT_EQ(detector->boundingBoxes().size(), 100U);
  EXPECT_EQ(detector->scene.load(), sceneView->scene);
}

/// Uses its session before there is a detector.
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

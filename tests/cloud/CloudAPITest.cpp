#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/session/types/MapSessionSettings.h"
#include "geoloom/session/types/ServiceEndpoints.h"

#include "tests/cloud/MappingOperations.h"
#include "tests/support/Recorder.h"
#include "tests/support/Scans.h"
#include "tests/support/SignatureV4.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using namespace geoloom;
using geoloom::test::eventually;
using geoloom::test::FakeAnswer;
using geoloom::test::FakeService;
using geoloom::test::Gate;
using geoloom::test::LineRecorder;
using geoloom::test::MappingOperation;
using geoloom::test::mappingOperations;
using geoloom::test::RecordedRequest;
using geoloom::test::Recorder;
using platform::DispatchQueue;
using platform::JSON;
using ::testing::ElementsAre;

class CloudAPITest : public ::testing::Test {
 protected:
  CloudAPITest() { platform::FileManager::setStateDirectory(directory_.path()); }

  static std::shared_ptr<CloudAPI> api(const FakeService& service) {
    return api(service.url("/maps"), service.url("/localize"));
  }
  static std::shared_ptr<CloudAPI> api(std::string maps, std::string localize) {
    ServiceEndpoints::setCurrent({.production = std::move(maps),
                                  .beta = "http://127.0.0.1:1/beta/maps",
                                  .sceneUnderstanding = std::move(localize),
                                  .tables = {},
                                  .metrics = {}});
    return std::make_shared<CloudAPI>(false);
  }

  /// The calls of the operation's callback until the request is over.
  static std::vector<std::string> heardOf(const MappingOperation& operation, const FakeAnswer& answer) {
    const FakeService service([&answer](const RecordedRequest& request) {
      return request.path == "/later/create_map" ? FakeAnswer::json("[]") : answer;
    });
    return heardOf(operation, api(service), &service);
  }
  static std::vector<std::string> heardOf(const MappingOperation& operation,
                                          const std::shared_ptr<CloudAPI>& client,
                                          const FakeService* service) {
    Recorder<std::string> heard;
    operation.call(*client, [&](std::string text) {
      EXPECT_TRUE(DispatchQueue::main()->isCurrent());
      heard.add(std::move(text));
    });
    // A request in flight holds the client.
    EXPECT_TRUE(eventually([&] { return client.use_count() == 1; })) << operation.name << " never ended";
    DispatchQueue::main()->sync([] {});
    if (service) {
      EXPECT_EQ(service->requests().size(), 1U) << operation.name;
    }
    return heard.entries();
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(CloudAPITest, PostsJSONToThePathOfTheOperation) {
  for (const MappingOperation& operation : mappingOperations()) {
    const FakeService service([](const RecordedRequest&) { return FakeAnswer::json("[]"); });
    EXPECT_EQ(heardOf(operation, api(service), &service), operation.ofEmptyArray) << operation.name;
    const RecordedRequest sent = service.requests().at(0);
    EXPECT_EQ(
        sent.head.substr(0, sent.head.find("Content-Length")),
        fmt::format(
            "POST {} HTTP/1.1\r\nHost: 127.0.0.1:{}\r\nAccept: */*\r\nContent-Type: application/json\r\n",
            operation.path, service.port()));
    EXPECT_TRUE(sent.json().is_object()) << sent.body;
    EXPECT_TRUE(service.waitForAllToClose()) << "a kept connection could close under the next request";
  }
}

TEST_F(CloudAPITest, PassesAnswersOnForEveryStatus) {
  const std::string refusal = R"({"errorMessage":"Cannot find the map m3"})";
  const std::string map =
      R"([{"user_id":"u","map_id":"near","latitude":1,"longitude":2,"altitude":3,"vertical_accuracy":4,"horizontal_accuracy":5}])";
  for (const MappingOperation& operation : mappingOperations()) {
    const bool list = operation.name == "listNearbyMaps";
    const bool silent = operation.name == "requestSceneLocalization";
    for (const int status : {200, 404, 502}) {
      std::vector<std::string> expected{list ? "maps" : refusal};
      if (silent) expected.clear();
      EXPECT_EQ(heardOf(operation, FakeAnswer::json(refusal, status)), expected) << operation.name << status;
    }
    if (list) {
      EXPECT_THAT(heardOf(operation, FakeAnswer::json(map)), ElementsAre("maps near"));
    }
  }
}

TEST_F(CloudAPITest, ReadsBetaAtConstructionForTheAddressAndAtTheCallForTheKey) {
  const FakeService service([](const RecordedRequest&) { return FakeAnswer::json("[]"); });
  ServiceEndpoints::setCurrent({.production = service.url("/prod/maps"),
                                .beta = service.url("/beta/maps"),
                                .sceneUnderstanding = service.url("/localize"),
                                .tables = {},
                                .metrics = {}});
  const auto production = std::make_shared<CloudAPI>(false);
  const auto beta = std::make_shared<CloudAPI>(true);
  EXPECT_EQ(production->address, service.url("/prod/maps"));
  EXPECT_EQ(beta->address, service.url("/beta/maps"));
  EXPECT_FALSE(beta->printApiCalls);
  std::size_t sent = 0;
  for (const bool use : {false, true}) {
    MapSessionSettings::USE_BETA_ALGO = use;
    for (const auto& client : {production, beta})
      for (const MappingOperation& operation : {mappingOperations()[0], mappingOperations()[1]}) {
        operation.call(*client, [](const std::string&) {});
        ASSERT_TRUE(service.waitForRequests(++sent));
        const RecordedRequest request = service.requests().back();
        EXPECT_TRUE(request.path.starts_with(client == beta ? "/beta/maps/" : "/prod/maps/")) << request.path;
        EXPECT_EQ(request.json().contains("use_beta"), use && operation.name == "createLocalizationSession");
      }
  }
  MapSessionSettings::USE_BETA_ALGO = false;
}

TEST_F(CloudAPITest, PrintsPlacementsBeforeAndLocalizationsAfter) {
  Gate arrived;
  Gate answer;
  const FakeService service([&](const RecordedRequest&) {
    arrived.open();
    EXPECT_TRUE(answer.wait());
    return FakeAnswer::json("{}");
  });
  const LineRecorder lines;
  const auto client = api(service);
  client->placeAssetsOnMap("M1",
                           {std::make_shared<MapAsset>("lamp", platform::SCNVector3{0.1F, -2.0F, 3.0F}, 0.5F),
                            std::make_shared<MapAsset>("chair", platform::SCNVector3{}, 0.0F)},
                           [](const JSON&) {});
  EXPECT_THAT(lines.entries(),
              ElementsAre("> Placing asset: lamp, 0.1, -2.0, 3.0", "> Placing asset: chair, 0.0, 0.0, 0.0"));
  ASSERT_TRUE(arrived.wait());
  EXPECT_EQ(service.requests()[0].json()["placements"].size(), 2U);
  answer.open();
  client->requestSceneLocalization("M1", "L1", 0.3F);
  ASSERT_TRUE(service.waitForRequests(2));
  while (client.use_count() > 1) DispatchQueue::main()->sync([] {});
  EXPECT_EQ(lines.entries().back(), "> result");
  EXPECT_EQ(lines.entries().size(), 3U);
}

TEST_F(CloudAPITest, LivesUntilItsAnswerIsHandled) {
  Gate answer;
  const FakeService service([&](const RecordedRequest&) {
    EXPECT_TRUE(answer.wait());
    return FakeAnswer::json(R"({"uuid":"M1"})");
  });
  auto client = api(service);
  const std::weak_ptr<CloudAPI> weak = client;
  std::promise<std::string> heard;
  client->createMap({"a", "u", "m", "k", {}}, [&heard](const JSON& value) {
    heard.set_value(value["uuid"]->stringValue());
    throw std::runtime_error("thrown by the callback");
  });
  client.reset();
  EXPECT_FALSE(weak.expired());
  answer.open();
  EXPECT_EQ(heard.get_future().get(), "M1");
  while (!weak.expired()) DispatchQueue::main()->sync([] {});
}

TEST_F(CloudAPITest, SendsUsageEvents) {
  const FakeService service([](const RecordedRequest&) { return FakeAnswer::json("not even JSON", 500); });
  const auto client = api("", "");
  client->sendMetric("no client is registered", "k");
  platform::AWSCloudWatch::registerCloudWatch(geoloom::test::servicesAt(service.url()), "GeoloomLib");
  client->sendMetric("YeltMaps.AssetSaved", "hash");
  ASSERT_TRUE(service.waitForRequests(1));
  const RecordedRequest sent = service.requests()[0];
  EXPECT_EQ(sent.json(),
            nlohmann::json::parse(
                R"({"Namespace":"YeltMaps","MetricData":[{"MetricName":"YeltMaps.AssetSaved",)"
                R"("Dimensions":[{"Name":"devKey","Value":"hash"}],"Value":1,"Unit":"Count"}]})"));
  EXPECT_EQ(geoloom::test::signatureFault(sent, {"access", "secret"}, "monitoring"), "");
}

}  // namespace

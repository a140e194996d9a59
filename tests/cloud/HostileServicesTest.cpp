#include <gmock/gmock.h>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/session/types/ServiceEndpoints.h"
#include "geoloom/storage/SceneUnderstandingModel.h"
#include "geoloom/storage/TransformScan.h"

#include "tests/cloud/MappingOperations.h"
#include "tests/support/EagerClock.h"
#include "tests/support/HTTP.h"
#include "tests/support/Scans.h"
#include "tests/support/SecureService.h"
#include "tests/support/TimeShift.h"

// Every request of the kit against services without a useful answer: it ends once, within its deadline, as a
// failed request, and leaves nothing behind.
namespace geoloom::test {
namespace {

using platform::DispatchQueue;
using Lines = std::vector<std::string>;

constexpr char DEVELOPER_KEY[] = "a plain key";

/// The kit's clients over services at one address. `journal` has the calls of their callbacks and the
/// console's lines.
class Kit {
 public:
  explicit Kit(const std::string& address) {
    platform::Clock::install(clock);
    platform::FileManager::setStateDirectory(directory_.path());
    ServiceEndpoints::setCurrent({.production = address.empty() ? "" : address + "/maps",
                                  .beta = {},
                                  .sceneUnderstanding = address.empty() ? "" : address + "/localize",
                                  .tables = address,
                                  .metrics = address});
    const auto configuration = servicesAt(address, platform::DeveloperKey::pair(DEVELOPER_KEY));
    makeDefault(configuration);
    platform::AWSCloudWatch::registerCloudWatch(configuration, CloudAPI::METRICS_CLIENT_KEY);
    api = std::make_shared<CloudAPI>(false);
  }
  Kit(const Kit&) = delete;
  Kit& operator=(const Kit&) = delete;
  ~Kit() {
    makeDefault(nullptr);
    platform::Clock::install(nullptr);
  }

  [[nodiscard]] bool hasHeard(const std::string& line) const {
    const Lines lines = journal.entries();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }

  const std::shared_ptr<EagerClock> clock = std::make_shared<EagerClock>();
  std::shared_ptr<CloudAPI> api;
  LineRecorder journal;

 private:
  const test::TemporaryDirectory directory_;
};

struct Operation {
  std::string name;
  std::chrono::seconds deadline;
  /// Tries of a request that may be repeated.
  int tries;
  std::function<void(Kit& kit)> start;
  std::function<bool(const Kit& kit)> isOver;
  /// The journal after `tries` failed tries.
  std::function<Lines(int tries)> outcome;
};

std::vector<Operation> operations() {
  using namespace std::chrono_literals;
  std::vector<Operation> all;
  // No callback reports the end of a metric; the operations after it give it time.
  all.push_back({"sendMetric", 10s, 1, [](Kit& kit) { kit.api->sendMetric("YeltMaps.AssetSaved", "k"); },
                 [](const Kit&) { return true; }, [](int) { return Lines{}; }});
  for (const MappingOperation& operation : mappingOperations())
    all.push_back({operation.name, operation.name == "requestSceneLocalization" ? 620s : 60s, 1,
                   [&operation](Kit& kit) {
                     operation.call(*kit.api, [&kit](std::string text) {
                       EXPECT_TRUE(DispatchQueue::main()->isCurrent());
                       kit.journal.add(std::move(text));
                     });
                   },
                   // A request on its way holds the client.
                   [](const Kit& kit) { return kit.api.use_count() == 1; },
                   [&operation](int) { return operation.withoutAnswer; }});
  all.push_back({"scanTransform", 10s, MAXIMUM_SCAN_TRIES,
                 [](Kit& kit) {
                   DispatchQueue::global()->async([&kit] {
                     const auto scan = scanTransformRows("M1");
                     kit.journal.add(scan ? std::to_string(scan->rows) + " rows" : scan.failure().message);
                   });
                 },
                 [](const Kit& kit) { return kit.hasHeard("Transform DB scan given up after 5 tries"); },
                 [](int tries) {
                   Lines lines(static_cast<std::size_t>(tries), "> The request failed. Error: …");
                   lines.push_back("Transform DB scan given up after " + std::to_string(tries) + " tries");
                   return lines;
                 }});
  all.push_back({"save", 10s, 1,
                 [](Kit& kit) {
                   const SceneUnderstandingModel row("M1", 1, 1, 2, 3, "cup", 0.5F, false);
                   platform::AWSDynamoDBObjectMapper::defaultMapper().save(
                       row, [&kit](const base::Result<void>& saved) {
                         kit.journal.add(saved || saved.failure().message.empty() ? "saved" : "not saved");
                       });
                 },
                 [](const Kit& kit) { return kit.hasHeard("not saved"); },
                 [](int) { return Lines{"not saved"}; }});
  return all;
}

/// The journal with "…" for the text of each error, which must be one line.
Lines journalOf(const Kit& kit) {
  const std::string failed = "> The request failed. Error: ";
  Lines lines = kit.journal.entries();
  for (std::string& line : lines) {
    if (!line.starts_with(failed)) continue;
    EXPECT_GT(line.size(), failed.size());
    EXPECT_EQ(line.find('\n'), std::string::npos);
    line = failed + "…";
  }
  return lines;
}

void waitUntilOver(const Operation& operation, const Kit& kit) {
  EXPECT_TRUE(eventually([&] { return operation.isOver(kit); })) << operation.name << " never ended";
  DispatchQueue::main()->sync([] {});
}

Lines outcomeOf(const Operation& operation, const std::string& address) {
  Kit kit(address);
  operation.start(kit);
  waitUntilOver(operation, kit);
  return journalOf(kit);
}

TEST(HostileServices, UnreachableAddressesAreFailures) {
  const std::string unused = "http://127.0.0.1:" + std::to_string(unusedPort());
  for (const std::string& address : {unused, std::string(), std::string("http://192.0.2.1")})
    for (const Operation& operation : operations())
      EXPECT_EQ(outcomeOf(operation, address), operation.outcome(operation.tries))
          << operation.name << " " << address;
}

TEST(HostileServices, NothingIsSentWithoutAValidCertificate) {
  const Authority authority;
  for (const auto& [identity, file] : {std::pair(&authority.good, std::string()),
                                       {&authority.wrongName, authority.file()},
                                       {&authority.expired, authority.file()},
                                       {&authority.itself, authority.file()}}) {
    platform::HTTPClient::shared().setCertificateAuthorities(file);
    const SecureService service(*identity);
    for (const Operation& operation : operations())
      EXPECT_EQ(outcomeOf(operation, service.address()), operation.outcome(operation.tries))
          << operation.name;
    EXPECT_EQ(service.requests, 0);
  }
  platform::HTTPClient::shared().setCertificateAuthorities({});
}

/// Makes the client check its deadlines.
void wakeClient() {
  const FakeService kind([](const RecordedRequest&) { return FakeAnswer::json("[]"); });
  EXPECT_TRUE(platform::HTTPClient::shared().postAndWait(requestTo(kind.url())));
}

TEST(HostileServices, SlowServiceTimesOut) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n";
  for (const FakeAnswer& slow :
       {FakeAnswer::silence(), FakeAnswer::dripping(head, "X-More: to come\r\n"),
        FakeAnswer::dripping(head + "Transfer-Encoding: chunked\r\n\r\n", "1\r\n \r\n")})
    for (const Operation& operation : operations()) {
      const FakeService service([&slow](const RecordedRequest&) { return slow; });
      Kit kit(service.url());
      operation.start(kit);
      for (int tries = 1; tries <= operation.tries; ++tries) {
        ASSERT_TRUE(service.waitForRequests(static_cast<std::size_t>(tries))) << operation.name;
        constexpr std::chrono::seconds MARGIN{5};
        shiftTime(operation.deadline - MARGIN);
        wakeClient();
        EXPECT_EQ(kit.journal.entries().size(), static_cast<std::size_t>(tries - 1)) << operation.name;
        // The service may be late to notice that the client closed the connection of the try before.
        EXPECT_EQ(service.connections(), static_cast<std::size_t>(tries)) << operation.name;
        EXPECT_TRUE(eventually([&] { return service.openConnections() == 1U; }))
            << operation.name << " was not waited for";
        shiftTime(2 * MARGIN);
        wakeClient();
      }
      waitUntilOver(operation, kit);
      EXPECT_TRUE(service.waitForAllToClose()) << operation.name;
      EXPECT_EQ(journalOf(kit), operation.outcome(operation.tries)) << operation.name;
      EXPECT_EQ(service.requests().size(), static_cast<std::size_t>(operation.tries)) << operation.name;
    }
}

}  // namespace
}  // namespace geoloom::test

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/location/CLLocationProvider.h"

#include "tests/support/Recorder.h"

namespace geoloom::test {
namespace {

using namespace platform;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Locations = std::vector<std::shared_ptr<const CLLocation>>;

/// Threads of this process that read from a daemon.
int followers() {
  int count = 0;
  std::error_code ended;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", ended)) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name == "geoloom-gpsd") ++count;
  }
  return count;
}

/// A daemon on a port of 127.0.0.1 that the test scripts.
class FakeDaemon {
 public:
  explicit FakeDaemon(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    ::setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket_, 1) != 0)
      throw std::runtime_error("no port to listen on");
  }
  FakeDaemon(const FakeDaemon&) = delete;
  FakeDaemon& operator=(const FakeDaemon&) = delete;
  ~FakeDaemon() { ::close(socket_); }

  /// Waits for the next client.
  [[nodiscard]] std::unique_ptr<FakeConnection> accept() const {
    return std::make_unique<FakeConnection>(::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC));
  }

 private:
  int socket_;
};

std::string lineOf(const CLLocation& location) {
  return fmt::format("{} {} {} {} {} {:.2f}", location.coordinate.latitude, location.coordinate.longitude,
                     location.altitude, location.horizontalAccuracy, location.verticalAccuracy,
                     timeIntervalSince1970(location.timestamp));
}

class Gpsd : public ::testing::Test {
 protected:
  void follow() {
    provider = CLLocationProvider::gpsd("127.0.0.1", std::to_string(port));
    observation = provider->observe({.locations =
                                         [this](const Locations& found) {
                                           for (const auto& location : found) seen.add(lineOf(*location));
                                         },
                                     .heading = [this](const auto&) { seen.add("heading"); }});
  }
  void TearDown() override {
    observation.reset();
    provider.reset();
    EXPECT_TRUE(eventually([] { return followers() == 0; }));
    DispatchQueue::main()->sync([] {});
    EXPECT_THAT(lines.entries(), IsEmpty());
  }

  const int port = unusedPort();
  LineRecorder lines;
  Recorder<std::string> seen;
  std::shared_ptr<CLLocationProvider> provider;
  std::shared_ptr<void> observation;
};

TEST_F(Gpsd, ReportsBecomeLocations) {
  Clock::install(std::make_shared<ManualClock>(Date(std::chrono::seconds(7))));
  const FakeDaemon daemon(port);
  follow();
  const auto client = daemon.accept();
  const char* const reports[] = {
      R"({"class":"VERSION","release":"3.22","rev":"3.22","proto_major":3,"proto_minor":14})",
      R"({"class":"DEVICES","devices":[]})",
      R"({"class":"TPV","mode":0})",
      R"({"class":"TPV","mode":1,"time":"2024-03-23T12:35:17.000Z","track":84.4})",
      R"({"class":"TPV","mode":3,"lat":1.5,"lon":2.5,"altMSL":30.5,"epv":4,"eph":3,"track":84,"altHAE":77,"time":"2024-03-23T12:35:17.250Z"})",
      R"({"class":"SKY","hdop":1.0,"satellites":[]})",
      R"({"class":"TPV","mode":2,"lat":-1.5,"lon":-2.5,"altMSL":30.5,"epv":4,"eph":3,"time":"2024-03-23T12:35:18.000Z"})",
      R"({"class":"TPV","mode":3,"lat":3,"lon":4,"epv":4,"epx":3,"epy":4,"time":"2024-03-23T12:35:19.000Z"})",
      R"({"class":"TPV","mode":3,"lat":5,"lon":6,"altMSL":0.5,"eph":3})",
      R"({"class":"TPV","mode":3,"lat":5,"lon":7,"alt":8,"eph":-3,"epv":-1})",
      R"({"class":"TPV","mode":2,"lat":5,"lon":8})",
      R"({"class":"TPV","mode":3,"lat":90.5,"lon":6,"altMSL":0.5,"eph":3})",
      R"({"class":"TPV","mode":3,"lat":5,"lon":-181,"altMSL":0.5,"eph":3})",
      R"({"class":"TPV","mode":3,"altMSL":0.5,"eph":3})",
      R"({"class":"ATT","heading":84.0,"mag_st":"N"})",
      R"({"class":"TPV","mode":2,"lat":9,"lon":9,"eph":1,"time":"2024-03-23T12:35:20.000Z"})",
  };
  for (const char* report : reports) ASSERT_TRUE(client->send(std::string(report) + "\r\n"));
  ASSERT_TRUE(seen.waitForCount(7));
  EXPECT_THAT(seen.entries(),
              ElementsAre("1.5 2.5 30.5 3 4 1711197317.25", "-1.5 -2.5 0 3 -1 1711197318.00",
                          "3 4 0 5 -1 1711197319.00", "5 6 0.5 3 -1 7.00", "5 7 8 100 -1 7.00",
                          "5 8 0 100 -1 7.00", "9 9 0 1 -1 1711197320.00"));
  EXPECT_EQ(provider->location()->coordinate, (CLLocationCoordinate2D{9, 9}));
}

TEST_F(Gpsd, RetriesAnAbsentDaemonAtGrowingIntervals) {
  const auto clock = std::make_shared<ManualClock>();
  Clock::install(clock);
  follow();
  const auto isWaiting = [&] { return clock->pending() == 1; };
  for (const int pause : {1, 2, 4, 8, 16, 30, 30}) {
    ASSERT_TRUE(eventually(isWaiting));
    clock->advance(std::chrono::seconds(pause) - std::chrono::milliseconds(1));
    ASSERT_TRUE(isWaiting()) << pause;
    clock->advance(std::chrono::milliseconds(1));
  }
  ASSERT_TRUE(eventually(isWaiting));
  const FakeDaemon daemon(port);
  clock->advance(std::chrono::seconds(30));
  // The daemon ends and starts again, twice; malformed reports are ignored.
  daemon.accept().reset();
  for (const int place : {1, 2}) {
    ASSERT_TRUE(eventually(isWaiting));
    clock->advance(std::chrono::seconds(1));
    const auto client = daemon.accept();
    ASSERT_TRUE(client->send("{\"class\":\"TPV\",,,\r\n\r\n[[[[\r\n"));
    ASSERT_TRUE(client->send(
        fmt::format("{{\"class\":\"TPV\",\"mode\":2,\"lat\":{},\"lon\":0,\"eph\":1}}\r\n", place)));
    ASSERT_TRUE(seen.waitForCount(static_cast<std::size_t>(place)));
  }
  EXPECT_EQ(provider->location()->coordinate.latitude, 2);
}

}  // namespace
}  // namespace geoloom::test

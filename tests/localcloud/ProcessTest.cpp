#include <array>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/localcloud/SelfSigned.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MemoryVolume.h"
#include "tests/support/TemporaryDirectory.h"

// The executable: its output, its exit codes, and its data after a kill.
namespace geoloom::localcloud {
namespace {

using geoloom::test::ChildProcess;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using JSON = nlohmann::json;

/// A running geoloom-localcloud.
ChildProcess started(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), GEOLOOM_LOCALCLOUD);
  return ChildProcess(std::move(arguments), ChildProcess::Errors::taken);
}

std::string addressOf(const ChildProcess& process, const std::string& scheme = "http") {
  const std::string line = process.readLine();
  EXPECT_THAT(line, StartsWith("listening on " + scheme + "://127.0.0.1:"));
  return line.substr(std::string("listening on ").size());
}

TEST(LocalCloudProcess, PrintsItsAddressAndEndsOnSignals) {
  for (const int number : {SIGTERM, SIGINT}) {
    const test::TemporaryDirectory directory;
    const std::filesystem::path data = directory.path() / "geoloom-localcloud";
    ChildProcess process(
        {"env", "XDG_DATA_HOME=" + directory.path().string(), GEOLOOM_LOCALCLOUD, "--port", "0"},
        ChildProcess::Errors::taken);
    httplib::Client client(addressOf(process));
    const auto answer =
        client.Post("/prod/maps/find_assets_on_the_map", R"({"map_uuid":"M"})", "application/json");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->body, R"({"errorMessage":"Cannot find the map M"})");
    const int status = process.end(number);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(process.errors(), "");
    constexpr auto owners = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
    EXPECT_EQ(std::filesystem::status(data / "localcloud.sqlite").permissions(), owners);
  }
}

TEST(LocalCloudProcess, ReportsInOneLineWhyItCannotStart) {
  const test::TemporaryDirectory directory;
  const std::string data = directory.path().string();
  const ChildProcess running = started({"--port", "0", "--data", data});
  const std::string address = addressOf(running);
  const std::string port = address.substr(address.rfind(':') + 1);
  const std::string other = (directory.path() / "other").string();
  const std::tuple<std::vector<std::string>, int, const char*> cases[] = {
      {{"--port", "-1", "--data", other}, 2, "--port"},
      {{"--port", "0", "--data", other, "--nonsense"}, 2, "--nonsense"},
      {{"--port", "0", "--data", other, "--host", "0.0.0.0"}, 2, "--developer-key"},
      {{"--port", "0", "--data", other, "--host", "127.example"}, 2, "--developer-key"},
      {{"--port", "0", "--data", other, "--developer-key-file", "/nowhere"}, 2, "/nowhere"},
      {{"--port", "0", "--data", data}, 3, "in use"},
      {{"--port", "0", "--data", "/proc/nothing"}, 3, "/proc/nothing"},
      {{"--port", port, "--data", other}, 4, "--port"},
      {{"--port", "0", "--data", other, "--tls", "/nowhere", "/nowhere"}, 4, "/nowhere: No such file"},
  };
  for (const auto& [arguments, code, message] : cases) {
    ChildProcess process = started(arguments);
    const std::string errors = process.errors();
    const int status = process.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == code) << message << ": " << WEXITSTATUS(status);
    EXPECT_THAT(errors, StartsWith("geoloom-localcloud: "));
    EXPECT_THAT(errors, HasSubstr(message));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
  }
}

JSON tableCall(httplib::Client& client, const std::string& operation, const JSON& body) {
  const auto answer = client.Post("/", {{"X-Amz-Target", "DynamoDB_20120810." + operation}}, body.dump(),
                                  "application/x-amz-json-1.0");
  return answer && answer->status == 200 ? JSON::parse(answer->body) : JSON();
}

JSON mapCall(httplib::Client& client, const std::string& operation, const JSON& body) {
  const auto answer = client.Post("/prod/maps/" + operation, body.dump(), "application/json");
  return answer && answer->status == 200 ? JSON::parse(answer->body) : JSON();
}

/// Writes one item after another, each as soon as the one before is acknowledged.
class Writer {
 public:
  /// Writes one item; true if it was acknowledged.
  using Write = std::function<bool(httplib::Client& client, const std::string& writer, int number)>;

  Writer(std::string name, Write write) : name_(std::move(name)), write_(std::move(write)) {}

  void writeUntilItEnds(const std::string& address, std::atomic<int>& written) {
    httplib::Client client(address);
    client.set_keep_alive(true);
    client.set_tcp_nodelay(true);
    for (; write_(client, name_, number_); ++number_) {
      acknowledged_.push_back(name_ + " " + std::to_string(number_));
      ++written;
    }
    ++number_;  // the one under way may be stored or not
  }

  [[nodiscard]] const std::vector<std::string>& acknowledged() const { return acknowledged_; }

 private:
  std::string name_;
  Write write_;
  int number_ = 0;
  std::vector<std::string> acknowledged_;
};

bool writeRow(httplib::Client& client, const std::string& writer, int number) {
  const JSON item = {{"SessionId", {{"S", writer}}}, {"FrameId", {{"N", std::to_string(number)}}}};
  return !tableCall(client, "PutItem", {{"TableName", "SceneUnderstanding"}, {"Item", item}}).is_null();
}

bool writeAsset(httplib::Client& client, const std::string& map, const std::string& writer, int number) {
  const JSON placement = {
      {"asset_id", writer + " " + std::to_string(number)}, {"x", 1}, {"y", 2}, {"z", 3}, {"orientation", 0}};
  return mapCall(client, "place_asset_on_map", {{"map_uuid", map}, {"placements", {placement}}})
      .contains("placement_id");
}

std::set<std::string> storedAssets(const std::string& address, const std::string& map) {
  httplib::Client client(address);
  std::set<std::string> assets;
  const JSON answer = mapCall(client, "find_assets_on_the_map", {{"map_uuid", map}});
  for (const JSON& placement : answer.at("placements"))
    assets.insert(placement.at("asset").at("id").get<std::string>());
  return assets;
}

std::set<std::string> storedRows(const std::string& address) {
  httplib::Client client(address);
  std::set<std::string> rows;
  JSON body = {{"TableName", "SceneUnderstanding"}};
  for (;;) {
    const JSON page = tableCall(client, "Scan", body);
    if (page.is_null()) return rows;
    for (const JSON& item : page.at("Items")) {
      rows.insert(item.at("SessionId").at("S").get<std::string>() + " " +
                  item.at("FrameId").at("N").get<std::string>());
    }
    if (!page.contains("LastEvaluatedKey")) return rows;
    body["ExclusiveStartKey"] = page.at("LastEvaluatedKey");
  }
}

std::string makeMap(const std::string& address) {
  httplib::Client client(address);
  return mapCall(client, "create_map",
                 {{"app_id", "a"}, {"developer_key", "k"}, {"user_id", "u"}, {"map_id", "m"}})
      .at("uuid");
}

TEST(LocalCloudProcess, RefusesWritesOnAFullDiskAndGoesOnReading) {
  const test::TemporaryDirectory directory;
  const auto why = geoloom::test::mountInMemory(directory.path(), 0, "size=1m");
  if (!why.empty()) GTEST_SKIP() << why;
  // Nor is there room for the log.
  ChildProcess process({"sh", "-c", R"(exec "$0" --log --port 0 --data "$1" 2>/dev/full)", GEOLOOM_LOCALCLOUD,
                        directory.path().string()});
  httplib::Client client(addressOf(process));
  const auto put = [&client](int number) {
    const JSON item = {{"SessionId", {{"S", "M"}}},
                       {"FrameId", {{"N", std::to_string(number)}}},
                       {"ObjectName", {{"S", std::string(100'000, 'x')}}}};
    const JSON body = {{"TableName", "SceneUnderstanding"}, {"Item", item}};
    return client.Post("/", {{"X-Amz-Target", "DynamoDB_20120810.PutItem"}}, body.dump(), "application/json");
  };
  const auto rows = [&client] {
    return tableCall(client, "Scan", {{"TableName", "SceneUnderstanding"}, {"Select", "COUNT"}}).at("Count");
  };
  int stored = 0;
  while (stored < 20 && put(stored)->status == 200) ++stored;
  EXPECT_GT(stored, 0);
  const auto refused = put(stored);
  EXPECT_EQ(refused->status, 500);
  EXPECT_THAT(refused->body, HasSubstr("disk is full"));
  EXPECT_EQ(rows(), stored);
  ASSERT_EQ(::mount("none", directory.path().c_str(), nullptr, MS_REMOUNT, "size=8m"), 0);
  EXPECT_EQ(put(stored)->status, 200);
  EXPECT_EQ(rows(), stored + 1);
}

TEST(LocalCloudProcess, ServesHTTPSToHoldersOfTheDeveloperKey) {
  const test::TemporaryDirectory directory;
  const TLSFiles files = selfSigned(directory);
  const std::string key = directory.write("key.txt", "abc\n").string();
  ChildProcess process =
      started({"--port", "0", "--data", (directory.path() / "data").string(), "--developer-key-file", key,
               "--tls", files.certificate.string(), files.key.string()});
  const std::string address = addressOf(process, "https");
  httplib::SSLClient client("127.0.0.1", std::stoi(address.substr(address.rfind(':') + 1)));
  client.set_ca_cert_path(files.certificate.string());
  const auto create = [&client](const char* hash) {
    const JSON body = {{"app_id", "a"}, {"developer_key", hash}, {"user_id", "u"}, {"map_id", "m"}};
    const auto answer = client.Post("/prod/maps/create_map", body.dump(), "application/json");
    return answer ? answer->status : 0;
  };
  EXPECT_EQ(create("900150983cd24fb0d6963f7d28e17f72"), 200);
  EXPECT_EQ(create("0123456789abcdef0123456789abcdef"), 403);
}

TEST(LocalCloudProcess, KeepsAcknowledgedWritesWhenKilled) {
  constexpr int LEAST_KILLS = 20;
  const auto enough = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  const test::TemporaryDirectory directory;
  const std::vector<std::string> arguments = {"--port", "0", "--data", directory.path().string()};
  const std::string map = [&arguments] {
    ChildProcess process = started(arguments);
    std::string made = makeMap(addressOf(process));
    process.end(SIGKILL);
    return made;
  }();
  std::mt19937 random(7);
  std::array<Writer, 3> writers = {
      Writer("first row", writeRow), Writer("second row", writeRow),
      Writer("asset", [&map](httplib::Client& client, const std::string& writer, int number) {
        return writeAsset(client, map, writer, number);
      })};
  int kills = 0;
  for (; kills < LEAST_KILLS || std::chrono::steady_clock::now() < enough; ++kills) {
    ChildProcess process = started(arguments);
    const std::string address = addressOf(process);
    std::atomic<int> written = 0;
    std::vector<std::thread> threads;
    for (Writer& writer : writers) threads.emplace_back([&] { writer.writeUntilItEnds(address, written); });
    const int wanted = std::uniform_int_distribution(0, 20)(random);
    while (written < wanted) std::this_thread::sleep_for(std::chrono::microseconds(100));
    std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution(0, 2000)(random)));
    process.end(SIGKILL);
    for (std::thread& thread : threads) thread.join();
  }
  const ChildProcess process = started(arguments);
  const std::string address = addressOf(process);
  std::set<std::string> stored = storedRows(address);
  stored.merge(storedAssets(address, map));
  for (const Writer& writer : writers) {
    EXPECT_GT(std::ssize(writer.acknowledged()), kills) << "too few writes for a verdict";
    for (const std::string& thing : writer.acknowledged())
      ASSERT_TRUE(stored.contains(thing)) << thing << " is lost";
  }
}

}  // namespace
}  // namespace geoloom::localcloud

#include <condition_variable>
#include <mutex>

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <nlohmann/json.hpp>

#include "geoloom/platform/network/HTTPClient.h"
#include "geoloom/session/Relocalization.h"
#include "geoloom/storage/TransformScan.h"

#include "tests/support/Scans.h"
#include "tests/support/ServiceProcess.h"

// The service is a separate process, so that only the client's CPU time is measured.

namespace geoloom {
namespace {

using geoloom::test::FakeAnswer;
using geoloom::test::RecordedRequest;
using geoloom::test::ServiceProcess;

constexpr int PAGES = 100;
constexpr int ROWS_PER_PAGE = 200;
constexpr int PLACEMENTS = 100'000;

std::string pageText(int page) {
  std::string text = R"({"Items":[)";
  for (int i = 0; i < ROWS_PER_PAGE; ++i)
    text += fmt::format(
        R"({}{{"SessionId":{{"S":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F"}},"Timestamp":{{"N":"{}"}},)"
        R"("MatchCount":{{"N":"{}"}},"MatchValue":{{"S":"0.{}"}},"Transform":{{"S":"1.25,-0.5,{},0.7853"}}}})",
        i ? "," : "", 1700000000 + page * ROWS_PER_PAGE + i, i % 40, 100 + i, i);
  text += "]";
  if (page + 1 < PAGES) text += fmt::format(R"(,"LastEvaluatedKey":{{"SessionId":{{"S":"{}"}}}})", page + 1);
  return text + "}";
}

FakeAnswer answer(const RecordedRequest& request) {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> all;
    for (int page = 0; page < PAGES; ++page) all.push_back(pageText(page));
    return all;
  }();
  const auto body = request.json();
  if (!body.contains("TableName"))
    return FakeAnswer::json(R"({"uuid":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F"})");
  if (!body.contains("ExclusiveStartKey")) return FakeAnswer::json(texts[0]);
  return FakeAnswer::json(
      texts.at(std::stoul(body["ExclusiveStartKey"]["SessionId"]["S"].get<std::string>())));
}

std::string serviceURL;

constexpr int IN_FLIGHT = 64;
constexpr int REQUESTS_AN_ITERATION = 2000;

void kitRequests(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    std::mutex mutex;
    std::condition_variable changed;
    int running = 0;
    int done = 0;
    for (int i = 0; i < REQUESTS_AN_ITERATION; ++i) {
      {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return running < IN_FLIGHT; });
        ++running;
      }
      platform::HTTPRequest request;
      request.url = serviceURL;
      request.body = R"({"map_uuid":"M1"})";
      platform::HTTPClient::shared().post(std::move(request), platform::DispatchQueue::global(),
                                          [&](const base::Result<platform::HTTPResponse>& answer) {
                                            if (!answer)
                                              state.SkipWithError(answer.failure().message.c_str());
                                            const std::lock_guard lock(mutex);
                                            --running;
                                            ++done;
                                            changed.notify_one();
                                          });
    }
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return done == REQUESTS_AN_ITERATION; });
  }
  state.SetItemsProcessed(state.iterations() * REQUESTS_AN_ITERATION);
}
BENCHMARK(kitRequests)
    ->Name("64 in flight/kit")
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

std::size_t keep(char* data, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

/// The minimal use of libcurl for one request.
struct BareTransfer {
  CURL* easy = curl_easy_init();
  std::string body;
  std::string sent;

  void prepare(std::string text) {
    body.clear();
    sent = std::move(text);
    curl_easy_setopt(easy, CURLOPT_URL, serviceURL.c_str());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(sent.size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, sent.data());
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, keep);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  }
};

void bareRequests(benchmark::State& state) {
  CURLM* multi = curl_multi_init();
  std::vector<BareTransfer> transfers(IN_FLIGHT);
  for ([[maybe_unused]] auto _ : state) {
    int started = 0;
    int done = 0;
    for (BareTransfer& transfer : transfers) {
      transfer.prepare(R"({"map_uuid":"M1"})");
      curl_multi_add_handle(multi, transfer.easy);
      ++started;
    }
    while (done < REQUESTS_AN_ITERATION) {
      int active = 0;
      curl_multi_perform(multi, &active);
      int left = 0;
      while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
        CURL* easy = message->easy_handle;
        curl_multi_remove_handle(multi, easy);
        ++done;
        if (started == REQUESTS_AN_ITERATION) continue;
        ++started;
        for (BareTransfer& transfer : transfers)
          if (transfer.easy == easy) transfer.body.clear();
        curl_multi_add_handle(multi, easy);
      }
      if (done < REQUESTS_AN_ITERATION) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    }
  }
  for (BareTransfer& transfer : transfers) curl_easy_cleanup(transfer.easy);
  curl_multi_cleanup(multi);
  state.SetItemsProcessed(state.iterations() * REQUESTS_AN_ITERATION);
}
BENCHMARK(bareRequests)
    ->Name("64 in flight/bare libcurl")
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

void kitScan(benchmark::State& state) {
  test::makeDefault(test::servicesAt(serviceURL));
  for ([[maybe_unused]] auto _ : state) {
    const base::Result<TransformScan> scan = scanTransformRows("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    if (!scan) return state.SkipWithError(scan.failure().message.c_str());
    if (scan->rows != std::size_t{PAGES} * ROWS_PER_PAGE) return state.SkipWithError("rows are missing");
  }
  state.SetItemsProcessed(state.iterations() * PAGES * ROWS_PER_PAGE);
}
BENCHMARK(kitScan)
    ->Name("scan of 20,000 rows/kit, signed and read into rows")
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

void bareScan(benchmark::State& state) {
  BareTransfer transfer;
  for ([[maybe_unused]] auto _ : state)
    for (int page = 0; page < PAGES; ++page) {
      transfer.prepare(
          page == 0
              ? R"({"TableName":"T"})"
              : fmt::format(R"({{"TableName":"T","ExclusiveStartKey":{{"SessionId":{{"S":"{}"}}}}}})", page));
      if (curl_easy_perform(transfer.easy) != CURLE_OK) return state.SkipWithError("no answer");
    }
  curl_easy_cleanup(transfer.easy);
  state.SetItemsProcessed(state.iterations() * PAGES * ROWS_PER_PAGE);
}
BENCHMARK(bareScan)
    ->Name("scan of 20,000 rows/bare libcurl, unsigned and unread")
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

const std::string& storedAssets() {
  static const std::string text = [] {
    std::string all = R"({"PLACEMENTS":[)";
    for (int i = 0; i < PLACEMENTS; ++i)
      all += fmt::format(
          R"({}{{"placement":{{"x":{}.25,"y":-0.5,"z":{}.125,"ori":0.785}},"asset":{{"id":"asset-{}"}}}})",
          i ? "," : "", i % 50, i % 30, i);
    return all + "]}";
  }();
  return text;
}

void kitPlacements(benchmark::State& state) {
  const std::vector<float> transform{1, 2, 3, 0.5F};
  for ([[maybe_unused]] auto _ : state) {
    const auto answered = platform::JSON::parse(storedAssets());
    const auto assets = relocalize(*answered, transform, [](std::string_view) {});
    if (assets.size() != PLACEMENTS) return state.SkipWithError("placements are missing");
  }
  state.SetItemsProcessed(state.iterations() * PLACEMENTS);
}
BENCHMARK(kitPlacements)
    ->Name("100,000 placements/kit, relocalized and printed")
    ->Unit(benchmark::kMillisecond);

void kitParse(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(platform::JSON::parse(storedAssets()));
}
BENCHMARK(kitParse)->Name("100,000 placements/kit, parsed")->Unit(benchmark::kMillisecond);

void nlohmannParse(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state)
    benchmark::DoNotOptimize(nlohmann::ordered_json::parse(storedAssets(), nullptr, false));
}
BENCHMARK(nlohmannParse)->Name("100,000 placements/nlohmann, parsed")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace geoloom

int main(int argc, char** argv) {
  // Before any thread starts: the child process would not have it.
  const geoloom::ServiceProcess service(geoloom::answer);
  geoloom::serviceURL = service.url() + "/";
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

// What sessions cost that only live, and what those cost that hang.
//
// Sessions live until their process ends, so each measurement has a process of its own, and the service
// another: CPU time and memory are those of the sessions and of what they share, which is the network's
// weights, the HTTP thread with its connections, the timers and the pool of threads. The sessions are
// begun evenly over a second, as is the work of a second for the peer. Lines are not printed.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/MapSession.h"
#include "geoloom/session/types/MapSessionConfiguration.h"
#include "geoloom/session/types/ServiceEndpoints.h"

#include "tests/support/ServiceProcess.h"

namespace geoloom {
namespace {

using geoloom::test::FakeAnswer;
using geoloom::test::RecordedRequest;
using geoloom::test::ServiceProcess;
using SteadyClock = std::chrono::steady_clock;
using platform::DispatchQueue;

constexpr std::chrono::seconds settling{3};
constexpr std::chrono::seconds measured{8};

/// Scans sent to "/hang" are never answered, and "/refuse" makes no map.
FakeAnswer answer(const RecordedRequest& request) {
  if (request.path == "/hang") return FakeAnswer::silence();
  if (request.path.starts_with("/refuse")) return FakeAnswer::json(R"({"errorMessage":"no"})");
  if (request.path.ends_with("create_map")) return FakeAnswer::json(R"({"uuid":"M1"})");
  return FakeAnswer::json(R"({"Items":[],"Count":0,"ScannedCount":0})");
}

/// Runs `work` in a process of its own and returns what it wrote to the pipe that it is given; the process
/// ends after it.
template <class Result>
Result inProcess(const std::function<Result()>& work) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  const pid_t process = fork();
  if (process == 0) {
    const Result result = work();
    _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
  }
  close(ends[1]);
  Result result{};
  const bool isWhole = read(ends[0], &result, sizeof result) == sizeof result;
  close(ends[0]);
  waitpid(process, nullptr, 0);
  if (!isWhole) throw std::runtime_error("the measuring process failed");
  return result;
}

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMegabytes() {
  std::uint64_t size = 0;
  std::uint64_t resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

double threads() {
  return static_cast<double>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
}

struct Idle {
  double corePercent;
  double megabytes;
  double threads;
};

/// What the process costs from now on, which does its work on other threads or in `work`.
Idle measure(const std::function<void(SteadyClock::time_point end)>& work) {
  const double before = cpuSeconds();
  const auto began = SteadyClock::now();
  work(began + measured);
  const double span = std::chrono::duration<double>(SteadyClock::now() - began).count();
  return {100 * (cpuSeconds() - before) / span, residentMegabytes(), threads()};
}

/// Before the first session of a process.
void configure(const std::string& service, const std::string& maps, const std::string& tables) {
  platform::Console::setSink([](std::string_view) {});
  platform::SystemLog::setSink([](std::string_view) {});
  const auto folder = std::filesystem::temp_directory_path() / fmt::format("geoloom-benchmark-{}", getpid());
  platform::FileManager::setDocumentsDirectory(folder);
  platform::FileManager::setStateDirectory(folder);
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", GEOLOOM_MODEL);
  ServiceEndpoints::setCurrent({.production = service + maps,
                                .beta = service + "/beta/maps",
                                .sceneUnderstanding = service + "/dev/scene-understanding/localize",
                                .tables = service + tables,
                                .metrics = service + "/"});
}

/// A session that counts its statuses.
std::shared_ptr<MapSession> open(std::atomic<int>& statuses) {
  std::shared_ptr<MapSession> session;
  DispatchQueue::main()->sync([&] {
    session = MapSession::create(std::make_shared<platform::ARSession>(), MapMode::mapping, "u", "m", "k",
                                 812, 375, std::make_shared<MapSessionConfiguration>(0.6F, 0.5F));
    session->registerCallbacks({},
                               [&](MapStatus) {
                                 ++statuses;
                                 statuses.notify_all();
                               },
                               {});
  });
  return session;
}

void waitFor(const std::atomic<int>& count, int wanted) {
  for (int now = count; now < wanted; now = count) count.wait(now);
}

/// A time per session, evenly over a second.
std::chrono::nanoseconds shareOfASecond(std::int64_t sessions) {
  return std::chrono::nanoseconds(std::chrono::seconds(1)) / std::max<std::int64_t>(sessions, 1);
}

void report(benchmark::State& state, const Idle& idle) {
  state.counters["core_percent"] = idle.corePercent;
  state.counters["resident_mb"] = idle.megabytes;
  state.counters["threads"] = idle.threads;
}

/// As many sessions as asked for, opened and then left alone.
void leaveAlone(benchmark::State& state, const std::string& maps) {
  const std::int64_t count = state.range(0);
  for ([[maybe_unused]] auto _ : state) {
    const ServiceProcess service(answer);
    report(state, inProcess<Idle>([&] {
             configure(service.url(), maps, "/");
             static std::atomic<int> statuses = 0;
             const auto began = SteadyClock::now();
             for (int i = 0; i < count; ++i) {
               std::this_thread::sleep_until(began + i * shareOfASecond(count));
               open(statuses);
             }
             waitFor(statuses, static_cast<int>(count));
             std::this_thread::sleep_for(settling);
             return measure([](auto end) { std::this_thread::sleep_until(end); });
           }));
  }
}

/// Each scans the table of transforms every second.
void idleSessions(benchmark::State& state) {
  leaveAlone(state, "/prod/maps");
}
BENCHMARK(idleSessions)->Arg(1000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The service makes no map for them: there is nothing to look for, only ticks.
void sessionsWithoutMap(benchmark::State& state) {
  leaveAlone(state, "/refuse");
}
BENCHMARK(sessionsWithoutMap)->Arg(1000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The ticks alone: a timer of a second for each, armed again when it has run.
void asioTimers(benchmark::State& state) {
  const std::int64_t count = state.range(0);
  for ([[maybe_unused]] auto _ : state) {
    report(state, inProcess<Idle>([&] {
             static asio::io_context context;
             static std::function<void(asio::steady_timer&)> arm = [](asio::steady_timer& timer) {
               timer.async_wait([&timer](const asio::error_code&) {
                 timer.expires_after(std::chrono::seconds(1));
                 arm(timer);
               });
             };
             static std::vector<std::unique_ptr<asio::steady_timer>> timers;
             for (int i = 0; i < count; ++i) {
               timers.push_back(std::make_unique<asio::steady_timer>(context, i * shareOfASecond(count)));
               arm(*timers.back());
             }
             context.run_for(settling);
             return measure([](auto end) { context.run_until(end); });
           }));
  }
}
BENCHMARK(asioTimers)->Arg(1000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

std::size_t ignore(char* /*data*/, std::size_t size, std::size_t count, void* /*context*/) {
  return size * count;
}

/// The request that a session's tick sends, by a loop on libcurl's multi interface with kept connections, and
/// nothing done with the answer.
class BareLoop {
 public:
  /// Sends `burst` requests at a time, signed by libcurl or not at all.
  BareLoop(std::string url, std::int64_t burst, bool isSigned)
      : url_(std::move(url)), burst_(burst), isSigned_(isSigned) {
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 2 * burst);
  }

  void run(std::int64_t requestsASecond, SteadyClock::time_point end) {
    const auto period = burst_ * shareOfASecond(requestsASecond);
    for (auto next = SteadyClock::now(); next < end;) {
      for (const auto now = SteadyClock::now(); next <= now; next += period)
        for (std::int64_t i = 0; i < burst_; ++i) begin();
      int running = 0;
      curl_multi_perform(multi_, &running);
      finish();
      const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - SteadyClock::now());
      curl_multi_poll(multi_, nullptr, 0, static_cast<int>(std::max<std::int64_t>(wait.count(), 0)), nullptr);
    }
  }

 private:
  void begin() {
    CURL* easy = nullptr;
    if (idle_.empty()) {
      easy = curl_easy_init();
      prepare(easy);
    } else {
      easy = idle_.back();
      idle_.pop_back();
    }
    curl_multi_add_handle(multi_, easy);
  }

  void prepare(CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_URL, url_.c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(easy, CURLOPT_COPYPOSTFIELDS,
                     R"({"TableName":"Transformations","Limit":200,"FilterExpression":"#sessionId = )"
                     R"(:sessionId","ExpressionAttributeNames":{"#sessionId":"SessionId"},)"
                     R"("ExpressionAttributeValues":{":sessionId":{"S":"M1"}}})");
    if (isSigned_) {
      curl_easy_setopt(easy, CURLOPT_AWS_SIGV4, "aws:amz:us-west-2:dynamodb");
      curl_easy_setopt(easy, CURLOPT_USERPWD, "access:secret");
    }
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, ignore);
  }

  void finish() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      curl_multi_remove_handle(multi_, message->easy_handle);
      idle_.push_back(message->easy_handle);
    }
  }

  // The process ends with the loop: nothing is given back.
  const std::string url_;
  const std::int64_t burst_;
  const bool isSigned_;
  CURLM* const multi_ = curl_multi_init();
  curl_slist* const headers_ =
      curl_slist_append(curl_slist_append(nullptr, "Content-Type: application/x-amz-json-1.0"),
                        "X-Amz-Target: DynamoDB_20120810.Scan");
  std::vector<CURL*> idle_;
};

void bareLibcurl(benchmark::State& state, std::int64_t burst, bool isSigned) {
  for ([[maybe_unused]] auto _ : state) {
    const ServiceProcess service(answer);
    report(state, inProcess<Idle>([&] {
             curl_global_init(CURL_GLOBAL_DEFAULT);
             BareLoop loop(service.url() + "/", burst, isSigned);
             loop.run(state.range(0), SteadyClock::now() + settling);
             return measure([&](auto end) { loop.run(state.range(0), end); });
           }));
  }
}

/// Each at its own moment, as its timer would fire.
void libcurlOneByOne(benchmark::State& state) {
  bareLibcurl(state, 1, true);
}
BENCHMARK(libcurlOneByOne)->Arg(1000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

/// As many together as the sessions' ticks, and unsigned: what is left is libcurl and the system's sockets.
void libcurlInBursts(benchmark::State& state) {
  bareLibcurl(state, 67, false);
}
BENCHMARK(libcurlInBursts)->Arg(1000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

double median(std::vector<double> values) {
  std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2));
  return values[values.size() / 2];
}

/// Microseconds until a task on the queue starts.
double wait(DispatchQueue& queue) {
  std::vector<double> waits;
  for (int i = 0; i < 1000; ++i) {
    const auto handed = SteadyClock::now();
    SteadyClock::time_point started;
    queue.sync([&] { started = SteadyClock::now(); });
    waits.push_back(std::chrono::duration<double, std::micro>(started - handed).count());
  }
  return median(std::move(waits));
}

/// Milliseconds from the creation of a session to its status.
double timeToStatus() {
  std::vector<double> times;
  for (int i = 0; i < 21; ++i) {
    static std::atomic<int> statuses = 0;
    const auto began = SteadyClock::now();
    open(statuses);
    waitFor(statuses, i + 1);
    times.push_back(std::chrono::duration<double, std::milli>(SteadyClock::now() - began).count());
  }
  return median(std::move(times));
}

struct Waits {
  double globalMicroseconds;
  double mainMicroseconds;
  double statusMilliseconds;
  double threads;
};

void hangingSessions(benchmark::State& state) {
  const std::int64_t count = state.range(0);
  for ([[maybe_unused]] auto _ : state) {
    const ServiceProcess service(answer);
    const auto waits = inProcess<Waits>([&]() -> Waits {
      configure(service.url(), "/prod/maps", count > 0 ? "/hang" : "/");
      static std::atomic<int> statuses = 0;
      for (int i = 0; i < count; ++i) open(statuses);
      waitFor(statuses, static_cast<int>(count));
      // Each tries for ten seconds before it gives a request up.
      std::this_thread::sleep_for(settling);
      const double global = wait(*DispatchQueue::global());
      const double main = wait(*DispatchQueue::main());
      return {global, main, timeToStatus(), threads()};
    });
    state.counters["global_us"] = waits.globalMicroseconds;
    state.counters["main_us"] = waits.mainMicroseconds;
    state.counters["status_ms"] = waits.statusMilliseconds;
    state.counters["threads"] = waits.threads;
  }
}
BENCHMARK(hangingSessions)->Arg(200)->Arg(0)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace geoloom

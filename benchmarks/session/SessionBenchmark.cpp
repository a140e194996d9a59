// The cost of idle sessions: each scans the table of transforms every second.
//
// Sessions live until their process ends, so each measurement has its own process, and the service another:
// CPU time and memory are those of the sessions and of the parts that they share (the network's weights, the
// HTTP thread, the thread pool).

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "geoloom/platform/ar/ARSession.h"
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

constexpr std::chrono::seconds SETTLING{3};
constexpr std::chrono::seconds MEASURED{8};

FakeAnswer answer(const RecordedRequest& request) {
  if (request.path.ends_with("create_map")) return FakeAnswer::json(R"({"uuid":"M1"})");
  return FakeAnswer::json(R"({"Items":[],"Count":0,"ScannedCount":0})");
}

struct Cost {
  double corePercent;
  double megabytes;
  double threads;
};

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMegabytes() {
  double size = 0;
  double resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

void openSessions(std::int64_t count, const std::string& service) {
  platform::Console::setSink([](std::string_view) {});
  platform::SystemLog::setSink([](std::string_view) {});
  const auto folder = std::filesystem::temp_directory_path() / fmt::format("geoloom-benchmark-{}", getpid());
  platform::FileManager::setDocumentsDirectory(folder);
  platform::FileManager::setStateDirectory(folder);
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", GEOLOOM_MODEL);
  ServiceEndpoints::setCurrent(ServiceEndpoints::withService(service));
  for (std::int64_t i = 0; i < count; ++i)
    static_cast<void>(MapSession::create(std::make_shared<platform::ARSession>(), MapMode::mapping, "u", "m",
                                         "k", 812, 375,
                                         std::make_shared<MapSessionConfiguration>(0.6F, 0.5F)));
}

Cost costOf(std::int64_t count, const std::string& service) {
  openSessions(count, service);
  std::this_thread::sleep_for(SETTLING);
  const double before = cpuSeconds();
  std::this_thread::sleep_for(MEASURED);
  const double used = cpuSeconds() - before;
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return {100 * used / std::chrono::duration<double>(MEASURED).count(), residentMegabytes(),
          static_cast<double>(std::distance(begin(tasks), end(tasks)))};
}

/// Measures in a child process, which ends with its sessions.
Cost inProcess(std::int64_t count, const std::string& service) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe");
  const pid_t process = fork();
  if (process == 0) {
    const Cost cost = costOf(count, service);
    _exit(write(ends[1], &cost, sizeof cost) == sizeof cost ? 0 : 1);
  }
  close(ends[1]);
  Cost cost{};
  const bool isWhole = read(ends[0], &cost, sizeof cost) == sizeof cost;
  close(ends[0]);
  waitpid(process, nullptr, 0);
  if (!isWhole) throw std::runtime_error("the measuring process failed");
  return cost;
}

void idleSessions(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    const ServiceProcess service(answer);
    const Cost cost = inProcess(state.range(0), service.url());
    state.counters["core_percent"] = cost.corePercent;
    state.counters["resident_mb"] = cost.megabytes;
    state.counters["threads"] = cost.threads;
  }
}
BENCHMARK(idleSessions)->Arg(10)->Arg(1)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace geoloom

#include <cstdio>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"

#include "tests/session/SessionTest.h"

namespace geoloom::test {
namespace {

class MapSessionExit : public SessionTest {
 protected:
  MapSessionExit() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The process exits while the threads of its fake service run; they are not leaks.
    const char* const options = std::getenv("TSAN_OPTIONS");
    const std::string quiet = std::string(options == nullptr ? "" : options) + ":report_thread_leaks=0";
    ::setenv("TSAN_OPTIONS", quiet.c_str(), 1);
  }

  static std::shared_ptr<const platform::ARFrame> frameAt(float metres) {
    // Never destroyed: frames are made until the process ends.
    static const auto& picture =
        *new auto(platform::CVPixelBuffer::create(64, 48, platform::CVPixelFormatType::BGRA32));
    platform::simd_float4x4 pose;
    pose.columns[3] = {metres, 0, 0, 1};
    platform::simd_float3x3 intrinsics;
    intrinsics.columns = {{{60, 0, 0}, {0, 60, 0}, {31.5F, 23.5F, 1}}};
    return std::make_shared<const platform::ARFrame>(
        picture, std::make_shared<platform::ARCamera>(pose, intrinsics, platform::CGSize{64, 48}),
        std::vector<platform::simd_float3>{}, 0);
  }

  /// Opens sessions that scan and receive frames as fast as they can until the process ends. One scan in
  /// eight gets no answer.
  void keepBusy() {
    platform::Console::setSink({});
    platform::SystemLog::setSink({});
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    const std::string found = page({{"3", "0.5", "1,2,3,0"}});
    answer("Scan", FakeAnswer::json(found).after([this] {
      if (++scans_ % 8 == 0) std::this_thread::sleep_for(std::chrono::hours(1));
    }));
    for (int i = 0; i < 16; ++i) busy_.push_back(open(MapMode::localization));
    if (!statuses.waitForCount(busy_.size())) std::abort();
    std::thread([this] {
      for (float metres = 0;; metres += 1) {
        clock->advance(std::chrono::milliseconds(100));
        for (const auto& session : busy_) session->update(frameAt(metres));
      }
    }).detach();
  }

 private:
  std::atomic<int> scans_ = 0;
  std::vector<std::shared_ptr<MapSession>> busy_;
};

TEST_F(MapSessionExit, BusySessionsAllowACleanExit) {
  for (const std::size_t requests : {40U, 60U, 80U, 120U, 160U}) {
    const auto exitAfter = [&] {
      keepBusy();
      if (!service->waitForRequests(requests)) std::abort();
      std::exit(0);
    };
    EXPECT_EXIT(exitAfter(), ::testing::ExitedWithCode(0), "") << requests;
  }
}

TEST_F(MapSessionExit, ACallbackMayExitAndAnExitHandlerMayUseAQueue) {
  const auto exitInCallback = [&] {
    std::atexit([] { platform::DispatchQueue::main()->sync([] {}); });
    keepBusy();
    platform::DispatchQueue::serial("exiting")->sync([] { std::exit(0); });
  };
  EXPECT_EXIT(exitInCallback(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace geoloom::test

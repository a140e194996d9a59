#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/session/ApplicationCallback.h"

namespace geoloom {
namespace {

using namespace std::chrono_literals;
using platform::DispatchQueue;

TEST(ApplicationCallback, MayWaitForWhatTheKitDoesOnItsOtherThreads) {
  // More than the pool has threads, and they wait in ways of their own.
  const int callbacks = 2 * std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
  std::atomic<int> waiting = 0;
  std::atomic<bool> answered = false;
  std::atomic<int> ended = 0;
  const std::function<void()> callback = [&] {
    ++waiting;
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (!answered && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(1ms);
    EXPECT_TRUE(answered);
    ++ended;
  };
  for (int i = 0; i < callbacks; ++i)
    DispatchQueue::serial("callback")->async([&] { callApplication("test", callback); });
  const auto end = std::chrono::steady_clock::now() + 10s;
  while (waiting < callbacks && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(waiting, callbacks);
  DispatchQueue::global()->async([&] { answered = true; });
  while (ended < callbacks) std::this_thread::sleep_for(1ms);
}

}  // namespace
}  // namespace geoloom

// The cost of a camera frame: on the thread that calls update(frame), which renders sixty times a second, and
// on the detector's queue, compared with the engine's cost.

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <deque>
#include <memory>
#include <mutex>
#include <random>
#include <semaphore>
#include <string>
#include <utility>
#include <vector>

#include <asio/post.hpp>
#include <asio/strand.hpp>
#include <asio/thread_pool.hpp>
#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include "geoloom/SceneUnderstanding/SSDObjectDetector.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/vision/ImagePreparation.h"
#include "geoloom/platform/vision/VNRequest.h"

namespace geoloom {
namespace {

using platform::ARFrame;

/// A frame of camera size with 5,000 feature points in view. The camera has moved `metres` to the right.
std::shared_ptr<const ARFrame> frameAt(float metres) {
  static const auto picture = [] {
    auto buffer = platform::CVPixelBuffer::create(1920, 1440, platform::CVPixelFormatType::BGRA32);
    for (std::size_t i = 0; i < buffer->bytesPerRow() * buffer->height(); ++i) {
      buffer->baseAddress()[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
    }
    return buffer;
  }();
  static const auto points = [] {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> lateral(-0.5F, 0.5F);
    std::uniform_real_distribution<float> depth(0.5F, 4);
    std::vector<platform::simd_float3> all;
    for (int i = 0; i < 5000; ++i) {
      const float z = depth(random);
      all.push_back({lateral(random) * z, lateral(random) * z, -z});
    }
    return all;
  }();
  platform::simd_float4x4 pose;
  pose.columns[3] = {metres, 0, 0, 1};
  platform::simd_float3x3 intrinsics;
  intrinsics.columns = {{{1600, 0, 0}, {0, 1600, 0}, {959.5F, 719.5F, 1}}};
  return std::make_shared<const ARFrame>(
      picture, std::make_shared<platform::ARCamera>(pose, intrinsics, platform::CGSize{1920, 1440}), points,
      0);
}

// --- the caller's thread

/// Frames that reached the detector's analysis.
std::atomic<std::int64_t> analysed = 0;

/// A detector without a network, so that only the hand-over is measured.
SSDObjectDetector& detector() {
  static const auto instance = std::make_shared<SSDObjectDetector>(
      ViewSize{.width = 375, .height = 812}, [](const auto&) {}, SSDObjectDetector::Observer(),
      [](const ARFrame&) -> base::Result<SSDObjectDetector::Observations> {
        ++analysed;
        return SSDObjectDetector::Observations{};
      });
  return *instance;
}

std::vector<std::shared_ptr<const ARFrame>> frames(float step) {
  std::vector<std::shared_ptr<const ARFrame>> all;
  for (int i = 0; i < 64; ++i) all.push_back(frameAt(static_cast<float>(i) * step));
  return all;
}

/// Times `offer`; `settle` waits for the work that it started.
template <class Offer, class Settle>
void offerFrames(benchmark::State& state, float step, const Offer& offer, const Settle& settle) {
  const auto offered = frames(step);
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& frame = offered[next++ % offered.size()];
    const auto began = std::chrono::steady_clock::now();
    offer(frame);
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
    settle();
  }
}

/// Offers frames to the detector. Either all or none must be handed over.
void updateFrames(benchmark::State& state, float step, bool isHandedOver) {
  const auto settle = [&] { detector().updateQueue->sync([] {}); };
  // The gate depends on the last five frames, which may come from another benchmark.
  for (int i = -5; i < 0; ++i) {
    detector().offer(frameAt(static_cast<float>(i) * step));
    settle();
  }
  const bool isBusy = !isHandedOver && step != 0;
  if (isBusy && !detector().lock.tryLock()) return state.SkipWithError("a frame is in work");
  const std::int64_t before = analysed;
  offerFrames(
      state, step, [](const auto& frame) { detector().offer(frame); },
      [&] {
        if (isHandedOver) settle();
      });
  if (isBusy) detector().lock.unlock();
  settle();
  if (analysed - before != (isHandedOver ? state.iterations() : 0)) {
    state.SkipWithError(isHandedOver ? "a frame was dropped" : "a frame was handed over");
  }
}

void updateHandedOver(benchmark::State& state) {
  updateFrames(state, 0.1F, true);
}

void updateDroppedStill(benchmark::State& state) {
  updateFrames(state, 0, false);
}

void updateDroppedBusy(benchmark::State& state) {
  updateFrames(state, 0.1F, false);
}

void asioStrandAlone(benchmark::State& state) {
  asio::thread_pool pool(1);
  auto strand = asio::make_strand(pool);
  std::binary_semaphore done{0};
  offerFrames(
      state, 0.1F,
      [&](const auto& frame) {
        asio::post(strand, [frame, &done] {
          benchmark::DoNotOptimize(frame.get());
          done.release();
        });
      },
      [&] { done.acquire(); });
}

/// A plain implementation of the gate for one of its two histories.
void gateOnADeque(benchmark::State& state) {
  std::mutex mutex;
  std::deque<platform::simd_float3> places;
  offerFrames(
      state, 0,
      [&](const auto& frame) {
        const std::lock_guard lock(mutex);
        const auto& column = frame->camera().transform().columns[3];
        places.push_back({column.x, column.y, column.z});
        if (places.size() > 4) places.pop_front();
        float x = 0;
        float y = 0;
        float z = 0;
        for (std::size_t i = 1; i < places.size(); ++i) {
          x += places[i].x - places[i - 1].x;
          y += places[i].y - places[i - 1].y;
          z += places[i].z - places[i - 1].z;
        }
        benchmark::DoNotOptimize(std::sqrt(x * x + y * y + z * z) / 4 > 0.001F);
      },
      [] {});
}

BENCHMARK(updateHandedOver)->UseManualTime();
BENCHMARK(asioStrandAlone)->UseManualTime();
BENCHMARK(updateDroppedStill)->UseManualTime();
BENCHMARK(updateDroppedBusy)->UseManualTime();
BENCHMARK(gateOnADeque)->UseManualTime();

// --- the detector's queue

/// Network outputs with a few dozen candidates.
SSDObjectDetector::Observations outputs() {
  const auto observation = [](const std::vector<float>& values, std::vector<std::ptrdiff_t> shape) {
    auto array = platform::MLMultiArray::create(std::move(shape), platform::MLMultiArrayDataType::float32);
    std::copy(values.begin(), values.end(), static_cast<float*>(array->dataPointer()));
    return std::make_shared<platform::VNCoreMLFeatureValueObservation>(
        "", platform::MLFeatureValue{nullptr, array});
  };
  std::mt19937 random(42);
  std::uniform_int_distribution<int> lot(0, 9999);
  std::uniform_real_distribution<float> low(-9, -5);
  std::uniform_real_distribution<float> high(0.1F, 5);
  std::vector<float> scores(91 * SSDAnchors::COUNT);
  for (float& score : scores) score = lot(random) < 2 ? high(random) : low(random);
  return {observation(scores, {91, 1917}), observation(std::vector<float>(4 * SSDAnchors::COUNT), {4, 1917})};
}

/// A whole frame except the network: the picture is prepared, the outputs are constant.
void kitsOwnWork(benchmark::State& state) {
  const platform::NetworkInput input{300, 300, false, 127.5F, -1};
  std::vector<float> planes(3 * input.width * input.height);
  std::size_t found = 0;
  SSDObjectDetector detector(
      {.width = 375, .height = 812}, [&](const auto& objects) { found = objects.size(); }, {},
      [&, seen = outputs()](const ARFrame& frame) -> base::Result<SSDObjectDetector::Observations> {
        platform::prepareImage(*frame.capturedImage(), platform::EXIFOrientation::rightTop,
                               platform::VNImageCropAndScaleOption::centerCrop, input, planes.data());
        return seen;
      });
  for (auto _ : state) detector.predict(frameAt(0));
  if (found == 0) return state.SkipWithError("no object was located");
  state.counters["objects"] = static_cast<double>(found);
}

/// A whole frame with the real network.
void analysedFrame(benchmark::State& state) {
  platform::LibraryBundle::setPathForResource("feature_model", "mlmodelc", GEOLOOM_MODEL);
  SSDObjectDetector detector({.width = 375, .height = 812}, [](const auto&) {});
  for (auto _ : state) detector.predict(frameAt(0));
}

/// The network alone, on one thread, with a prepared input.
void engineAlone(benchmark::State& state) {
  const auto model = platform::MLModel::create(GEOLOOM_MODEL);
  if (!model) return state.SkipWithError(model.failure().message.c_str());
  cv::dnn::Net net =
      cv::dnn::readNetFromONNX(std::string(GEOLOOM_MODEL) + "/" + (*model)->manifest().network);
  const std::array shape = {1, 3, 300, 300};
  cv::Mat input(4, shape.data(), CV_32F);
  cv::randu(input, -1, 1);
  std::vector<cv::Mat> results;
  const std::vector<std::string> names = {"concat_1__0", "concat__0"};
  for (auto _ : state) {
    cv::parallel_for_(cv::Range(0, 1), [&](const cv::Range&) {
      net.setInput(input);
      net.forward(results, names);
    });
    benchmark::DoNotOptimize(results[0].data);
  }
}

BENCHMARK(kitsOwnWork)->Unit(benchmark::kMicrosecond);
BENCHMARK(analysedFrame)->Unit(benchmark::kMicrosecond);
BENCHMARK(engineAlone)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom

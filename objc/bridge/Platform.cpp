#include "objc/bridge/Platform.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "geoloom/platform/ar/ARCamera.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/ui/UIView.h"

#include "objc/bridge/Support.h"

using namespace geoloom;
using bridge::guarded;
using bridge::object;
using bridge::with;
using platform::ARFrame;
using platform::ARSCNView;
using platform::ARSession;
using platform::CVPixelBuffer;
using platform::UIView;

struct GeoloomTask {
  std::function<void()> run;
};

namespace {

// References have no constant form; nothing here writes to a frame.
GeoloomNative* frameReference(const std::shared_ptr<const ARFrame>& frame) {
  return bridge::reference(std::const_pointer_cast<ARFrame>(frame));
}

std::shared_ptr<CVPixelBuffer> image(const GeoloomFrame& frame) {
  constexpr std::size_t PIXEL_BYTES = 4;
  if (frame.pixels == nullptr || frame.bytesPerRow / PIXEL_BYTES < frame.width) return nullptr;
  auto buffer = CVPixelBuffer::create(frame.width, frame.height, platform::CVPixelFormatType::BGRA32);
  if (!buffer) return nullptr;
  const auto* const pixels = static_cast<const std::uint8_t*>(frame.pixels);
  const platform::CVPixelBufferLock lock(*buffer);
  for (std::size_t row = 0; row < frame.height; ++row) {
    std::copy_n(pixels + row * frame.bytesPerRow, frame.width * PIXEL_BYTES,
                buffer->baseAddress() + row * buffer->bytesPerRow());
  }
  return buffer;
}

std::shared_ptr<platform::ARCamera> camera(const GeoloomFrame& frame) {
  platform::simd_float4x4 transform;
  for (std::size_t i = 0; i < 4; ++i) {
    const float* const column = frame.transform + i * 4;
    transform.columns[i] = {column[0], column[1], column[2], column[3]};
  }
  platform::simd_float3x3 intrinsics;
  for (std::size_t i = 0; i < 3; ++i) {
    const float* const column = frame.intrinsics + i * 3;
    intrinsics.columns[i] = {column[0], column[1], column[2]};
  }
  const platform::CGSize size{static_cast<double>(frame.width), static_cast<double>(frame.height)};
  return std::make_shared<platform::ARCamera>(transform, intrinsics, size);
}

platform::CGRect rectangle(GeoloomRect frame) {
  return {{frame.x, frame.y}, {frame.width, frame.height}};
}

}  // namespace

GeoloomNative* geoloomARSessionMake(void) {
  return guarded("ARSession", [] { return bridge::reference(std::make_shared<ARSession>()); });
}

void geoloomARSessionSetDidUpdateFrame(GeoloomNative* native, GeoloomObjectsClosure closure) {
  guarded("setDidUpdateFrame:", [&] {
    ARSession::FrameHandler handler;
    if (closure.run != nullptr) {
      handler = [context = bridge::held(closure.context, closure.release),
                 run = closure.run](const std::shared_ptr<const ARFrame>& frame) {
        GeoloomNative* const reference = frameReference(frame);
        if (reference != nullptr) run(context.get(), &reference, 1);
      };
    }
    if (const auto session = object<ARSession>(native)) session->setDidUpdateFrame(std::move(handler));
  });
}

GeoloomNative* geoloomARSessionCurrentFrame(const GeoloomNative* native) {
  return with<ARSession>(native, "currentFrame",
                         [](const auto& session) { return frameReference(session.currentFrame()); });
}

void geoloomARSessionDeliver(GeoloomNative* native, const GeoloomNative* frame) {
  with<ARSession>(native, "deliverFrame:", [frame](ARSession& session) {
    if (const auto delivered = object<ARFrame>(frame)) session.deliver(delivered);
  });
}

GeoloomNative* geoloomARFrameMake(const GeoloomFrame* frame) {
  return guarded("ARFrame", [frame]() -> GeoloomNative* {
    auto pixels = image(*frame);
    if (!pixels) return nullptr;
    std::vector<platform::simd_float3> points;
    points.reserve(frame->featurePointCount);
    for (std::size_t i = 0; i < frame->featurePointCount; ++i) {
      const auto [x, y, z] = frame->featurePoints[i];
      points.push_back({x, y, z});
    }
    return frameReference(
        std::make_shared<ARFrame>(std::move(pixels), camera(*frame), std::move(points), frame->timestamp));
  });
}

double geoloomARFrameTimestamp(const GeoloomNative* native) {
  return with<ARFrame>(native, "timestamp", [](const auto& frame) { return frame.timestamp(); });
}

GeoloomNative* geoloomUIViewMake(GeoloomRect frame) {
  return guarded("UIView", [&] { return bridge::reference(std::make_shared<UIView>(rectangle(frame))); });
}

GeoloomRect geoloomUIViewFrame(const GeoloomNative* native) {
  return with<UIView>(native, "frame", [](const auto& view) {
    const auto [origin, size] = view.frame();
    return GeoloomRect{origin.x, origin.y, size.width, size.height};
  });
}

GeoloomNative* geoloomARSCNViewMake(GeoloomRect frame) {
  return guarded("ARSCNView",
                 [&] { return bridge::reference(std::make_shared<ARSCNView>(rectangle(frame))); });
}

void geoloomARSCNViewSetSession(GeoloomNative* native, const GeoloomNative* session) {
  with<ARSCNView>(native,
                  "setSession:", [session](ARSCNView& view) { view.session = object<ARSession>(session); });
}

void geoloomTaskRun(GeoloomTask* task) {
  const std::unique_ptr<GeoloomTask> owned(task);
  guarded("a task of the main queue", [&] { owned->run(); });
}

bool geoloomMainQueueHandOver(void (*post)(GeoloomTask* task)) {
  return guarded("handOverToMainRunLoop", [post] {
    return platform::MainQueue::handOver(
        [post](std::function<void()> run) { post(new GeoloomTask{std::move(run)}); });
  });
}

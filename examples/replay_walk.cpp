// Replays two recorded walks through one room: places a lamp in a map during the first and finds it again
// during the second.
//
//     replay_walk SERVICE DEVELOPER_KEY FIRST_WALK SECOND_WALK
//
// SERVICE is the address that geoloom-localcloud prints. A walk is a recording (docs/recordings.md);
// `geoloom record room` renders two.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "geoloom/geoloom.h"

using namespace geoloom;

/// Delivers a walk at ten frames a second. Returns an error, or an empty text.
static std::string walk(MapMode mode, const std::string& developerKey, const std::string& folder) {
  const auto recording = ARRecording::open(folder);
  if (!recording) return recording.failure().message;
  // Callbacks may run until the process ends, so they own what they use.
  const auto isDone = std::make_shared<std::atomic<bool>>(false);
  const auto arSession = std::make_shared<platform::ARSession>();
  const auto session =
      MapSession::create(arSession, mode, "ada", "room", developerKey, ViewSize{.width = 480, .height = 640},
                         std::make_shared<MapSessionConfiguration>(0.6F, 0.5F));
  const auto printAssets = [session, isDone](const auto& assets) {
    // An asset keeps the orientation it was stored with; the transform's rotation turns it into this session.
    for (const auto& asset : assets)
      std::printf("%s at %.2f %.2f %.2f, heading %.2f rad\n", asset->assetID.c_str(), asset->position.x,
                  asset->position.y, asset->position.z,
                  asset->orientation + session->lastTransform()->rotation);
    *isDone = true;
  };
  const auto placeLamp = [session, mode, isDone](MapStatus status) {
    if (status != MapStatus::initialized || mode != MapMode::mapping) return;
    const auto lamp = std::make_shared<MapAsset>("lamp", platform::SCNVector3{0, 0, -1}, 0.0F);
    session->storePlacement({lamp}, [isDone](bool stored) { *isDone = stored; });
  };
  session->registerCallbacks(printAssets, placeLamp, [](const auto& /*objects*/) {});
  arSession->setDidUpdateFrame([session](const auto& frame) { session->update(frame); });
  for (std::size_t i = 0; i < (*recording)->frameCount(); ++i) {
    if (const auto frame = (*recording)->frame(i)) arSession->deliver(frame);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return *isDone ? "" : mode == MapMode::mapping ? "the lamp was not stored" : "the lamp was not found";
}

int main(int argc, char** argv) {
  if (argc != 5)
    return std::fputs("usage: replay_walk SERVICE DEVELOPER_KEY FIRST_WALK SECOND_WALK\n", stderr), 2;
  ServiceEndpoints::setCurrent(ServiceEndpoints::withService(argv[1]));
  platform::Console::setSink([](std::string_view) {});  // the library's progress lines
  platform::SystemLog::setSink([](std::string_view) {});
  std::string error = MapSession::detectionModelFault().value_or("");
  if (error.empty()) error = walk(MapMode::mapping, argv[2], argv[3]);
  if (error.empty()) error = walk(MapMode::localization, argv[2], argv[4]);
  if (!error.empty()) std::fprintf(stderr, "replay_walk: %s\n", error.c_str());
  return error.empty() ? 0 : 1;
}

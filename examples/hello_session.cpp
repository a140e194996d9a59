// A minimal complete application: opens a session, passes it camera frames and prints the results.
//
//     hello_session SERVICE DEVELOPER_KEY MAP [map|localize]
//
// SERVICE is the address of a mapping service, such as http://127.0.0.1:8808 for a local one. Run it with
// `map` first, which stores a lamp, then with `localize`, which prints the map's assets once the service has
// computed a transform. It delivers no frames; replay_walk.cpp reads them from a recording. The detection
// network must be beside the library; the build puts it there after scripts/setup.
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/geoloom.h"

using namespace geoloom;

namespace {

/// True for success. Callbacks may run until the process ends, so it is never destroyed.
auto& result = *new std::promise<bool>;

void finish(bool good) {
  static std::once_flag once;
  std::call_once(once, [good] { result.set_value(good); });
}

void storeLamp(MapSession& session) {
  const auto lamp = std::make_shared<MapAsset>("lamp", platform::SCNVector3{0, 1, -2}, 0.0F);
  const bool sent = session.storePlacement({lamp}, [](bool stored) {
    std::printf("lamp %s\n", stored ? "stored" : "refused");
    finish(stored);
  });
  if (!sent) finish(false);
}

/// On the session's asset queue: all assets of the map, in the coordinates of this session.
void onAssets(const std::vector<std::shared_ptr<MapAsset>>& assets) {
  for (const auto& asset : assets) {
    std::printf("asset %s at %g, %g, %g\n", asset->assetID.c_str(), asset->position.x, asset->position.y,
                asset->position.z);
  }
  finish(true);
}

/// On the main queue: the result of opening the session.
void onStatus(MapSession& session, MapStatus status) {
  std::printf("status %ld\n", rawValue(status));
  if (status != MapStatus::initialized) return finish(false);
  std::printf("map %s\n", session.mappingUUID()->c_str());
  if (!session.isLocalizationMode()) storeLamp(session);
}

/// On the detector's queue: the objects found in one frame.
void onObjects(const std::vector<std::shared_ptr<DetectedObject>>& objects) {
  for (const auto& object : objects) std::printf("seen %s\n", object->print().c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: hello_session SERVICE DEVELOPER_KEY MAP [map|localize]\n");
    return 2;
  }
  const bool localizes = argc > 4 && std::string_view(argv[4]) == "localize";
  std::setvbuf(stdout, nullptr, _IOLBF, 0);

  // Settings come before the first session. The kit's own lines go to standard error.
  platform::Console::setSink([](std::string_view line) {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
  });
  ServiceEndpoints::setCurrent(ServiceEndpoints::withService(argv[1]));

  // Objects with a confidence of at least 0.6 are shared with the service, and objects within half a metre of
  // each other count as the same.
  const auto configuration = std::make_shared<MapSessionConfiguration>(0.6F, 0.5F);
  const auto arSession = std::make_shared<platform::ARSession>();
  // In one task of the main queue, so that the status cannot arrive before its callback is registered.
  platform::DispatchQueue::main()->sync([&] {
    const auto mode = localizes ? MapMode::localization : MapMode::mapping;
    const auto session = MapSession::create(arSession, mode, "hello", argv[3], argv[2],
                                            ViewSize{.width = 375, .height = 812}, configuration);
    // A session lives until the process ends, so its callbacks may own it.
    session->registerCallbacks(
        onAssets, [session](MapStatus status) { onStatus(*session, status); }, onObjects);
    // On a device the camera's tracker delivers frames to the AR session.
    arSession->setDidUpdateFrame([session](const auto& frame) { session->update(frame); });
  });

  auto outcome = result.get_future();
  const bool inTime = outcome.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  return inTime && outcome.get() ? 0 : 1;
}

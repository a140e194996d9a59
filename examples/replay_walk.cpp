// Takes two recorded walks through one room as a device would: on the first it makes a map and places a lamp
// in it, on the second it finds the lamp again.
//
//     replay_walk SERVICE DEVELOPER_KEY FIRST_WALK SECOND_WALK
//
// SERVICE is the address of a mapping service, as geoloom-localcloud prints it. A walk is a recording
// (docs/recordings.md); `geoloom record synthetic` renders some.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "geoloom/geoloom.h"

using namespace geoloom;

namespace {

bool complain(const std::string& line) {
  std::fprintf(stderr, "replay_walk: %s\n", line.c_str());
  return false;
}

void waitUntil(const std::function<bool()>& done) {
  for (int i = 0; i < 300 && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

/// An asset keeps the orientation it was stored with; the transform's rotation turns it into this session.
void print(const MapAsset& asset, const MapSession& session) {
  const float rotation = session.lastTransform() ? session.lastTransform()->rotation : 0;
  std::printf("%s at %.2f %.2f %.2f, heading %.2f rad\n", asset.assetID.c_str(), asset.position.x,
              asset.position.y, asset.position.z, asset.orientation + rotation);
}

/// One session from its opening to the end of a walk. It lives until the process ends.
bool visit(MapMode mode, const std::string& developerKey, const std::string& folder) {
  const auto recording = ARRecording::open(folder);
  if (!recording) return complain(recording.failure().message);
  const auto frame = (*recording)->firstReadableFrame();
  if (!frame) return complain(frame.failure().message);
  // The sensor lies on its side in a device that is held upright.
  const platform::CGSize sensor = (*frame)->camera().imageResolution();
  const auto arSession = std::make_shared<platform::ARSession>();
  const auto found = std::make_shared<std::atomic<bool>>(false);
  const auto session = MapSession::create(arSession, mode, "ada", "room", developerKey,
                                          ViewSize{.width = sensor.height, .height = sensor.width},
                                          std::make_shared<MapSessionConfiguration>(0.6F, 0.5F));
  session->registerCallbacks(
      [session, found](const auto& assets) {
        for (const auto& asset : assets) print(*asset, *session);
        *found = true;
      },
      [](MapStatus /*status*/) {}, [](const auto& /*objects*/) {});
  waitUntil([&] { return session->mapSessionUUID().has_value(); });
  if (!session->mapSessionUUID()) return complain("the service did not open the session");
  const bool isMapping = mode == MapMode::mapping;
  const auto lamp = std::make_shared<MapAsset>("lamp", platform::SCNVector3{0, 0, -1}, 0.0F);
  if (isMapping)
    session->storePlacement({lamp}, [](bool stored) { std::puts(stored ? "lamp stored" : "lamp refused"); });

  arSession->setDidUpdateFrame([session](const auto& delivered) { session->update(delivered); });
  for (std::size_t i = 0; i < (*recording)->frameCount(); ++i) {
    if (const auto next = (*recording)->frame(i)) arSession->deliver(next);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  if (!isMapping) waitUntil([&] { return found->load(); });  // the session asks the service every 8 s
  return isMapping || *found || complain("the lamp was not found");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return complain("usage: replay_walk SERVICE DEVELOPER_KEY FIRST_WALK SECOND_WALK"), 2;
  if (const auto fault = MapSession::detectionModelFault()) return complain(*fault), 1;
  const std::string service = argv[1];
  ServiceEndpoints::setCurrent({.production = service + "/prod/maps",
                                .beta = service + "/beta/maps",
                                .sceneUnderstanding = service + "/dev/scene-understanding/localize",
                                .tables = service,
                                .metrics = service});
  platform::Console::setSink([](std::string_view) {});  // the library's progress lines
  platform::SystemLog::setSink([](std::string_view) {});
  const bool isFound =
      visit(MapMode::mapping, argv[2], argv[3]) && visit(MapMode::localization, argv[2], argv[4]);
  return isFound ? 0 : 1;
}

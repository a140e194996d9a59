// The smallest whole application: opens a session, feeds it camera frames and prints what comes back.
//
//     hello_session SERVICE DEVELOPER_KEY MAP [map|localize]
//
// SERVICE is the address of a mapping service, such as http://127.0.0.1:8808 for a local one. Run it with
// `map` first, then with `localize`. On a device the frames come from the camera's tracker, which hands them
// to the AR session; here none arrive. The detection network has to lie beside the library, where the build
// puts it once scripts/setup has run.
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "geoloom/geoloom.h"

using namespace geoloom;

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: hello_session SERVICE DEVELOPER_KEY MAP [map|localize]\n");
    return 2;
  }
  std::string service = argv[1];
  while (service.ends_with('/')) service.pop_back();
  const MapMode mode =
      argc > 4 && std::string(argv[4]) == "localize" ? MapMode::localization : MapMode::mapping;

  // Settings come before the first session.
  ServiceEndpoints::setCurrent({.production = service + "/prod/maps",
                                .beta = service + "/beta/maps",
                                .sceneUnderstanding = service + "/dev/scene-understanding/localize",
                                .tables = service,
                                .metrics = service});

  // The running AR session, and what this application wants of the kit: objects from a confidence of 0.6 on
  // are shared with the service, and objects within half a metre are taken as the same.
  const auto arSession = std::make_shared<platform::ARSession>();
  const auto configuration = std::make_shared<MapSessionConfiguration>(0.6F, 0.5F);
  // In one task of the main queue, so that the opening's status cannot come before there is a callback for
  // it.
  std::shared_ptr<MapSession> session;
  platform::DispatchQueue::main()->sync([&] {
    session = MapSession::create(arSession, mode, "hello", argv[3], argv[2], 812, 375, configuration);
    session->registerCallbacks(
        // On the session's asset queue: the map's assets, in the coordinates of this session.
        [](const auto& assets) {
          for (const auto& asset : assets) {
            std::printf("asset %s at %g, %g, %g\n", asset->assetID.c_str(), asset->position.x,
                        asset->position.y, asset->position.z);
          }
        },
        // On the main queue. A session lives until the process ends, so its callbacks may well hold it.
        [session](MapStatus status) {
          std::printf("status %ld\n", rawValue(status));
          if (status != MapStatus::initialized || session->isLocalizationMode()) return;
          const auto lamp = std::make_shared<MapAsset>("lamp", platform::SCNVector3{0, 1, -2}, 0.0F);
          session->storePlacement(
              {lamp}, [](bool stored) { std::printf("lamp %s\n", stored ? "stored" : "refused"); });
        },
        // On the detector's queue: what was found in one frame.
        [](const auto& objects) {
          for (const auto& object : objects) std::printf("seen %s\n", object->print().c_str());
        });
  });

  arSession->setDidUpdateFrame([session](const auto& frame) { session->update(frame); });

  std::this_thread::sleep_for(std::chrono::seconds(10));
  return 0;
}

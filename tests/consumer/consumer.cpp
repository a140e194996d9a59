// An application of the installed library: opens a session without services, so that nothing leaves the
// process, waits for the status of the failure and prints the path of the detection model.

#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <string_view>

#include "geoloom/geoloom.h"
#include "geoloom/platform/vision/MLModel.h"

using namespace geoloom;

int main() {
  const auto bundle = platform::LibraryBundle::pathForResource("feature_model", "mlmodelc");
  if (!bundle) {
    std::fprintf(stderr, "consumer: the installed library finds no model\n");
    return 1;
  }
  const auto model = platform::MLModel::create(*bundle);
  if (!model) {
    std::fprintf(stderr, "consumer: %s\n", model.failure().message.c_str());
    return 1;
  }

  // Standard output is for the answer.
  platform::Console::setSink([](std::string_view) {});
  ServiceEndpoints::setCurrent({});
  // Never destroyed: the session outlives this function.
  auto& reported = *new std::promise<MapStatus>;
  platform::DispatchQueue::main()->sync([&] {
    const auto session =
        MapSession::create(std::make_shared<platform::ARSession>(), MapMode::mapping, "ada", "living room",
                           "key", 812, 375, std::make_shared<MapSessionConfiguration>(0.6F, 0.5F));
    session->registerCallbacks([](const auto&) {}, [&](MapStatus status) { reported.set_value(status); },
                               [](const auto&) {});
  });
  auto status = reported.get_future();
  if (status.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
    std::fprintf(stderr, "consumer: no status within 30 s\n");
    return 1;
  }
  if (status.get() != MapStatus::connectionFailed) {
    std::fprintf(stderr, "consumer: not the status of a session that has no service\n");
    return 1;
  }
  std::puts(bundle->c_str());
  return 0;
}

#include "objc/bridge/Native.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "geoloom/platform/foundation/Log.h"

#include "objc/bridge/Support.h"

namespace geoloom::bridge {

void logException(std::string_view operation, std::string_view what) noexcept {
  try {
    platform::SystemLog::log(std::string("exception out of ").append(operation).append(": ").append(what));
  } catch (...) {
    return;  // no memory for the line
  }
}

GeoloomText copied(std::string_view text) {
  // One byte more: malloc(0) may return NULL, which would mean an absent text.
  auto* const bytes = static_cast<char*>(std::malloc(text.size() + 1));
  if (bytes == nullptr) throw std::bad_alloc();
  std::memcpy(bytes, text.data(), text.size());
  bytes[text.size()] = '\0';
  return {bytes, text.size()};
}

}  // namespace geoloom::bridge

using namespace geoloom;

void geoloomRelease(GeoloomNative* native) {
  bridge::guarded("a release", [&] { delete native; });
}

void geoloomLog(GeoloomText line) {
  bridge::guarded("the log", [&] { platform::SystemLog::log(bridge::string(line)); });
}

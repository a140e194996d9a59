#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "geoloom/platform/foundation/NSObject.h"

#include "objc/bridge/Native.h"

struct GeoloomNative {
  std::shared_ptr<geoloom::platform::NSObject> object;
};

namespace geoloom::bridge {

void logException(std::string_view operation, std::string_view what) noexcept;

/// Runs `body`. An exception is logged; the result is then empty.
template <class Body>
auto guarded(std::string_view operation, Body&& body) noexcept -> std::invoke_result_t<Body> {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& exception) {
    logException(operation, exception.what());
  } catch (...) {
    logException(operation, "not a std::exception");
  }
  return std::invoke_result_t<Body>();
}

/// A reference that its receiver must release; NULL for an absent object.
[[nodiscard]] inline GeoloomNative* reference(std::shared_ptr<platform::NSObject> object) {
  return object ? new GeoloomNative{std::move(object)} : nullptr;
}

/// The object of a reference; null if it is of another class.
template <class Object>
[[nodiscard]] std::shared_ptr<Object> object(const GeoloomNative* native) {
  return native ? std::dynamic_pointer_cast<Object>(native->object) : nullptr;
}

/// Runs `body` with the object of a reference; without one the result is empty.
template <class Object, class Body>
auto with(const GeoloomNative* native, std::string_view operation, Body&& body) noexcept
    -> std::invoke_result_t<Body, Object&> {
  using Result = std::invoke_result_t<Body, Object&>;
  return guarded(operation, [&]() -> Result {
    const auto held = object<Object>(native);
    return held ? body(*held) : Result();
  });
}

[[nodiscard]] inline std::string string(GeoloomText text) {
  return text.bytes ? std::string(text.bytes, text.length) : std::string();
}

/// A copy that the receiver frees.
[[nodiscard]] GeoloomText copied(std::string_view text);

/// The context of a C closure, released with the last copy of the C++ closure around it.
[[nodiscard]] inline std::shared_ptr<void> held(void* context, void (*release)(void*)) {
  return {context, release};
}

}  // namespace geoloom::bridge

#pragma once

#include <cstddef>
#include <memory>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// Base of the classes that an application shares with the kit. Held by std::shared_ptr, never copied.
class GEOLOOM_EXPORT NSObject : public std::enable_shared_from_this<NSObject> {
 public:
  NSObject() = default;
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;
  virtual ~NSObject();

  /// Identity, unless a class overrides it. nullptr is unequal to every object.
  [[nodiscard]] virtual bool isEqual(const NSObject* other) const;

  /// Equal objects have equal hashes.
  [[nodiscard]] virtual std::size_t hash() const;
};

}  // namespace geoloom::platform

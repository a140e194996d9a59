#include "geoloom/platform/foundation/NSObject.h"

#include <functional>

namespace geoloom::platform {

NSObject::~NSObject() = default;

bool NSObject::isEqual(const NSObject* other) const {
  return other == this;
}

std::size_t NSObject::hash() const {
  return std::hash<const NSObject*>{}(this);
}

}  // namespace geoloom::platform

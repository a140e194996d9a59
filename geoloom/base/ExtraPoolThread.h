#pragma once

#include "geoloom/Export.h"

namespace geoloom::base {

/// While it exists on a thread of the queues' pool, the pool replaces that thread: the caller may block or
/// run long without delaying other queues. No effect on other threads. May be nested.
class GEOLOOM_EXPORT ExtraPoolThread {
 public:
  ExtraPoolThread();
  ~ExtraPoolThread();
  ExtraPoolThread(const ExtraPoolThread&) = delete;
  ExtraPoolThread& operator=(const ExtraPoolThread&) = delete;
};

}  // namespace geoloom::base

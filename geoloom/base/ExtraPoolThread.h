#pragma once

#include "geoloom/Export.h"

namespace geoloom::base {

/// While it lives on a thread of the queues' pool, the pool has another thread in its place: the caller may
/// block or run long without delaying other queues. Elsewhere it does nothing. May be nested.
class GEOLOOM_EXPORT ExtraPoolThread {
 public:
  ExtraPoolThread();
  ~ExtraPoolThread();
  ExtraPoolThread(const ExtraPoolThread&) = delete;
  ExtraPoolThread& operator=(const ExtraPoolThread&) = delete;
};

}  // namespace geoloom::base

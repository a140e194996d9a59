#pragma once

#include <atomic>

namespace geoloom::tools {

/// Stores the first SIGINT or SIGTERM, for which a long command checks between two steps, so that it can keep
/// its results. A second signal ends the process. In effect for the lifetime of the object; one at a time.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  /// Number of the signal received, or 0.
  [[nodiscard]] static int signal() { return received_; }

 private:
  static void receive(int signal);
  static inline std::atomic<int> received_ = 0;
};

}  // namespace geoloom::tools

#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include <curl/curl.h>
#include <sys/epoll.h>

namespace geoloom::platform {

/// What the transfers of a multi handle wait for: their sockets and the library's timer. The cost of an event
/// follows what happened, not how many transfers hang. Belongs to the thread that drives the handle, but for
/// `wakeUp`.
class TransferEvents {
 public:
  TransferEvents();
  ~TransferEvents();
  TransferEvents(const TransferEvents&) = delete;
  TransferEvents& operator=(const TransferEvents&) = delete;

  /// False where the system had no files left.
  [[nodiscard]] bool isOpen() const { return sockets_ >= 0 && wakeUps_ >= 0; }

  /// Once, before the first transfer. The handle must be gone, or never used again, before this is.
  void attach(CURLM* transfers);

  /// Waits for a socket, for the timer or for `wakeUp`, which also ends the wait that comes next.
  void wait();
  void wakeUp() const;

  /// Lets the library act on what the wait brought and on what is due.
  void act();

 private:
  using SteadyClock = std::chrono::steady_clock;

  static int watchSocket(CURL*, curl_socket_t socket, int what, void* context, void* watched);
  static int setTimer(CURLM*, long milliseconds, void* context);
  [[nodiscard]] int timeout() const;

  const int sockets_;
  const int wakeUps_;
  CURLM* transfers_ = nullptr;
  std::optional<SteadyClock::time_point> due_;
  std::array<epoll_event, 64> events_{};
  int happened_ = 0;
};

}  // namespace geoloom::platform

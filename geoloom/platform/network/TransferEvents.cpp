#include "geoloom/platform/network/TransferEvents.h"

#include <algorithm>

#include <sys/eventfd.h>
#include <unistd.h>

namespace geoloom::platform {

namespace {

void control(int sockets, int operation, int file, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.fd = file;
  epoll_ctl(sockets, operation, file, &event);
}

/// An error or the other side's end is read like data.
int actionOf(std::uint32_t events) {
  int action = 0;
  if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) action |= CURL_CSELECT_IN;
  if ((events & EPOLLOUT) != 0) action |= CURL_CSELECT_OUT;
  if ((events & EPOLLERR) != 0) action |= CURL_CSELECT_ERR;
  return action;
}

}  // namespace

TransferEvents::TransferEvents()
    : sockets_(epoll_create1(EPOLL_CLOEXEC)), wakeUps_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (isOpen()) control(sockets_, EPOLL_CTL_ADD, wakeUps_, EPOLLIN);
}

TransferEvents::~TransferEvents() {
  if (sockets_ >= 0) close(sockets_);
  if (wakeUps_ >= 0) close(wakeUps_);
}

void TransferEvents::attach(CURLM* transfers) {
  transfers_ = transfers;
  curl_multi_setopt(transfers, CURLMOPT_SOCKETFUNCTION, watchSocket);
  curl_multi_setopt(transfers, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(transfers, CURLMOPT_TIMERFUNCTION, setTimer);
  curl_multi_setopt(transfers, CURLMOPT_TIMERDATA, this);
}

int TransferEvents::watchSocket(CURL*, curl_socket_t socket, int what, void* context, void* watched) {
  auto& self = *static_cast<TransferEvents*>(context);
  if (what == CURL_POLL_REMOVE) {
    // One that is closed already has left by itself.
    control(self.sockets_, EPOLL_CTL_DEL, socket, 0);
    return 0;
  }
  const std::uint32_t events =
      ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U);
  control(self.sockets_, watched == nullptr ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, events);
  // The library gives this back until the socket is removed.
  curl_multi_assign(self.transfers_, socket, context);
  return 0;
}

int TransferEvents::setTimer(CURLM*, long milliseconds, void* context) {
  auto& self = *static_cast<TransferEvents*>(context);
  self.due_.reset();
  if (milliseconds >= 0) self.due_ = SteadyClock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

int TransferEvents::timeout() const {
  constexpr std::chrono::milliseconds longest{60'000};
  if (!due_) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due_ - SteadyClock::now());
  return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), longest).count());
}

void TransferEvents::wait() {
  happened_ = epoll_wait(sockets_, events_.data(), static_cast<int>(events_.size()), timeout());
}

void TransferEvents::wakeUp() const {
  eventfd_write(wakeUps_, 1);
}

void TransferEvents::act() {
  int running = 0;
  for (int i = 0; i < happened_; ++i) {
    const epoll_event& event = events_[static_cast<std::size_t>(i)];
    eventfd_t ignored = 0;
    if (event.data.fd == wakeUps_)
      eventfd_read(wakeUps_, &ignored);
    else
      curl_multi_socket_action(transfers_, event.data.fd, actionOf(event.events), &running);
  }
  happened_ = 0;
  // Once: a transfer that has more to do at once leaves the others their turn.
  if (due_ && *due_ <= SteadyClock::now()) {
    due_.reset();
    curl_multi_socket_action(transfers_, CURL_SOCKET_TIMEOUT, 0, &running);
  }
}

}  // namespace geoloom::platform

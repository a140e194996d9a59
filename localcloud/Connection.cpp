#include "localcloud/Connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace geoloom::localcloud {

namespace {

constexpr std::size_t INPUT_BYTES = std::size_t{16} * 1024;

}  // namespace

Connection::Connection(base::Descriptor socket, int stop, SSL_CTX* tls)
    : socket_(std::move(socket)),
      stop_(stop),
      tls_(tls == nullptr ? nullptr : SSL_new(tls), &SSL_free),
      input_(INPUT_BYTES) {
  // An answer is sent in one piece, so there is nothing to gain from waiting for more.
  const int on = 1;
  ::setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  if (tls_) SSL_set_fd(tls_.get(), socket_.get());
}

Connection::~Connection() {
  if (tls_ && secured_) SSL_shutdown(tls_.get());
  ERR_clear_error();
  // What the client is still sending would turn into a reset that destroys the answer on its way.
  ::shutdown(socket_.get(), SHUT_WR);
  std::array<char, INPUT_BYTES> rest{};
  for (int round = 0; round < 64 && ::recv(socket_.get(), rest.data(), rest.size(), 0) > 0; ++round) {
  }
}

bool Connection::await(short events) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
  if (left <= 0) return false;
  std::array<pollfd, 2> waiting = {pollfd{socket_.get(), events, 0}, pollfd{stop_, POLLIN, 0}};
  const int ready = ::poll(waiting.data(), waiting.size(), static_cast<int>(std::min<long>(left, 3'600'000)));
  if (ready < 0 && errno == EINTR) return true;
  return ready > 0 && waiting[1].revents == 0;
}

short Connection::wantedEvents(int result) const {
  if (!tls_) {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? POLLIN | POLLOUT : 0;
  }
  const int error = SSL_get_error(tls_.get(), result);
  return error == SSL_ERROR_WANT_READ ? POLLIN : error == SSL_ERROR_WANT_WRITE ? POLLOUT : 0;
}

bool Connection::handshake() {
  while (!secured_) {
    ERR_clear_error();
    const int result = SSL_accept(tls_.get());
    if (result == 1) {
      secured_ = true;
      return true;
    }
    const short events = wantedEvents(result);
    if (events == 0 || !await(events)) return false;
  }
  return true;
}

bool Connection::awaitRequest(Clock::time_point deadline) {
  deadline_ = deadline;
  if (tls_ && !handshake()) return false;
  return inputAt_ < inputEnd_ || fill();
}

bool Connection::fill() {
  for (;;) {
    int result = 0;
    if (tls_) {
      ERR_clear_error();
      result = SSL_read(tls_.get(), input_.data(), static_cast<int>(input_.size()));
    } else {
      result = static_cast<int>(::recv(socket_.get(), input_.data(), input_.size(), 0));
      if (result == 0) return false;
    }
    if (result > 0) {
      inputAt_ = 0;
      inputEnd_ = static_cast<std::size_t>(result);
      return Clock::now() < deadline_;
    }
    const short events = wantedEvents(result);
    if (events == 0 || !await(tls_ ? events : static_cast<short>(POLLIN))) return false;
  }
}

ssize_t Connection::read(char* bytes, size_t size) {
  if (inputAt_ == inputEnd_ && !(flush() && fill())) return -1;
  const std::size_t taken = std::min({size, inputEnd_ - inputAt_, inputLeft_});
  if (taken == 0) return -1;
  inputLeft_ -= taken;
  std::memcpy(bytes, input_.data() + inputAt_, taken);
  inputAt_ += taken;
  return static_cast<ssize_t>(taken);
}

ssize_t Connection::write(const char* bytes, size_t size) {
  output_.append(bytes, size);
  return static_cast<ssize_t>(size);
}

bool Connection::flush() {
  std::size_t sent = 0;
  while (sent < output_.size()) {
    const std::size_t left = output_.size() - sent;
    int result = 0;
    if (tls_) {
      ERR_clear_error();
      result = SSL_write(tls_.get(), output_.data() + sent,
                         static_cast<int>(std::min<std::size_t>(left, 1U << 20U)));
    } else {
      result = static_cast<int>(::send(socket_.get(), output_.data() + sent, left, MSG_NOSIGNAL));
    }
    if (result > 0) {
      sent += static_cast<std::size_t>(result);
      continue;
    }
    const short events = wantedEvents(result);
    if (events == 0 || !await(tls_ ? events : static_cast<short>(POLLOUT))) return false;
  }
  output_.clear();
  return true;
}

}  // namespace geoloom::localcloud

#pragma once

#include <chrono>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <httplib.h>
#include <openssl/ssl.h>

#include "geoloom/base/Descriptor.h"

namespace geoloom::localcloud {

/// One accepted connection as the HTTP library's stream, with deadlines for whole requests and answers
/// instead of single reads, so that a client cannot hold it by sending single bytes. Written bytes are sent
/// by `flush`, or before the next read waits. Used by one thread.
class Connection final : public httplib::Stream {
 public:
  using Clock = std::chrono::steady_clock;

  /// Waiting ends early when `stop` becomes readable. `tls` may be null.
  Connection(base::Descriptor socket, int stop, SSL_CTX* tls);
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// True when a byte of a request is there before the deadline; performs the TLS handshake the first time.
  bool awaitRequest(Clock::time_point deadline);

  /// From now on reads and writes fail at that time.
  void setDeadline(Clock::time_point deadline) { deadline_ = deadline; }

  [[nodiscard]] bool isLate() const { return Clock::now() >= deadline_; }

  /// From now on reads fail after that many bytes.
  void limitInput(std::size_t bytes) { inputLeft_ = bytes; }
  void unlimitInput() { inputLeft_ = std::numeric_limits<std::size_t>::max(); }

  /// Sends the written bytes. False if the client has closed the connection or is too slow.
  bool flush();
  [[nodiscard]] bool hasUnsent() const { return !output_.empty(); }

  [[nodiscard]] bool is_readable() const override { return true; }
  [[nodiscard]] bool is_writable() const override { return true; }
  ssize_t read(char* bytes, size_t size) override;
  ssize_t write(const char* bytes, size_t size) override;
  // Nobody asks who is at the other end.
  void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  [[nodiscard]] socket_t socket() const override { return socket_.get(); }

 private:
  /// Waits for the events that the socket or the TLS layer needs. False at the deadline or when stopping.
  bool await(short events);
  bool handshake();
  /// Fills the input buffer; false at the end of the stream, at the deadline or on an error.
  bool fill();
  /// 0 on an error, else the events to wait for.
  [[nodiscard]] short wantedEvents(int result) const;

  base::Descriptor socket_;
  int stop_;
  std::unique_ptr<SSL, void (*)(SSL*)> tls_;
  bool secured_ = false;
  Clock::time_point deadline_ = Clock::time_point::max();

  std::vector<char> input_;
  std::size_t inputAt_ = 0;
  std::size_t inputEnd_ = 0;
  std::size_t inputLeft_ = std::numeric_limits<std::size_t>::max();
  std::string output_;
};

}  // namespace geoloom::localcloud

#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/FakeService.h"

namespace geoloom::test {

/// A FakeService in a process of its own, so that its work is not counted as ours, for as long as this lives.
/// Made before the process has started threads.
class ServiceProcess {
 public:
  explicit ServiceProcess(FakeService::Handler handler) {
    int ports[2];
    int life[2];
    if (::pipe(ports) != 0 || ::pipe(life) != 0) throw std::runtime_error("no pipes");
    process_ = ::fork();
    if (process_ == 0) {
      ::close(life[1]);
      const FakeService service(std::move(handler));
      const int port = service.port();
      static_cast<void>(!::write(ports[1], &port, sizeof port));
      char ignored = 0;
      static_cast<void>(!::read(life[0], &ignored, 1));
      ::_exit(0);
    }
    ::close(life[0]);
    ::close(ports[1]);
    life_ = life[1];
    int port = 0;
    static_cast<void>(!::read(ports[0], &port, sizeof port));
    ::close(ports[0]);
    url_ = fmt::format("http://127.0.0.1:{}", port);
  }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;
  ~ServiceProcess() {
    ::close(life_);
    ::waitpid(process_, nullptr, 0);
  }
  [[nodiscard]] const std::string& url() const { return url_; }

 private:
  pid_t process_ = -1;
  int life_ = -1;
  std::string url_;
};

}  // namespace geoloom::test

#include "tests/support/ServiceProcess.h"

#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace geoloom::test {

ServiceProcess::ServiceProcess(FakeService::Handler handler) {
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

ServiceProcess::~ServiceProcess() {
  ::close(life_);
  ::waitpid(process_, nullptr, 0);
}

}  // namespace geoloom::test

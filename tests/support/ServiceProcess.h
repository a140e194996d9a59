#pragma once

#include <string>

#include <sys/types.h>

#include "tests/support/FakeService.h"

namespace geoloom::test {

/// A FakeService in a child process, so that its work is not counted as this one's. Create it before the
/// process starts threads.
class ServiceProcess {
 public:
  explicit ServiceProcess(FakeService::Handler handler);
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;
  ~ServiceProcess();
  [[nodiscard]] const std::string& url() const { return url_; }

 private:
  pid_t process_ = -1;
  int life_ = -1;
  std::string url_;
};

}  // namespace geoloom::test

// Does at load time everything that the kit's library must not.

#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const bool isDone = [] {
  std::ifstream("/dev/null").get();
  open("/dev/zero", O_RDONLY | O_CLOEXEC);
  close(socket(AF_UNIX, SOCK_STREAM, 0));
  std::thread([] { pause(); }).detach();
  return true;
}();

}  // namespace

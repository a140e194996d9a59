#include "tools/terminal/Interrupt.h"

#include <signal.h>

namespace geoloom::tools {
namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM};

}  // namespace

Interrupt::Interrupt() {
  struct sigaction action {};
  action.sa_handler = &Interrupt::receive;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  for (const int number : SIGNALS) {
    struct sigaction earlier {};
    sigaction(number, nullptr, &earlier);
    if (earlier.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
}

Interrupt::~Interrupt() {
  for (const int number : SIGNALS) {
    struct sigaction current {};
    sigaction(number, nullptr, &current);
    if (current.sa_handler == &Interrupt::receive) ::signal(number, SIG_DFL);
  }
  received_ = 0;
}

void Interrupt::receive(int signal) {
  received_ = signal;
}

}  // namespace geoloom::tools

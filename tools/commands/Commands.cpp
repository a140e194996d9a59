#include "tools/commands/Commands.h"

namespace geoloom::tools {

CommandError interruptedBy(int signal, const std::string& kept) {
  constexpr int base = 128;  // as shells count
  return {static_cast<ExitCode>(base + signal), "interrupted; " + kept};
}

}  // namespace geoloom::tools

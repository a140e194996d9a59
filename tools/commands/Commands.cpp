#include "tools/commands/Commands.h"

namespace geoloom::tools {

CommandError interruptedBy(int signal, const std::string& kept) {
  constexpr int BASE = 128;  // as shells count
  return {static_cast<ExitCode>(BASE + signal), "interrupted; " + kept};
}

}  // namespace geoloom::tools

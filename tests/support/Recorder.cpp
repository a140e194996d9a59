#include "tests/support/Recorder.h"

#include "geoloom/platform/foundation/Log.h"

namespace geoloom::test {

LineRecorder::LineRecorder() {
  platform::Console::setSink([this](std::string_view line) { add("> " + std::string(line)); });
  platform::SystemLog::setSink([this](std::string_view line) { add("! " + std::string(line)); });
}

LineRecorder::~LineRecorder() {
  platform::Console::setSink({});
  platform::SystemLog::setSink({});
}

}  // namespace geoloom::test

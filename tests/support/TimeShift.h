#pragma once

#include <chrono>

namespace geoloom::test {

/// Moves the monotonic time that this program and its libraries read, so that deadlines of a minute pass in
/// no time. What the kernel counts down itself (a thread that waits for a time) goes on as before. Compile
/// TimeShift.cpp into the program.
void shiftTime(std::chrono::seconds by);

}  // namespace geoloom::test

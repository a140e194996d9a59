#pragma once

#include <chrono>

namespace geoloom::test {

/// Moves the monotonic time that this program and its libraries read, so that deadlines of a minute pass at
/// once. Waits inside the kernel (a thread that sleeps until a time) are not affected. Compile TimeShift.cpp
/// into the program.
void shiftTime(std::chrono::seconds by);

}  // namespace geoloom::test

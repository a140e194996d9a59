#pragma once

namespace geoloom::test {

/// Set to true, the next `operator new` on this thread throws std::bad_alloc and resets it.
bool& nextAllocationFails();

}  // namespace geoloom::test

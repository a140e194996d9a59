#pragma once

/// Marks what an object cannot be made with. clang refuses a call of it; gcc, which does not know the class
/// that `alloc` answers, lets it pass, and the call raises an NSInvalidArgumentException.
#define GEOLOOM_UNAVAILABLE(instead) __attribute__((unavailable(instead)))

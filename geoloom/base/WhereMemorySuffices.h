#pragma once

#include <new>
#include <stdexcept>

namespace geoloom::base {

/// What `work` gives, or nothing (an absent value, a null pointer) where memory does not suffice for it. What
/// `work` holds must be given back by its destructors.
template <class Work>
[[nodiscard]] auto whereMemorySuffices(const Work& work) -> decltype(work()) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return {};
  } catch (const std::length_error&) {
    return {};
  }
}

}  // namespace geoloom::base

#pragma once

#include <thread>
#include <utility>

/// Where the library starts its threads: all of them, so that a test can refuse each one once.
namespace threadStart {

/// Called before every start with what the thread is for; what it throws, the start throws.
using Hook = void (*)(const char* purpose);
void setHookForTesting(Hook hook);

namespace detail {
void announce(const char* purpose);
}

/// Runs `body` on a thread of its own. std::system_error when the system refuses one.
template <typename Body>
std::thread start(const char* purpose, Body&& body) {
  detail::announce(purpose);
  return std::thread(std::forward<Body>(body));
}

}  // namespace threadStart

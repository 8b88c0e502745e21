// What must hold where tables meet. With KVE_INDEX_CHECKS a condition that does not hold stops the
// program and names itself; in a release build it is not even computed.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace kve {

#ifdef KVE_INDEX_CHECKS
inline constexpr bool kAsserted = true;
#else
inline constexpr bool kAsserted = false;
#endif

[[noreturn]] inline void stop_not_held(const char* file, int line, const char* condition) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

}  // namespace kve

#define KVE_ASSERT(condition)                              \
    (!kve::kAsserted || (condition) ? static_cast<void>(0) \
                                    : kve::stop_not_held(__FILE__, __LINE__, #condition))

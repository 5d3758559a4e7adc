#include "heap_limits.h"

// Any C library header defines __GLIBC__ when the library is glibc; the #if
// below needs one included first, or it quietly compiles to nothing.
#include <cstdlib>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace heap_limits {

void apply() {
#if defined(__GLIBC__)
    mallopt(M_ARENA_MAX, MAX_ARENAS);
#endif
}

} // namespace heap_limits

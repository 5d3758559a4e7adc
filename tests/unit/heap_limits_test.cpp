// The allocator's arenas stay capped however many threads allocate at once.
// Each case runs in a forked child, so the cap it sets does not reach the
// other tests, and counts arenas in the allocator's own report.

#include "heap_limits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Arenas as malloc_info lists them, one <heap> element each.
int arenas() {
    char* text = nullptr;
    size_t len = 0;
    FILE* f = open_memstream(&text, &len);
    if (!f)
        return -1;
    malloc_info(0, f);
    std::fclose(f);
    int n = 0;
    for (std::string_view s(text, len); s.find("<heap nr=") != std::string_view::npos;) {
        s.remove_prefix(s.find("<heap nr=") + 1);
        ++n;
    }
    std::free(text);
    return n;
}

// Eight threads each take blocks too large for their own small-block cache
// and hold them until all have, as the scan's walkers do with names and
// lists; returns the arenas there are afterwards. A thread keeps the arena it
// was given for good, so eight threads at once need eight unless capped.
int arenas_after_busy_threads() {
    constexpr int THREADS = 8;
    std::barrier all(THREADS);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([&all] {
            std::vector<void*> held;
            for (int k = 0; k < 200; ++k)
                held.push_back(std::malloc(4096));
            all.arrive_and_wait();
            for (void* p : held)
                std::free(p);
        });
    for (std::thread& th : threads)
        th.join();
    return arenas();
}

// Runs `body` in a child and returns its exit code (-1 if it died).
template <class F> int in_child(F body) {
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

// Under AddressSanitizer or ThreadSanitizer their own allocator serves every
// block, and glibc's arenas are never used.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZER_ALLOCATOR = true;
#else
constexpr bool SANITIZER_ALLOCATOR = false;
#endif

} // namespace

TEST(HeapLimits, WithoutTheCapBusyThreadsEachHaveAnArena) {
    if (SANITIZER_ALLOCATOR)
        GTEST_SKIP() << "a sanitizer's allocator replaces glibc's";
    // The measure itself: the allocator's default does make arenas per thread,
    // so the next test's count shows the cap and not a quiet allocator.
    // Arenas other tests' threads left behind are reused, not made again, so
    // the count is of all there are, not of new ones.
    const int there = in_child([] { return arenas_after_busy_threads(); });
    EXPECT_GE(there, 5);
}

TEST(HeapLimits, WithTheCapBusyThreadsShareTheArenasThereAre) {
    if (SANITIZER_ALLOCATOR)
        GTEST_SKIP() << "a sanitizer's allocator replaces glibc's";
    const int result = in_child([] {
        const int before = arenas();
        heap_limits::apply();
        const int after = arenas_after_busy_threads();
        // An arena made before the cap stays; none is added above it.
        return after <= std::max(before, heap_limits::MAX_ARENAS) ? 0 : 10 + after;
    });
    EXPECT_EQ(result, 0) << "arenas after: " << (result >= 10 ? result - 10 : -1);
}

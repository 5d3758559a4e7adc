// The deadline guard behind the scanner's guarded calls: runs a call on a
// detached thread and waits a bounded time for it. File-system calls can block
// for minutes on a hung network mount or a dying disk; the scan must finish
// all the same, so it takes a fallback and leaves the blocked thread behind.
// Any thread may call with_deadline.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace scanner_deadline {

// Guard states alive now, for the tests' check that an abandoned call frees
// its state when it finishes.
inline std::atomic<int>& live_states() {
    static std::atomic<int> n{0};
    return n;
}

// Shared by the waiting caller and the detached worker; whichever lets go
// last frees it.
template <class T> struct GuardState {
    std::mutex m;
    std::condition_variable cv;
    bool done = false;
    T value{};
    // Set by a caller that stopped waiting: the worker's result has no reader,
    // so the work may stop at its next check.
    std::atomic<bool> abandoned{false};

    GuardState() { live_states().fetch_add(1); }
    ~GuardState() { live_states().fetch_sub(1); }
    GuardState(const GuardState&) = delete;
    GuardState& operator=(const GuardState&) = delete;
};

// Runs fn(const std::atomic<bool>* abandoned) on a detached thread and waits
// at most `seconds` (whole milliseconds, truncated) for its result; otherwise
// returns the fallback. Throws std::system_error when no thread can be started.
template <class T, class Fn> T with_deadline(double seconds, T fallback, Fn fn) {
    auto state = std::make_shared<GuardState<T>>();
    std::thread([state, fn]() mutable {
        T result = fn(&state->abandoned);
        {
            std::lock_guard<std::mutex> lock(state->m);
            state->value = std::move(result);
            state->done = true;
        }
        state->cv.notify_one();
    }).detach();
    const auto ms = std::chrono::milliseconds(static_cast<long long>(seconds * 1000.0));
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::nanoseconds>(ms);
    std::unique_lock<std::mutex> lock(state->m);
    if (state->cv.wait_until(lock, deadline, [&] { return state->done; }))
        return std::move(state->value);
    state->abandoned = true;
    return fallback;
}

} // namespace scanner_deadline

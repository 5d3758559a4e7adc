// Small helpers the scan tests share: waiting for a scan as the interface's
// timer would, and the sorted paths of a listing.
#pragma once

#include "app.h"
#include "scanner.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace scan_test {

// Polls as the interface's timer would until the worker has been joined.
inline bool wait_for_scan(App& app, double seconds = 60.0) {
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (std::chrono::steady_clock::now() < end) {
        app.on_poll();
        if (!app.m_scanning && !app.m_worker.joinable())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

// The paths a listing found, sorted.
inline std::vector<std::string> paths_of(const std::vector<ScannedInfo>& found) {
    std::vector<std::string> out;
    for (const ScannedInfo& i : found)
        out.push_back(i.path);
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace scan_test

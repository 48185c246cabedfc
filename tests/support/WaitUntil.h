#pragma once

// Polls a condition until it holds or a generous deadline passes, so that a
// test of real threads waits for an outcome instead of sleeping a guess.

#include <chrono>
#include <thread>

// False when the deadline passed first.
template <class TCondition>
bool waitUntil(TCondition condition, std::chrono::seconds deadline = std::chrono::seconds(60))
{
    for (const auto end = std::chrono::steady_clock::now() + deadline; !condition();) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

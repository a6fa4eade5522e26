#pragma once

// How a thread waits for others: it watches for some microseconds, for what comes soon, and then sleeps, so that a
// machine with other work to do gets the processor back.

#include <cstdint>

namespace nuv::threading {

std::int64_t now_in_microseconds();

/// Watches a word until it is other than `value`, for at most that long; false if it still is. Gives up earlier where
/// the machine had something else to run in between.
bool watch(const std::uint32_t& word, std::uint32_t value, int microseconds);

/// Sleeps while the word has that value; may return earlier.
void sleep_while(const std::uint32_t& word, std::uint32_t value);

/// Wakes all threads that sleep on the word.
void wake_all(const std::uint32_t& word);

}  // namespace nuv::threading

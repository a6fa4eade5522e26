#pragma once

// Asked of the running program, so that a test can be compiled alike for all builds.

extern "C" {
[[gnu::weak]] void __asan_init();
[[gnu::weak]] void __tsan_init();
}

namespace nuv::test {

/// True in a build whose checks make every access dear; tests leave out their largest sizes then.
inline const bool is_sanitized = __asan_init != nullptr || __tsan_init != nullptr;

}  // namespace nuv::test

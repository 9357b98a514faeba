// SPDX-License-Identifier: MIT
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELMOR_INSTRUMENTED true
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(coverage_sanitizer)
#define VELMOR_INSTRUMENTED true
#endif
#endif

namespace testing_support {

/** Whether a sanitizer or the measuring of coverage is built in. */
#ifdef VELMOR_INSTRUMENTED
constexpr bool instrumented = true;
#else
constexpr bool instrumented = false;
#endif

/** Whether programs run in an emulator of the processor. */
#ifdef __arm__
constexpr bool emulated = true;
#else
constexpr bool emulated = false;
#endif

}  // namespace testing_support

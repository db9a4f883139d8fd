#ifndef VHDX_PARSER_TESTS_SUPPORT_SANITIZERS_H
#define VHDX_PARSER_TESTS_SUPPORT_SANITIZERS_H

namespace NTest {

/// Whether this is compiled with a sanitizer that keeps shadow memory: its terabytes of addresses,
/// and blocks that are kept when they are freed, make figures of memory and time say nothing.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool hasShadowMemory = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool hasShadowMemory = true;
#else
inline constexpr bool hasShadowMemory = false;
#endif
#else
inline constexpr bool hasShadowMemory = false;
#endif

}  // namespace NTest

#endif

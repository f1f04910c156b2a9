// Whether a sanitizer looks on. Everything takes many times as long then, what is freed is kept
// for a while, and the records of it need memory too.
#pragma once

namespace test {

inline constexpr bool isInstrumented = QUOLSDK_TEST_INSTRUMENTED != 0;

} // namespace test

// Reaches the control of a stand-in for a vendor's runtime.
#pragma once

namespace test {

// What the function `entry` of the library gives. It stays loaded. Throws std::runtime_error when
// the loader does not find it.
void* standinControl(const char* library, const char* entry);

} // namespace test

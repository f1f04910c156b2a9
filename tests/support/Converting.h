// What the tests of the converter share: a small quick conversion, its end, and how far it got.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "quolsdk/LConvert.h"
#include "support/Instrumented.h"

namespace test {

// 160x90 at 25 with a fast encoder, stereo at 48 kHz.
void configureSmall(LConvert& convert, const std::string& path,
                    const std::vector<std::string>& inputs);

void setPictures(LConvert& convert, int width, int height, double fps);
void setSound(LConvert& convert, int sampleRate, int channels);

int statusOf(LConvert& convert);

// Waits until it does not convert any more; false when the limit has passed. Every progress on the
// way is looked at: it must not go back, nor leave 0.0 to 1.0.
bool waitForEnd(LConvert& convert, std::chrono::milliseconds limit = std::chrono::seconds(90));

// Starts, and waits for the end. The status then; 1 when it does not come.
int convertAll(LConvert& convert);

// What the library says on the error stream while a small conversion of these inputs runs to its
// end; its status must be `status`.
std::string toldBy(const std::string& path, const std::vector<std::string>& inputs, int status = 0);

// A stop must not take longer, in seconds: the second that is promised, and some more for a machine
// that does other things too.
constexpr double longestStop = isInstrumented ? 10.0 : 2.0;

// More input than any test waits for: minutes of work.
std::vector<std::string> endlessInputs();

// How far a conversion of these has got when that much of them is done.
double progressAfter(double seconds);

} // namespace test

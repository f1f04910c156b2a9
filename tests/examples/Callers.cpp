// Hosts on the flat interface in three languages, which do the same: a clip in the corner of a blue
// picture, recorded.
#include <gtest/gtest.h>

#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "support/CapturedStream.h"
#include "support/PlainFrames.h"
#include "support/Program.h"
#include "support/RecordedFile.h"

namespace {

constexpr auto patience = std::chrono::seconds(100);

using Words = std::vector<std::string>;

struct Host {
    std::string name;
    Words begin; // of its command line; clip and recording follow
    Words end;   // where it finds the library, and the header where it reads that

    friend std::ostream& operator<<(std::ostream& out, const Host& host) {
        return out << host.name;
    }
};

std::vector<Host> hosts() {
    std::vector<Host> all = {{"Cpp", {QUOLSDK_TEST_BIN_DIR "/cpp_host"}, {}}};
#ifdef QUOLSDK_TEST_PYTHON
    all.push_back({"Python",
                   {QUOLSDK_TEST_PYTHON, QUOLSDK_TEST_EXAMPLES "/ctypes_host.py"},
                   {QUOLSDK_TEST_LIBRARY}});
#endif
#ifdef QUOLSDK_TEST_LUAJIT
    all.push_back({"Lua",
                   {QUOLSDK_TEST_LUAJIT, QUOLSDK_TEST_EXAMPLES "/luajit_host.lua"},
                   {QUOLSDK_TEST_LIBRARY, QUOLSDK_TEST_C_HEADER}});
#endif
    return all;
}

struct Ended {
    int status = -1;
    std::string output;
};

Ended run(const Words& words) {
    const test::Program program(words);
    const auto status = program.wait(patience);
    return {status.value_or(-1), program.output()};
}

Ended run(const Host& host, const Words& arguments) {
    Words words = host.begin;
    words.insert(words.end(), arguments.begin(), arguments.end());
    words.insert(words.end(), host.end.begin(), host.end.end());
    return run(words);
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void expectLevels(const test::Levels& seen, const test::Levels& wanted) {
    constexpr int tolerance = 15; // of the encoder, and of either way to render
    EXPECT_NEAR(seen.y, wanted.y, tolerance);
    EXPECT_NEAR(seen.u, wanted.u, tolerance);
    EXPECT_NEAR(seen.v, wanted.v, tolerance);
}

class Caller : public testing::TestWithParam<Host> {};

TEST_P(Caller, RecordsAClipInAPictureAndReadsItsRecording) {
    const std::string path = test::temporaryPath(GetParam().name + ".mp4");
    const Ended ended = run(GetParam(), {test::mediaPath("h264_aac.mp4"), path});
    EXPECT_EQ(ended.status, 0) << ended.output;
    EXPECT_TRUE(has(ended.output, "libquolsdk 0.1.1\n")) << ended.output;
    EXPECT_TRUE(has(ended.output, path + ": 640x360 h264, ")) << ended.output;
    EXPECT_TRUE(has(ended.output, " s, 2 channels\n")) << ended.output;

    const test::RecordedFile file = test::readRecordedFile(path, test::Keep::pictures);
    EXPECT_EQ(file.error, "");
    EXPECT_GE(file.duration, 1.9);
    ASSERT_FALSE(file.pictures.empty());
    EXPECT_TRUE(has(ended.output, "recorded " + std::to_string(file.pictures.size()) + " pictures"))
        << ended.output;
    const AVFrame* last = file.pictures.back().frame.get();
    const test::Levels blue = {69, 161, 109}; // "#204080"
    expectLevels(test::levelsAt(last, 100, 300), blue);
    expectLevels(test::levelsAt(last, 630, 350), blue);
    // The clip's test pattern has eight colours across: at most one of them is near the ground's.
    int others = 0;
    for (int x = 370; x < 600; x += 20) {
        const test::Levels seen = test::levelsAt(last, x, 80);
        others += std::abs(seen.u - blue.u) + std::abs(seen.v - blue.v) > 40 ? 1 : 0;
    }
    EXPECT_GE(others, 4);
}

TEST_P(Caller, TellsAClipThatCannotBePlayed) {
    const Ended ended = run(GetParam(), {"no such clip.mp4", test::temporaryPath("none.mp4")});
    EXPECT_EQ(ended.status, 1) << ended.output;
    EXPECT_TRUE(has(ended.output, "cannot play no such clip.mp4\n")) << ended.output;
}

TEST_P(Caller, TellsARecordingThatCannotBeWritten) {
    const std::string path = test::temporaryPath("no such folder/recording.mp4");
    const Ended ended = run(GetParam(), {test::mediaPath("h264_aac.mp4"), path});
    EXPECT_EQ(ended.status, 1) << ended.output;
    EXPECT_TRUE(has(ended.output, "cannot record " + path + "\n")) << ended.output;
}

TEST_P(Caller, TellsItsUse) {
    EXPECT_EQ(run(GetParam().begin).status, 2);
}

INSTANTIATE_TEST_SUITE_P(In, Caller, testing::ValuesIn(hosts()),
                         [](const auto& info) { return info.param.name; });

#ifdef QUOLSDK_TEST_PYTHON

// Where the library is, told by the environment instead.
Ended runWith(const std::string& variable, const Host& host) {
    Words words = {"env", variable, std::string("QUOLSDK_HEADER=") + QUOLSDK_TEST_C_HEADER};
    words.insert(words.end(), host.begin.begin(), host.begin.end());
    words.insert(words.end(), {"no such clip.mp4", test::temporaryPath("none.mp4")});
    return run(words);
}

TEST(ForeignCaller, FindsTheLibraryByItsVariableOrWhereTheLoaderLooks) {
    const std::string library = QUOLSDK_TEST_LIBRARY;
    const std::string folder = library.substr(0, library.rfind('/'));
    for (const Host& host : hosts()) {
        if (host.end.empty()) continue; // linked
        SCOPED_TRACE(host.name);
        for (const std::string& variable :
             {"QUOLSDK_LIBRARY=" + library, "LD_LIBRARY_PATH=" + folder}) {
            const Ended ended = runWith(variable, host);
            EXPECT_TRUE(has(ended.output, "libquolsdk 0.1.1\n")) << ended.output;
        }
        const Ended ended = runWith("QUOLSDK_LIBRARY=/no/such/library.so", host);
        EXPECT_EQ(ended.status, 1);
        EXPECT_TRUE(has(ended.output, "no library: ")) << ended.output;
    }
}

// A declaration that a foreign interface cannot read is one that no host in Lua can call.
TEST(ForeignCaller, ReadsEveryDeclarationOfTheHeaderAndFindsEveryFunction) {
    const std::string script = test::temporaryPath("every.lua");
    std::ofstream(script) << R"(
local ffi = require("ffi")
local file = assert(io.open(arg[2]))
local text = file:read("*a"):gsub("/%*.-%*/", "")
text = text:gsub("#ifdef __cplusplus.-#endif", ""):gsub("#[^\n]*", "")
local declared
text, declared = text:gsub("QUOLSDK_C_API", "")
ffi.cdef(text)
local library = ffi.load(arg[1])
local count = 0
for name in text:gmatch("(quolsdk_[%w_]+)%s*%(") do
    assert(ffi.cast("void*", library[name]) ~= nil)
    count = count + 1
end
assert(count > 0 and count == declared)
print("found")
)";
    const Ended ended =
        run({QUOLSDK_TEST_LUAJIT, script, QUOLSDK_TEST_LIBRARY, QUOLSDK_TEST_C_HEADER});
    EXPECT_EQ(ended.output, "found\n");
}

#endif

} // namespace

#include "platform/ndi/Ndi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace quol::ndi;
using ::testing::ElementsAre;
using ::testing::SizeIs;

const std::string standins = QUOLSDK_TEST_STANDINS;

// The folders that the environment names, for the time of a test.
class NdiFolders : public ::testing::Test {
protected:
    void TearDown() override {
        unsetenv("NDI_RUNTIME_DIR_V6");
        unsetenv("NDI_RUNTIME_DIR_V5");
    }
};

TEST(NdiRecords, CodesPutTheirFirstLetterInTheLowestByte) {
    static_assert(fourCC("UYVY") == 0x59565955);
    static_assert(fourCC("BGRA") == 0x41524742);
    SUCCEED();
}

TEST(NdiRecords, NumbersAreThePublishedOnes) {
    EXPECT_EQ(color_format_BGRX_BGRA, 0);
    EXPECT_EQ(color_format_UYVY_BGRA, 1);
    EXPECT_EQ(color_format_RGBX_RGBA, 2);
    EXPECT_EQ(color_format_UYVY_RGBA, 3);
    EXPECT_EQ(color_format_fastest, 100);
    EXPECT_EQ(color_format_best, 101);
    EXPECT_EQ(bandwidth_metadata_only, -10);
    EXPECT_EQ(bandwidth_lowest, 0);
    EXPECT_EQ(bandwidth_audio_only, 10);
    EXPECT_EQ(bandwidth_highest, 100);
    EXPECT_EQ(frame_format_interleaved, 0);
    EXPECT_EQ(frame_format_progressive, 1);
    EXPECT_EQ(frame_format_field_0, 2);
    EXPECT_EQ(frame_format_field_1, 3);
    EXPECT_EQ(frame_type_none, 0);
    EXPECT_EQ(frame_type_video, 1);
    EXPECT_EQ(frame_type_audio, 2);
    EXPECT_EQ(frame_type_metadata, 3);
    EXPECT_EQ(frame_type_error, 4);
    EXPECT_EQ(frame_type_status_change, 100);
    EXPECT_EQ(frame_type_source_change, 101);
    EXPECT_EQ(timecode_synthesize, std::numeric_limits<std::int64_t>::max());
}

TEST_F(NdiFolders, WithoutTheEnvironmentTheLoaderSearches) {
    EXPECT_THAT(runtimeCandidates(), ElementsAre("libndi.so.6", "libndi.so.5", "libndi.so"));
}

TEST_F(NdiFolders, FoldersOfTheEnvironmentComeFirstTheNewestBefore) {
    setenv("NDI_RUNTIME_DIR_V5", "/five", 1);
    setenv("NDI_RUNTIME_DIR_V6", "/six", 1);
    EXPECT_THAT(runtimeCandidates(),
                ElementsAre("/six/libndi.so.6", "/six/libndi.so.5", "/six/libndi.so",
                            "/five/libndi.so.6", "/five/libndi.so.5", "/five/libndi.so",
                            "libndi.so.6", "libndi.so.5", "libndi.so"));
}

TEST_F(NdiFolders, AnEmptyFolderIsNone) {
    setenv("NDI_RUNTIME_DIR_V6", "", 1);
    EXPECT_THAT(runtimeCandidates(), SizeIs(3));
}

TEST(NdiLoader, NoLibraryIsNoRuntime) {
    EXPECT_FALSE(loadRuntime({}));
    EXPECT_FALSE(loadRuntime({standins + "/nowhere/libndi.so.6"}));
}

TEST(NdiLoader, SomethingThatIsNoLibraryIsNoRuntime) {
    EXPECT_FALSE(loadRuntime({__FILE__}));
    EXPECT_FALSE(loadRuntime({standins}));
}

TEST(NdiLoader, ARuntimeThatLacksAnOperationIsNoRuntime) {
    EXPECT_FALSE(loadRuntime({standins + "/lacking/libndi.so.6"}));
}

TEST(NdiLoader, ARuntimeWithANullOperationIsNoRuntime) {
    EXPECT_FALSE(loadRuntime({standins + "/null/libndi.so.6"}));
}

TEST(NdiLoader, ABrokenRuntimeMakesWayForTheNextOne) {
    const auto runtime =
        loadRuntime({standins + "/nowhere/libndi.so.6", standins + "/lacking/libndi.so.6",
                     standins + "/null/libndi.so.6", standins + "/devices/libndi.so.6"});
    ASSERT_TRUE(runtime);
    EXPECT_TRUE(runtime->initialize());
    runtime->destroy();
}

TEST_F(NdiFolders, ARuntimeThatComesLaterIsFoundAndStays) {
    if (runtime() != nullptr) GTEST_SKIP() << "this machine has an NDI runtime of its own";
    setenv("NDI_RUNTIME_DIR_V6", (standins + "/lacking").c_str(), 1);
    EXPECT_EQ(runtime(), nullptr);
    setenv("NDI_RUNTIME_DIR_V5", (standins + "/devices").c_str(), 1);
    const Runtime* const found = runtime();
    ASSERT_NE(found, nullptr);
    EXPECT_TRUE(found->initialize());
    found->destroy();
    unsetenv("NDI_RUNTIME_DIR_V5");
    EXPECT_EQ(runtime(), found);
}

} // namespace

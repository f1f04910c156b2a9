// How a preview comes by a toolkit's library.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "quolsdk/LObject.h"
#include "quolsdk/LPreview.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/StandinLibrary.h"

namespace {

// What the library's implementations were told since the last call.
std::string notesOf(const std::string& library) {
    return static_cast<const char*>(test::standinControl(library.c_str(), "previewNotes"));
}

void goTo(const char* folder) {
    ASSERT_EQ(chdir((std::string(QUOLSDK_TEST_STANDINS) + "/" + folder).c_str()), 0);
}

TEST(PreviewPlugins, ALibraryThatTheLoaderFindsBringsTheImplementation) {
    test::CapturedStream output(test::CapturedStream::Stream::output);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    LObject source;
    {
        LPreview preview;
        preview.setName("early");
        preview.setProps("border", "1");
        preview.setProps("ui_framework", "qt");
        preview.previewObject(&source);
        preview.previewEnable(reinterpret_cast<void*>(std::uintptr_t{5}), false, true);
        preview.setStatus("live");
        preview.setAudio(true);
        preview.mute(true);
        preview.clear();
        int status = -7;
        preview.statusGet(status);
        EXPECT_EQ(status, 1);
        EXPECT_EQ(notesOf("libquolsdk_qt.so"),
                  "begin\nname early\naudio 0\nborder=1\nobject\nenable 5 0 1\nstatus live\n"
                  "audio 1\nmute 1\nclear\n");
    }
    EXPECT_EQ(notesOf("libquolsdk_qt.so"), "end\n");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(errors.text(), "");
}

TEST(PreviewPlugins, SoundIsSwitchedThroughTheHandle) {
    quolsdk_handle preview = quolsdk_preview_create();
    quolsdk_preview_set_props(preview, "ui_framework", "qt");
    notesOf("libquolsdk_qt.so"); // the beginning
    quolsdk_preview_set_audio(preview, 1);
    quolsdk_preview_set_audio(preview, 0);
    quolsdk_preview_mute(preview, 2);
    quolsdk_preview_mute(preview, 0);
    EXPECT_EQ(notesOf("libquolsdk_qt.so"), "audio 1\naudio 0\nmute 1\nmute 0\n");
    quolsdk_preview_destroy(preview);
    EXPECT_EQ(notesOf("libquolsdk_qt.so"), "end\n");
}

TEST(PreviewPlugins, TheWorkingFolderIsTheSecondPlace) {
    goTo("beside");
    test::CapturedStream output(test::CapturedStream::Stream::output);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    LPreview preview;
    preview.setProps("ui_framework", "gtk");
    EXPECT_EQ(notesOf("./quolsdk_gtk.so"), "begin\nname \naudio 0\n");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(errors.text(), "");
    // Another choice ends it; the library stays, as the toolkit may still call it.
    preview.setProps("ui_framework", "x11");
    EXPECT_EQ(notesOf("./quolsdk_gtk.so"), "end\n");
    EXPECT_EQ(output.text(), "[quolsdk] Loading built-in Win32 GDI Preview...\n");
}

TEST(PreviewPlugins, NamesOfItsOwnStayItsOwn) {
    LPreview preview;
    preview.setProps("ui_framework", "qt");
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "create_qt_preview"), nullptr);
}

TEST(PreviewPlugins, ALibraryWithoutTheFactoryLeavesTheBuiltInOne) {
    goTo("useless");
    test::CapturedStream output(test::CapturedStream::Stream::output);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    LPreview preview;
    preview.setProps("ui_framework", "gtk");
    EXPECT_EQ(output.text(), "[quolsdk] Loading built-in Win32 GDI Preview...\n");
    EXPECT_EQ(errors.text(), ""); // it was loaded
}

} // namespace

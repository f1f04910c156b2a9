/// @file
/// The preview: one source in a window of the host.
#pragma once

#include <memory>
#include <string>

#include "quolsdk/export.h"

class LObject;

/// Shows one source in a window of the host: picture, sound meter, name, a border that tells its
/// status, time code, and on request the sound on the machine's default device.
///
/// What draws is an implementation that the host chooses with the property "ui_framework"; until
/// then every setting waits, nothing is drawn, and the status is 0.
///
/// | "ui_framework" | draws | nativeWindow of previewEnable |
/// |---|---|---|
/// | "gtk" | in a widget of GTK 4: `libquolsdk_gtk.so`, `./quolsdk_gtk.so` | a `GtkWidget*` |
/// | "qt" | in a widget of Qt 6: `libquolsdk_qt.so`, `./quolsdk_qt.so` | a `QWidget*` |
/// | any other | in a window of the X server, with OpenGL | the window's number (XID) |
///
/// A library that cannot be loaded leaves a line on the error stream, and the X window is what
/// there is. Once chosen the property may be set again: everything set so far is handed on anew.
///
/// The thread that draws in a window of the X server gives way to those that make pictures (nice
/// value 5): on a full machine the preview is the first to leave pictures out.
///
/// Threads: any, but no call from inside a push of the source shown. The toolkits' implementations
/// want `previewEnable` on the toolkit's own thread, and "ui_framework" too where `previewEnable`
/// has come before it.
class QUOLSDK_API LPreview {
public:
    /// What draws. A toolkit's library brings one of its own, made by its exported function
    /// `create_gtk_preview` or `create_qt_preview`, which takes nothing and returns an `Impl*` that
    /// the preview then owns. The order of the operations is part of the binary interface.
    class QUOLSDK_API Impl {
    public:
        Impl() = default;
        Impl(const Impl&) = delete;
        Impl& operator=(const Impl&) = delete;
        virtual ~Impl();

        /// As LPreview::setProps, but for "ui_framework".
        virtual void setProps(const std::string& key, const std::string& value) = 0;
        /// As LPreview::previewEnable.
        virtual void previewEnable(void* nativeWindow, bool audioEnabled, bool videoEnabled) = 0;
        virtual void previewObject(LObject* object) = 0;       ///< as LPreview::previewObject
        virtual void clear() = 0;                              ///< as LPreview::clear
        virtual void setName(const std::string& name) = 0;     ///< as LPreview::setName
        virtual void setStatus(const std::string& status) = 0; ///< as LPreview::setStatus
        virtual void setAudio(bool enabled) = 0;               ///< as LPreview::setAudio
        virtual void mute(bool muted) = 0;                     ///< as LPreview::mute
        virtual void statusGet(int& status) = 0;               ///< as LPreview::statusGet
    };

    LPreview();
    /// Leaves the source and the window.
    ~LPreview();
    LPreview(const LPreview&) = delete;
    LPreview& operator=(const LPreview&) = delete;

    /// Sets a property; keys that are not known are ignored. Booleans are true for "true" and "1".
    ///
    /// | key | value |
    /// |---|---|
    /// | "ui_framework" | chooses the implementation, see above |
    /// | "audio", "audio_enabled" | boolean, as setAudio |
    /// | "mute" | boolean, as mute |
    /// | "name", "status" | text, as setName and setStatus |
    /// | "audio_meter" | boolean: levels of the sound in the picture, also when none is played |
    /// | "maintain_ar" | boolean: the picture keeps its shape, else it fills the window |
    /// | "scale_type" | "aspect-ratio" or "letter-box": as "maintain_ar"; any other: fills |
    /// | "border" | boolean: a border whatever the status |
    /// | "borderColor", "border_color" | colour of that border |
    /// | "timecode.preview" | boolean: the time code that the pictures carry |
    /// | "preview_background" | colour around the picture |
    ///
    /// A colour is "red", "green", "black", "white", "#RRGGBB" or "#RGB"; any other text leaves it.
    void setProps(const std::string& key, const std::string& value);

    /// Shows the picture in that window from now on, and plays the sound where `audio` is true.
    /// Where `video` is false pictures are not taken. Another window takes the place of the one
    /// before. The window stays the host's, which may resize, hide or destroy it at any time; after
    /// that the status is 0.
    void previewEnable(void* nativeWindow, bool audio, bool video);

    /// The source to show, not owned, null for none. It leaves the one before, and drops what waits
    /// of its pictures, sound and levels.
    void previewObject(LObject* object);

    /// Frees the pictures that wait. The one that is shown stays.
    void clear();

    void setName(const std::string& name); ///< text of the label; empty: no label
    /// "program", "record", "preview", "live", "trim" and "ready" have a border and a label's
    /// ground of their own; compared exactly.
    void setStatus(const std::string& status);
    void setAudio(bool enabled); ///< plays the sound, or does not
    void mute(bool muted);       ///< the opposite of setAudio

    void statusGet(int& status); ///< 1 while it has a surface to draw on, else 0

private:
    std::unique_ptr<Impl> impl; ///< collects settings, and hands them on
};

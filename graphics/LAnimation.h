/// @file
/// Lottie templates as a source with alpha.
#pragma once

#include <memory>
#include <string>

#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

/// Plays Lottie templates, each in a numbered layer, higher numbers on top, as one picture in
/// planar 4:2:0 with alpha (colours premultiplied). Texts, colours and images of a template are
/// changed while it plays.
///
/// A template comes in from its IN marker, holds at STOP or runs from LOOP to STOP, and leaves
/// through OUT, behind which its layer is gone. Without markers it runs round and round. Markers
/// are read from the file ("cm", with "tm" before it) and set by addMarker. A template plays at its
/// own rate whatever that of the pictures is.
///
/// Changes search the text of the template, as exporters write it: without blanks around colons. A
/// change that makes it unreadable leaves the picture as it was. Texts without letters of their own
/// are set in one font, the first that is found of: RobotoCondensed-Bold, RobotoCondensed-Regular
/// (each in `template/`, then in the working folder), Roboto-Bold, Roboto-Regular (alike), and two
/// of the system.
///
/// The first template starts the thread, at the size and rate of the format then (1920x1080 at 50
/// at first); pictures come from then on, whatever is loaded. What happens is told on standard
/// output.
///
/// Threads: any. Calls wait for the picture in the making, and for those of other players: all
/// share one engine.
class QUOLSDK_API LAnimation : public LObject {
public:
    LAnimation();
    /// Ends the thread; the templates go with it.
    ~LAnimation() override;

    /// Loads a file into a layer, in place of what is there, and plays it. False when it cannot be
    /// read; a layer that was there keeps its picture then. False for every file in a library that
    /// was built without Lottie templates, and, with a line, where there is no thread to be had for
    /// the pictures; the next load tries again then.
    /// @throws std::invalid_argument, std::out_of_range for a marker whose time is no number
    bool loadTemplate(int id, const std::string& path);

    /// Sets the text of the first text layer of that name. `text` becomes part of the template as
    /// it is: a double quote in it breaks the template, and the old picture stays.
    void update(int id, const std::string& layerName, const std::string& text);

    /// Sets a colour, "#RRGGBB": that of the property `param` behind the layer's name, else the
    /// first one of the layer. With `color2` it becomes a gradient of two stops. Nothing happens
    /// for fewer than six digits.
    /// @throws std::invalid_argument for digits that are none
    void updateColor(int id, const std::string& layerName, const std::string& color,
                     const std::string& color2 = "", const std::string& param = "");

    /// Puts another image file in the place of an image, named by a layer or as an asset. The file
    /// is copied beside the template as "temp_ASSET.EXTENSION"; when it cannot be, the old one
    /// stays.
    void updateImage(int id, const std::string& name, const std::string& imagePath);

    /// Sets a marker, named exactly "IN", "LOOP", "STOP" or "OUT", to a frame of the template.
    /// Below 0 there is none.
    void addMarker(int id, const std::string& name, int frame);

    void play(int id);  ///< goes on from where it is
    void stop(int id);  ///< leaves through OUT, or plays to the end; then the layer is gone
    void close(int id); ///< leaves through OUT; without one it is gone at once

    void setVideoFormat(const videoFormatProps& format); ///< for the thread to come
    void getVideoFormat(videoFormatProps& format);       ///< as stored, expanded

    double getFPS() override; ///< as stored
    int getWidth() override;  ///< as stored
    int getHeight() override; ///< as stored

private:
    struct Impl;
    const std::unique_ptr<Impl> impl;
};

/// @file
/// The layer mixer: many pictures into one, with their sound.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LLayerItem.h"
#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

class MixerSink;

namespace quol {
class DetachedSinks;
class FairMutex;
class LayerRenderer;
class RecentPicture;
class RenderPace;
struct LayerFeed;
struct MixerTick;
} // namespace quol

/// Composes named layers into one picture and one block of sound per tick, on a thread of its own
/// that runs from construction to destruction: a new mixer gives black pictures and silence.
///
/// A layer shows a source, a still image, or a fill seen through a key. Layers are painted by
/// ascending `zIndex`, equal ones by name. A source that stops leaves its last picture standing. A
/// source that renders on demand (LObject::canPullRender) is asked for a picture at every tick; a
/// mixer is never its own layer: as its own source it has no picture.
///
/// A new mixer is 1280x720 at 50 a second, with stereo at 48 kHz. The `pixelFormat` of the format
/// gives the canvas: 0 and 6 RGBA, 1, 2 and 13 planar 4:2:0, 3 NV12, 5 RGB24, 7 ARGB, 9 UYVY 4:2:2,
/// 12 YUYV 4:2:2, 15 planar 4:2:2, 16 and 17 planar 4:2:2 and 4:2:0 with alpha; with any other
/// value there is sound, but no picture. In a canvas with alpha, what no layer covers is
/// transparent.
///
/// The pictures are made on a graphics processor where there is one, else on the main processor.
/// The two differ as described in the manual: the graphics processor reads every picture as
/// limited-range BT.601, and writes planar 4:2:0 in full range; a cropped layer stays where it
/// lies, while on the main processor its visible part moves to (x, y); a radius without border,
/// crop, alpha or transparency rounds on the graphics processor only.
///
/// Sound is 48 kHz stereo at the pictures' rate. A layer's sound is taken up to 50 ms ahead of its
/// picture's time.
///
/// Frames carry `pts` in ticks and a `time_base` of 1 over the rate cut to a whole number.
///
/// Threads: any. Changes wait for the picture in the making. A source or sink must not be destroyed
/// while it is attached: remove its layer first, or destroy the mixer.
class QUOLSDK_API LMixer : public LObject {
public:
    /// What makes the pictures.
    enum class Renderer {
        automatic, ///< a graphics processor where there is one, else the main processor
        processor, ///< the main processor
        graphics,  ///< OpenGL, also by a driver that computes on the main processor; else as above
    };

    /// Starts the thread: pictures come at once. Throws std::system_error where there is no thread
    /// to be had.
    explicit LMixer(Renderer renderer = Renderer::automatic);
    /// Ends the thread, lets go of all sources. Pull consumers should have signed off.
    ~LMixer() override;

    /// Adds a layer, or changes the one of that name: with the same source it keeps its picture,
    /// with another it starts anew; without one it has none. The radius becomes 0, the alpha of the
    /// border stays. Never null.
    LLayerItem* addLayer(const std::string& name, LObject* source, int zIndex, float x, float y,
                         int alpha, float width, float height, float cropTop, float cropBottom,
                         float cropLeft, float cropRight, int borderThickness,
                         const std::string& borderColor, bool audioEnabled, int audioGain);
    /// The same without crop and border.
    LLayerItem* addLayer(const std::string& name, LObject* source, int zIndex = 0, float x = 0.0F,
                         float y = 0.0F, int alpha = 255, float width = -1.0F, float height = -1.0F,
                         bool audioEnabled = false, int audioGain = 100);

    /// Adds or changes a downstream key: the fill is seen where the key's alpha, or its luma, is
    /// high. A key that has given no picture leaves the fill whole. No crop, border or sound.
    LLayerItem* addDSK(const std::string& name, LObject* fillSource, LObject* keySource,
                       int zIndex = 0, float x = 0.0F, float y = 0.0F, int alpha = 255,
                       float width = -1.0F, float height = -1.0F);

    /// Adds a still image, or replaces the layer of that name by one. The file is read before this
    /// returns; one that cannot be read gives a layer without a picture.
    LLayerItem* addImage(const std::string& name, const std::string& path, int zIndex = 0,
                         float x = 0.0F, float y = 0.0F, int alpha = 255, float width = -1.0F,
                         float height = -1.0F, float cropTop = 0.0F, float cropBottom = 0.0F,
                         float cropLeft = 0.0F, float cropRight = 0.0F, int borderThickness = 0,
                         const std::string& borderColor = "#FFFFFF");

    /// Takes a layer away; once it has returned the mixer does not touch its sources any more. An
    /// unknown name is ignored.
    void removeLayer(const std::string& name);

    LLayerItem* getLayer(const std::string& name); ///< null for an unknown name
    int getLayerCount();                           ///< layers, visible or not
    LLayerItem* getLayerByIndex(int index);        ///< by name, from 0; null out of range

    /// Calls `edit` with the layer of that name while no picture is in the making, so that several
    /// fields change with one picture. False for an unknown name. `edit` must not call back.
    bool editLayer(const std::string& name, const std::function<void(LLayerItem&)>& edit);

    /// Radius of the corners, percent of the layer's smaller side. An unknown name is ignored.
    void setLayerBorderRadius(const std::string& name, int radius);

    void setVideoFormat(
        const videoFormatProps& format);           ///< of the canvas; counts from the next tick
    void getVideoFormat(videoFormatProps& format); ///< as stored, expanded
    /// Stored as it is. Its rate counts for the sound of layers that are added from now on; the mix
    /// is 48 kHz stereo.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< as stored

    void ensureRunning(); ///< starts the thread unless it runs; a new mixer's runs

    bool canPullRender() const override; ///< true
    /// Asks for one picture and waits for it, 100 ms at most; owned by the caller. The mixer's own
    /// sinks get it too. Several consumers that ask within half a period get the same one. Null
    /// when none came, as it is without addPullConsumer.
    AVFrame* renderVideoFrame() override;
    /// From the first consumer on the mixer renders on request while it is ahead of its clock; when
    /// the last has signed off it runs by its clock again.
    void addPullConsumer() override;
    void removePullConsumer() override; ///< @copydoc addPullConsumer

private:
    LLayerItem& layerOf(const std::string& name);
    MixerSink* exchangeSource(quol::LayerFeed& feed, LObject*& source, LObject* newSource,
                              quol::DetachedSinks& detached);
    void attach(quol::LayerFeed& feed, LObject*& source, MixerSink* sink);
    static void takeBack(quol::LayerFeed& feed, LObject*& source);
    static void place(LLayerItem& item, int zIndex, float x, float y, int alpha, float width,
                      float height);
    void cleanupLayerItem(LLayerItem& item, quol::DetachedSinks& detached);

    void mixerLoop();
    std::unique_ptr<quol::LayerRenderer> makeRenderer() const;
    bool waitForTurn(quol::RenderPace& pace, std::int64_t frameIndex);
    void deleteDeadTextures(quol::LayerRenderer& layerRenderer);
    void collectLayers(quol::MixerTick& tick);
    static void takePicture(quol::LayerFeed& feed);
    quol::FramePtr renderTick(quol::LayerRenderer& layerRenderer, const quol::MixerTick& tick);
    quol::FramePtr mixAudio(quol::MixerTick& tick);
    static void mixLayer(LLayerItem& item, quol::MixerTick& tick, int length, AVFrame* block);
    void handOnPicture(quol::FramePtr picture);
    void handOnSound(AVFrame& sound);
    void answerPull();

    const Renderer renderer;

    /// One change of the layers at a time, attaching included; taken before every other lock. The
    /// render thread never takes it.
    std::recursive_mutex controlMutex;
    std::thread thread; ///< guarded by `controlMutex`
    std::atomic<bool> running{false};

    /// Guards the layers and the formats; held by the render thread while it makes a picture.
    const std::unique_ptr<quol::FairMutex> layerMutex;
    std::map<std::string, std::unique_ptr<LLayerItem>> layers;
    videoFormatProps videoFormat;
    audioFormatProps audioFormat;

    std::atomic<int> pullConsumers{0};
    std::atomic<double> tickRate{50.0}; ///< of the latest tick
    std::mutex pullMutex;               ///< guards the next two, and `recent`
    std::condition_variable requested;
    std::condition_variable done;
    bool request = false;        ///< a consumer waits
    quol::FramePtr pendingFrame; ///< the picture for it
    const std::unique_ptr<quol::RecentPicture> recent;

    std::mutex textureMutex; ///< guards `deadTextures`
    /// OpenGL names of removed layers, which only the render thread can delete.
    std::vector<unsigned int> deadTextures;
};

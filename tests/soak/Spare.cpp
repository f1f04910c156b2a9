#include "soak/Spare.h"

#include "quolsdk/LStinger.h"
#include "soak/Studio.h"

namespace soak {

namespace {

// A second mixer behind a second switcher, which pulls it.
class SecondChain : public Spare {
public:
    SecondChain(Studio& studio, Random& random) : source_(studio.source(random.below(4))) {
        mixer_.setVideoFormat({0, 640, 360, programmeRate, 1});
        switcher_.setVideoFormat({0, 640, 360, programmeRate, 1});
        mixer_.addLayer("back", source_, 0, 0.0F, 0.0F, 255, 640.0F, 360.0F, true, 100);
        mixer_.addLayer("front", studio.source(random.below(4)), 1, 40.0F, 40.0F, 200, 160.0F,
                        90.0F);
        switcher_.setProgram(&mixer_);
        switcher_.setPreview(source_);
        switcher_.addSink(&lamp_);
        if (random.chance(50)) switcher_.setAutoTransition(random.between(200, 2000));
    }
    ~SecondChain() override { switcher_.removeSink(&lamp_); }

private:
    LObject* const source_;
    Lamp lamp_;
    LMixer mixer_;
    LSwitcher switcher_; // behind the mixer, so gone before it
};

class SecondPlayer : public Spare {
public:
    SecondPlayer(Studio& studio, Random& random) {
        const auto& clips = studio.desk.media.clips;
        file_.addSink(&lamp_);
        file_.fileNameSet(
            clips[static_cast<std::size_t>(random.below(static_cast<int>(clips.size())))]);
        file_.setProps("loop", "true");
        file_.play();
        tap_.readerObject(&file_);
    }
    ~SecondPlayer() override {
        tap_.readerObject(nullptr);
        file_.removeSink(&lamp_);
        file_.stop();
    }

private:
    Lamp lamp_;
    LFile file_;
    LFrame tap_;
};

class SecondTitles : public Spare {
public:
    SecondTitles(Studio& studio, Random& random) {
        titles_.setFPS(programmeRate);
        titles_.loadFromXMLFile(studio.desk.media.titles);
        animation_.setVideoFormat({0, 640, 360, programmeRate, 0});
        animation_.loadTemplate(1, studio.desk.media.lottie);
        mixer_.setVideoFormat({0, 640, 360, programmeRate, 1});
        mixer_.addLayer("titles", &titles_, 1, 0.0F, 0.0F, 255, 640.0F, 360.0F);
        mixer_.addDSK("key", &animation_, &animation_, 2);
        if (random.chance(50)) mixer_.removeLayer("titles");
        mixer_.addSink(&lamp_);
    }
    ~SecondTitles() override { mixer_.removeSink(&lamp_); }

private:
    Lamp lamp_;
    LCharacter titles_;
    LAnimation animation_;
    LMixer mixer_;
};

class SecondWall : public Spare {
public:
    SecondWall(Studio& studio, Random& random) {
        wall_.setVideoFormat({0, 480, 270, programmeRate, 0});
        wall_.setupGrid(static_cast<MultiviewOrientation>(random.below(4)), 1 + random.below(3));
        wall_.setPGMSource(&studio.mixer);
        wall_.setGridPos(studio.source(random.below(4)), 1, 1, random.below(2), "one");
        wall_.setGridPos(studio.source(random.below(4)), 1, 2, 0, "two");
        sound_.addChannel("a", studio.source(random.below(2)));
        sound_.setChannelMute("a", false);
        sound_.addSink(&lamp_);
        wall_.addSink(&lamp_);
    }
    ~SecondWall() override {
        wall_.removeSink(&lamp_);
        sound_.removeSink(&lamp_);
    }

private:
    Lamp lamp_;
    LMultiview wall_;
    LAudioMixer sound_;
};

class SecondRecorder : public Spare {
public:
    SecondRecorder(Studio& studio, Random& random) {
        const bool short_ = random.chance(50);
        recorder_.setFilePath(studio.desk.folder + "/spare.mkv");
        recorder_.setContainer("matroska");
        recorder_.setVideoFormat({0, 320, 180, programmeRate, 0});
        recorder_.customSet("preset=ultrafast");
        recorder_.setProps("durationMs", short_ ? "700" : "0");
        recorder_.source = studio.source(random.below(4));
        recorder_.Record();
    }

private:
    LRecorder recorder_; // its destructor stops it and leaves the source
};

class SecondStinger : public Spare {
public:
    SecondStinger(Studio& studio, Random& random) {
        const auto& clips = studio.desk.media.stingers;
        stinger_.addSink(&lamp_);
        stinger_.load(clips[static_cast<std::size_t>(random.below(2))], 320, 180, programmeRate);
        if (random.chance(70)) stinger_.playOnce();
    }
    ~SecondStinger() override { stinger_.removeSink(&lamp_); }

private:
    Lamp lamp_;
    LStinger stinger_;
};

class SecondReplay : public Spare {
public:
    SecondReplay(Studio& studio, Random& random) : source_(studio.mixer) {
        replay_.setRecordPath(studio.desk.folder, "spare");
        replay_.setVideoFormat({0, 1280, 720, programmeRate, 0});
        replay_.setProps("quality", "5");
        replay_.addSink(&lamp_);
        replay_.startRecording();
        source_.addSink(&replay_);
        if (random.chance(50)) replay_.setModeLive();
    }
    ~SecondReplay() override {
        source_.removeSink(&replay_);
        replay_.clearRecording();
        replay_.removeSink(&lamp_);
    }

private:
    Lamp lamp_;
    LMixer& source_;
    LReplay replay_;
};

class SecondLive : public Spare {
public:
    SecondLive(Studio&, Random& random) {
        int count = 0;
        live_.DeviceGetCount(count);
        live_.DeviceSet(count - 1);
        live_.addSink(&lamp_);
        live_.setProps("timecode", random.chance(50) ? "true" : "false");
        live_.Start();
        signal_.setColor("#204060");
        signal_.setVideoFormat({0, 64, 36, 50.0, 0});
        signal_.addSink(&lamp_);
        signal_.Start();
    }
    ~SecondLive() override {
        live_.removeSink(&lamp_);
        signal_.removeSink(&lamp_);
    }

private:
    Lamp lamp_;
    LLive live_;
    LSignal signal_;
};

} // namespace

std::unique_ptr<Spare> makeSpare(Studio& studio, Random& random) {
    switch (random.below(8)) {
        case 0:
            return std::make_unique<SecondChain>(studio, random);
        case 1:
            return std::make_unique<SecondPlayer>(studio, random);
        case 2:
            return std::make_unique<SecondTitles>(studio, random);
        case 3:
            return std::make_unique<SecondWall>(studio, random);
        case 4:
            return std::make_unique<SecondRecorder>(studio, random);
        case 5:
            return std::make_unique<SecondStinger>(studio, random);
        case 6:
            return std::make_unique<SecondReplay>(studio, random);
        default:
            return std::make_unique<SecondLive>(studio, random);
    }
}

std::vector<Operation> spareOperations(Studio& studio) {
    Desk& desk = studio.desk;
    return {
        {"spare.make", 5,
         [&](Random& random) {
             if (studio.spares.size() >= 3) return;
             studio.spares.push_back(
                 desk.slow("spare made", [&] { return makeSpare(studio, random); }));
         }},
        {"spare.destroy", 5,
         [&](Random& random) {
             if (studio.spares.empty()) return;
             const int which = random.below(static_cast<int>(studio.spares.size()));
             desk.choose("%d", which);
             desk.slow("spare destroyed",
                       [&] { studio.spares.erase(studio.spares.begin() + which); });
         }},
    };
}

} // namespace soak

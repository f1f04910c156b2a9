// Recordings, the instant replay and conversions.
#include <filesystem>

#include "soak/Studio.h"

namespace soak {

namespace {

constexpr int exportFrames = 50;

} // namespace

void Studio::startRecorder(Random& random) {
    constexpr const char* endings[] = {".mp4", ".mov", ".mkv", ".ts"};
    constexpr const char* containers[] = {"mp4", "mov", "matroska", "mpegts"};
    const int container = random.below(4);
    const int from = random.below(4);
    LObject* const sources[] = {&switcher, &mixer, &players[0], &wall};
    desk.choose("start %s source %d", containers[container], from);
    recordedFile = desk.folder + "/take" + std::to_string(recordings++ % 4) + endings[container];
    recorder.setFilePath(recordedFile);
    recorder.setContainer(containers[container]);
    recorder.setProps("play_while_rec", random.chance(30) ? "true" : "false");
    recorder.setProps("timecode", random.chance(50) ? "true" : "false");
    recorder.source = sources[from];
    recording = true;
    desk.check(desk.slow("recorder.Record", [&] { return recorder.Record(); }),
               "a recording starts");
}

void Studio::stopRecorder() {
    recording = false;
    LRecorder::Stats stats;
    recorder.getStats(stats);
    desk.slow("recorder.Stop", [&] { recorder.Stop(); });
    LReader reader;
    // A recording that got no picture, as of a player that was stopped, may be unreadable.
    if (stats.framesWritten < 5) return;
    desk.check(reader.open(recordedFile) && reader.getDurationMs() > 0.0,
               "a recording can be read: " + recordedFile);
}

namespace {

void tryToRecordNowhere(Studio& studio) {
    LRecorder second;
    second.setFilePath(studio.desk.media.without("/take.mp4"));
    studio.desk.check(!studio.desk.slow("recorder.Record", [&] { return second.Record(); }),
                      "a recording into no folder is refused");
}

void exportReplay(Studio& studio, Random& random) {
    const std::string path = studio.desk.folder + "/export.mov";
    const int back = random.between(0, 200);
    const int stored = studio.replay.getTotalFrames();
    if (stored < exportFrames) return; // begun just now
    const int first = std::max(0, stored - exportFrames - back);
    const bool written = studio.desk.slow("replay.exportRange", [&] {
        return studio.replay.exportRange(first, first + exportFrames - 1, path);
    });
    LReader reader;
    studio.desk.check(written && reader.open(path) && reader.getDurationMs() > 1000.0,
                      "an export can be read");
}

void convert(Studio& studio, Random& random) {
    const auto& clips = studio.desk.media.clips;
    const int first = random.below(5);
    const int second = random.below(5);
    const bool withMissing = random.chance(20);
    studio.desk.choose("%d and %d", first, second);
    LConvert& converter = studio.convert;
    studio.desk.slow("convert.Stop", [&] { converter.Stop(); });
    converter.clearInputFiles();
    converter.addInputFile(clips[static_cast<std::size_t>(first)]);
    if (withMissing) converter.addInputFile(studio.desk.media.without(".mov"));
    converter.addInputFile(clips[static_cast<std::size_t>(second)]);
    converter.setFilePath(studio.desk.folder + "/converted.mp4");
    converter.setVideoFormat({0, 320, 180, programmeRate, 0});
    converter.setVideoBitrate(800);
    converter.setProps("preset", "ultrafast");
    studio.desk.check(studio.desk.slow("convert.Start", [&] { return converter.Start(); }),
                      "a conversion starts");
}

} // namespace

std::vector<Operation> storeOperations(Studio& studio) {
    Desk& desk = studio.desk;
    LReplay& replay = studio.replay;
    return {
        {"recorder.toggle", 4,
         [&](Random& random) {
             if (studio.recording)
                 studio.stopRecorder();
             else
                 studio.startRecorder(random);
         }},
        {"recorder.pause", 2,
         [&](Random& random) {
             const bool pause = random.chance(40);
             desk.quick("recorder.Pause", [&] { studio.recorder.Pause(pause); });
         }},
        {"recorder.ask", 2,
         [&](Random&) {
             LRecorder::Stats stats;
             desk.quick("recorder.getStats", [&] { studio.recorder.getStats(stats); });
             desk.check(studio.recording == (stats.state == 1), "a recording goes on");
         }},
        {"replay.play", 5,
         [&](Random& random) {
             const int percent = random.between(-200, 400);
             desk.choose("%d", percent);
             desk.quick("replay.play", [&] {
                 replay.setSpeed(random.chance(30) ? 1.0 : percent / 100.0);
                 replay.play();
             });
         }},
        {"replay.seek", 5,
         [&](Random& random) {
             const int back = random.below(300);
             const int step = random.between(-10, 10);
             desk.quick("replay.posSet", [&] {
                 replay.posSet(std::max(0, replay.getTotalFrames() - back));
                 replay.stepForward(step);
             });
         }},
        {"replay.mode", 3,
         [&](Random& random) {
             const int mode = random.below(3);
             desk.choose("%d", mode);
             desk.quick("replay.mode", [&] {
                 if (mode == 0)
                     replay.setModeLive();
                 else if (mode == 1)
                     replay.setModeTrim();
                 else
                     replay.pause();
             });
         }},
        {"replay.export", 1, [&](Random& random) { exportReplay(studio, random); }},
        {"replay.anew", 1, [&](Random&) { studio.refillReplay(); }},
        {"recorder.nowhere", 1, [&](Random&) { tryToRecordNowhere(studio); }},
        {"convert.start", 1, [&](Random& random) { convert(studio, random); }},
        {"convert.ask", 2,
         [&](Random&) {
             int status = 0;
             desk.quick("convert.statusGet", [&] { studio.convert.statusGet(status); });
             desk.check(status >= 0, "a conversion finds its file");
         }},
    };
}

} // namespace soak

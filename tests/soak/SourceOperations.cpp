// Files, the signal generator and the live test signal.
#include "soak/Studio.h"

namespace soak {

namespace {

void openClip(Studio& studio, Random& random) {
    Desk& desk = studio.desk;
    const int which = random.below(2);
    const auto& clips = desk.media.clips;
    const int clip = random.below(static_cast<int>(clips.size()));
    desk.choose("player %d clip %d", which, clip);
    LFile& file = studio.players[which];
    desk.slow("file.fileNameSet", [&] { file.fileNameSet(clips[static_cast<std::size_t>(clip)]); });
    desk.check(desk.slow("file.play", [&] { return file.play(); }), "a clip plays");
}

// No file at all, or half of one.
void openNothing(Studio& studio, Random& random) {
    Desk& desk = studio.desk;
    LFile& file = studio.players[random.below(2)];
    const bool damaged = random.chance(50);
    desk.slow("file.fileNameSet",
              [&] { file.fileNameSet(damaged ? desk.media.damaged : desk.media.without(".mov")); });
    const bool plays = desk.slow("file.play", [&] { return file.play(); });
    desk.check(!plays, damaged ? "a damaged clip is refused" : "a missing clip is refused");
}

void changeMarks(Studio& studio, Random& random) {
    LFile& file = studio.players[random.below(2)];
    const int in = random.below(4000);
    const int length = random.between(200, 3000);
    studio.desk.quick("file.marks", [&] {
        file.inPointMs = in;
        file.outPointMs = random.chance(70) ? in + length : 0;
    });
}

void changeLook(Studio& studio, Random& random) {
    LFile& file = studio.players[random.below(2)];
    constexpr const char* scales[] = {"letter-box", "crop", "stretch"};
    studio.desk.quick("file.setProps", [&] {
        file.setProps("scale_type", scales[random.below(3)]);
        file.setProps("loop", random.chance(80) ? "true" : "false");
        file.setProps("deinterlace", random.chance(20) ? "true" : "false");
    });
    const bool turned = random.chance(30);
    studio.desk.quick("file.setVideoFilter",
                      [&] { file.setVideoFilter(turned ? &studio.picturesUpsideDown : nullptr); });
}

void askFile(Studio& studio, Random& random) {
    LFile& file = studio.players[random.below(2)];
    studio.desk.quick("file.questions", [&] {
        double in = 0.0;
        double out = 0.0;
        double duration = 0.0;
        file.InOutGet(in, out, duration);
        studio.desk.check(file.getPosMs() >= 0.0 && duration >= 0.0, "a position is a time");
        return file.getTimeCode();
    });
}

void inspectClip(Studio& studio, Random& random) {
    const auto& clips = studio.desk.media.clips;
    const int clip = random.below(static_cast<int>(clips.size()));
    LReader reader;
    const bool opened = studio.desk.slow(
        "reader.open", [&] { return reader.open(clips[static_cast<std::size_t>(clip)]); });
    studio.desk.check(opened && reader.getDurationMs() > 500.0, "a clip is inspected");
    studio.desk.check(!reader.open(studio.desk.media.without(".mov")),
                      "a missing file is no media");
}

} // namespace

std::vector<Operation> sourceOperations(Studio& studio) {
    Desk& desk = studio.desk;
    return {
        {"file.open", 6, [&](Random& random) { openClip(studio, random); }},
        {"file.openNothing", 2, [&](Random& random) { openNothing(studio, random); }},
        {"file.seek", 8,
         [&](Random& random) {
             LFile& file = studio.players[random.below(2)];
             const int target = random.below(13000);
             desk.choose("%d ms", target);
             desk.quick("file.setPos", [&] { file.setPos(target); });
         }},
        {"file.pause", 3,
         [&](Random& random) {
             LFile& file = studio.players[random.below(2)];
             const int delay = random.chance(50) ? 0 : random.between(50, 800);
             desk.quick("file.pause", [&] { file.pause(delay); });
         }},
        {"file.resume", 5,
         [&](Random& random) {
             LFile& file = studio.players[random.below(2)];
             desk.quick("file.resume", [&] { file.resume(); });
         }},
        {"file.stop", 2,
         [&](Random& random) {
             LFile& file = studio.players[random.below(2)];
             desk.slow("file.stop", [&] { file.stop(); });
         }},
        {"file.play", 4,
         [&](Random& random) {
             LFile& file = studio.players[random.below(2)];
             desk.slow("file.play", [&] { return file.play(); });
         }},
        {"file.rate", 3,
         [&](Random& random) {
             LFile& file = studio.players[random.below(2)];
             const int percent = random.chance(40) ? 100 : random.between(25, 200);
             desk.quick("file.rate",
                        [&] { file.setProps("rate", std::to_string(percent / 100.0)); });
         }},
        {"file.marks", 2, [&](Random& random) { changeMarks(studio, random); }},
        {"file.look", 3, [&](Random& random) { changeLook(studio, random); }},
        {"file.ask", 4, [&](Random& random) { askFile(studio, random); }},
        {"file.inspect", 2, [&](Random& random) { inspectClip(studio, random); }},
        {"signal.change", 4,
         [&](Random& random) {
             char color[8];
             std::snprintf(color, sizeof color, "#%06X", random.below(0x1000000));
             const bool still = random.chance(30);
             const auto image = static_cast<std::size_t>(random.below(2));
             desk.choose("%s", still ? "still" : color);
             desk.quick("signal.change", [&] {
                 studio.signal.setColor(color);
                 if (still) studio.signal.setImage(desk.media.stills[image]);
             });
         }},
        {"signal.toggle", 1,
         [&](Random& random) {
             if (random.chance(40))
                 desk.slow("signal.Stop", [&] { studio.signal.Stop(); });
             else
                 desk.slow("signal.Start", [&] { return studio.signal.Start(); });
         }},
        {"camera.restart", 1,
         [&](Random&) {
             desk.slow("camera.Stop", [&] { studio.camera.Stop(); });
             desk.check(desk.slow("camera.Start", [&] { return studio.camera.Start(); }),
                        "the test signal starts");
         }},
        {"camera.format", 1,
         [&](Random& random) {
             const bool large = random.chance(30);
             desk.quick("camera.setVideoFormat", [&] {
                 studio.camera.setVideoFormat(large ? videoFormatProps{1, 0, 0, 0.0, 0}
                                                    : programmeFormat());
             });
         }},
    };
}

} // namespace soak

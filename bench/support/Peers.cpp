#include "support/Peers.h"

#include "support/Measure.h"

namespace bench {

std::string rawPicture(int number) {
    const std::string filter = "noise=alls=8:all_seed=" + std::to_string(number + 1) +
                               ",hue=h=" + std::to_string(number * 60);
    return madeOnce("compose" + std::to_string(number) + ".yuv",
                    with(words("ffmpeg -v error -y -f lavfi -i "
                               "testsrc2=s=1920x1080:r=50 -vf"),
                         with({filter}, words("-frames:v 1 -pix_fmt "
                                              "yuv420p -f rawvideo"))));
}

bool measurePeer(const std::function<Command(int)>& command, int frames, Figures& figures) {
    const Run brief = run(command(2));
    const Run whole = run(command(frames));
    if (!brief.ok || !whole.ok) return false;
    figures.fps = (frames - 2) / (whole.wall - brief.wall);
    figures.cpu = (whole.cpu - brief.cpu) * 1000.0 / (frames - 2);
    return true;
}

void Samples::add(const Figures& figures) {
    fps.push_back(figures.fps);
    cpu.push_back(figures.cpu);
}

Figures Samples::middle() const {
    return {median(fps), median(cpu)};
}

} // namespace bench

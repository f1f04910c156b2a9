// What goes over the machine's own network.
#include "soak/Studio.h"

namespace soak {

namespace {

void restartServer(Studio& studio) {
    if (studio.server == nullptr) return;
    studio.desk.slow("stream.Stop", [&] { studio.stream.Stop(); });
    studio.streaming = false;
    studio.server->stop();
    studio.desk.check(studio.server->start(), "the RTMP server starts again");
}

} // namespace

std::vector<Operation> networkOperations(Studio& studio) {
    Desk& desk = studio.desk;
    return {
        {"vtp.restart", 2,
         [&](Random& random) {
             desk.slow("vtpIn.Stop", [&] { studio.vtpIn.Stop(); });
             if (random.chance(50))
                 desk.slow("vtpOut.setEnabled", [&] { studio.vtpOut.setEnabled(false); });
             desk.check(studio.sendOverNetwork(), "the sender is found again");
         }},
        {"vtp.source", 2,
         [&](Random& random) {
             LObject* const sources[] = {&studio.switcher, &studio.wall, &studio.mixer,
                                         &studio.players[0]};
             const int which = random.below(4);
             desk.choose("source %d", which);
             desk.quick("vtpOut.setSource", [&] { studio.vtpOut.setSource(sources[which]); });
         }},
        {"vtp.ask", 2,
         [&](Random&) {
             OutputStats stats;
             desk.quick("vtpOut.getStats", [&] { studio.vtpOut.getStats(stats); });
             desk.check(stats.width == 1280 && stats.framesQueued <= 6, "an output is not behind");
         }},
        {"stream.toggle", 2,
         [&](Random& random) {
             const bool start = random.chance(70);
             if (!start || studio.streaming) {
                 studio.streaming = false;
                 desk.slow("stream.Stop", [&] { studio.stream.Stop(); });
             }
             if (start) studio.startStream();
         }},
        {"stream.ask", 2,
         [&](Random&) {
             LStream::Stats stats;
             desk.quick("stream.getStats", [&] { studio.stream.getStats(stats); });
             desk.check(stats.running == studio.streaming, "a stream goes on");
         }},
        {"stream.pause", 1,
         [&](Random& random) {
             const bool pause = random.chance(40);
             desk.quick("stream.setPaused", [&] { studio.stream.setPaused(pause); });
         }},
        {"player.restart", 2,
         [&](Random&) {
             desk.slow("player.stop", [&] { studio.player.stop(); });
             studio.startPlayer();
         }},
        {"player.pause", 1,
         [&](Random& random) {
             const int delay = random.between(100, 1000);
             desk.quick("player.pause", [&] { studio.player.pause(delay); });
         }},
        {"server.restart", 1, [&](Random&) { restartServer(studio); }},
    };
}

} // namespace soak

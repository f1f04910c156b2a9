#include "show_actions.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>
#include <utility>

namespace show {

namespace {

constexpr int replayOrder = 5;
constexpr int insetOrder = 10;
constexpr int insetWidth = 400;
constexpr int insetHeight = 225;
constexpr int insetLeft = 48;
constexpr int insetTop = 48;
constexpr int insetBorder = 4;
constexpr double insetSeconds = 0.6;
constexpr double openingOutSeconds = 2.0;
constexpr double replayGrace = 1.0;

// From beyond the left edge to its place, slowing down.
float insetLeftAt(double seconds) {
    const double left = 1.0 - std::clamp(seconds / insetSeconds, 0.0, 1.0);
    return static_cast<float>(
        std::lround(insetLeft - (insetLeft + insetWidth) * left * left * left));
}

std::string typeOf(const Cue& cue) {
    switch (cue.verb) {
        case Verb::dip:
            return "dip";
        case Verb::wipe:
            return "wipe_" + cue.word;
        case Verb::slide:
            return "slide_" + cue.word;
        case Verb::squeeze:
            return "squeeze_" + cue.word;
        default:
            return "fade";
    }
}

} // namespace

std::string Actions::perform(const Cue& cue, double now) {
    if (isTransition(cue.verb)) return performTransition(cue, now);
    switch (cue.verb) {
        case Verb::opening:
            return performOpening(cue, now);
        case Verb::next:
            waitForSwitcher();
            graph_.switcher.setPreview(graph_.source(cue.word));
            onAir_.preview = cue.word;
            return "";
        case Verb::lowerthird:
            return performLowerThird(cue);
        case Verb::crawl:
            return showItem("crawl", cue.on);
        case Verb::logo:
            return showItem("logo", cue.on);
        case Verb::inset:
            return performInset(cue, now);
        case Verb::replay:
            return performReplay(cue, now);
        case Verb::live:
            return performLive(cue, now);
        default:
            return "";
    }
}

// ---------------------------------------------------------------------------------- the opening
constexpr int openingLayer = 1;

std::string Actions::performOpening(const Cue& cue, double now) {
    if (!cue.on) {
        graph_.opening.stop(openingLayer);
        openingGone_ = now + openingOutSeconds;
        return "";
    }
    openingGone_.reset();
    graph_.mixer.getLayer("opening")->visible = true;
    if (graph_.opening.loadTemplate(openingLayer, files_.opening)) return "";
    return "no opening: the template is not there, or the library plays none";
}

// ---------------------------------------------------------------------------------- transitions

// A transition runs on a thread of its own, which a busy machine may hold up a little: until it is
// through, the layers must stay as they are.
void Actions::waitForSwitcher() {
    constexpr int tries = 100;
    LSwitcher::SwitcherStats stats;
    for (int i = 0; i < tries; ++i) {
        graph_.switcher.getStats(stats);
        if (stats.position <= 0.0) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::string Actions::performTransition(const Cue& cue, double now) {
    if (cue.verb == Verb::stinger && files_.stinger.empty())
        return "no stinger: there is no clip of one";
    waitForSwitcher();
    swapAt_ = now + (cue.verb == Verb::stinger ? lengthOf(cue) / 2.0 : lengthOf(cue));
    if (cue.verb == Verb::cut) {
        graph_.switcher.setCutTransition();
        return "";
    }
    if (cue.verb == Verb::stinger) {
        graph_.switcher.triggerStinger();
        return "";
    }
    graph_.switcher.setTransitionType(typeOf(cue), cue.word);
    graph_.switcher.setAutoTransition(lengthOf(cue) * 1000.0);
    return "";
}

// --------------------------------------------------------------------------------------- titles
std::string Actions::showItem(const char* name, bool on) {
    if (graph_.titles.getItem(name) == nullptr && graph_.titles.getGroupObject(name) == nullptr)
        return std::string("no title \"") + name + "\"";
    graph_.titles.showItem(name, on);
    return "";
}

std::string Actions::performLowerThird(const Cue& cue) {
    onAir_.titles = cue.on;
    if (!cue.word.empty()) {
        auto* const item = dynamic_cast<LCGTextItem*>(graph_.titles.getItem("name"));
        if (item == nullptr) return "no title \"name\"";
        LCGTextProps props = item->props;
        props.text = cue.word;
        graph_.titles.updateItem("name", static_cast<int>(item->x), static_cast<int>(item->y),
                                 item->w, item->h, item->alpha, true, props);
    }
    return showItem("lowerthird", cue.on);
}

// ---------------------------------------------------------------------------- picture in picture
std::string Actions::performInset(const Cue& cue, double now) {
    graph_.mixer.removeLayer("inset");
    inset_ = {now, cue.on};
    onAir_.inset = cue.word;
    if (!cue.on) return "";
    graph_.mixer.addLayer("inset", graph_.source(cue.word), insetOrder, insetLeftAt(0.0), insetTop,
                          255, insetWidth, insetHeight, 0.0F, 0.0F, 0.0F, 0.0F, insetBorder,
                          "#FFFFFF", false, 100);
    return "";
}

// --------------------------------------------------------------------------------------- replay

// The layer is made anew each time: it shows nothing until the replay's first picture comes, where
// an older one would show the last picture of the replay before.
std::string Actions::performReplay(const Cue& cue, double now) {
    LReplay& replay = graph_.replay;
    if (onAir_.replay) endReplay();
    replayLast_ = replay.getDurationMs();
    if (replayLast_ <= 0.0) return "no replay: nothing is stored";
    replayLimit_ = now + lengthOf(cue) + replayGrace;
    graph_.mixer.addLayer("replay", &replay, replayOrder, 0.0F, 0.0F, 255, pictureWidth,
                          pictureHeight);
    replay.setSpeed(cue.speed);
    replay.posSetMs(std::max(0.0, replayLast_ - cue.last * 1000.0));
    replay.play();
    onAir_.replay = true;
    return "";
}

void Actions::endReplay() {
    graph_.mixer.removeLayer("replay");
    graph_.replay.pause();
    onAir_.replay = false;
}

// ----------------------------------------------------------------------------------------- live

// A server that does not answer holds up whoever waits for it; the show goes on meanwhile.
std::string Actions::performLive(const Cue& cue, double now) {
    if (files_.server.empty()) return "not live: there is no server to go live to";
    const bool isPending = goingLive_.valid() && goingLive_.wait_for(std::chrono::seconds(0)) !=
                                                     std::future_status::ready;
    if (cue.on && isPending) return "not live yet: the server has not answered";
    if (cue.on) {
        wentLive_ = now;
        goingLive_ = std::async(std::launch::async, [this] { return graph_.stream.Start(); });
        return "";
    }
    graph_.endLive();
    if (!isPending) return "";
    goingLive_.wait();
    graph_.endLive(); // should it have begun at that moment
    return "";
}

// What came of going live, once.
std::string Actions::answered(double now) {
    if (!goingLive_.get()) return "NOT LIVE: the error above says why";
    graph_.beginLive();
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "live after %.2f s", now - wentLive_);
    return text.data();
}

std::string Actions::tick(double now) {
    if (swapAt_ && now >= *swapAt_) {
        std::swap(onAir_.programme, onAir_.preview);
        swapAt_.reset();
    }
    if (openingGone_ && now >= *openingGone_) {
        graph_.mixer.getLayer("opening")->visible = false;
        openingGone_.reset();
    }
    if (inset_.isRunning) {
        graph_.mixer.getLayer("inset")->x = insetLeftAt(now - inset_.began);
        inset_.isRunning = now - inset_.began < insetSeconds;
    }
    if (onAir_.replay && (graph_.replay.getPosMs() >= replayLast_ || now >= replayLimit_))
        endReplay();
    const bool isAnswered = goingLive_.valid() && goingLive_.wait_for(std::chrono::seconds(0)) ==
                                                      std::future_status::ready;
    return isAnswered ? answered(now) : "";
}

} // namespace show

#include "decklink/Machine.h"

#include <algorithm>
#include <utility>

#include "decklink/CardObjects.h"
#include "decklink/Pictures.h"

namespace standin {

using namespace quol::decklink;
using Clock = std::chrono::steady_clock;

const test::DeckLinkMode* Card::mode(std::uint32_t code) const {
    const auto found = std::find_if(is.modes.begin(), is.modes.end(),
                                    [code](const auto& mode) { return mode.code == code; });
    return found == is.modes.end() ? nullptr : &*found;
}

Machine& Machine::instance() {
    // Not destroyed: the objects of a test program may outlive this library's statics.
    static auto* const machine = new Machine;
    return *machine;
}

Machine::Machine() {
    reset();
}

void Machine::reset() {
    setCards(test::deckLinkMachine());
    const std::lock_guard lock(mutex_);
    gone_.insert(live_.begin(), live_.end());
    live_.clear();
    state_ = {};
    failures_.clear();
    refuseIterator_ = false;
    hold_ = false;
    heldMethods_.clear();
    pace_ = false;
    changed();
}

void Machine::setCards(std::vector<test::DeckLinkCard> cards) {
    const std::lock_guard lock(mutex_);
    cards_.clear();
    for (test::DeckLinkCard& card : cards) {
        cards_.push_back(std::make_shared<Card>());
        cards_.back()->index = cards_.size() - 1;
        cards_.back()->is = std::move(card);
    }
    changed();
}

void Machine::refuseIterator(bool refuse) {
    const std::lock_guard lock(mutex_);
    refuseIterator_ = refuse;
}

void Machine::fail(const std::string& method, HRESULT result, int times) {
    const std::lock_guard lock(mutex_);
    failures_[method] = {result, times};
}

std::optional<HRESULT> Machine::scripted(const std::string& method) {
    const auto found = failures_.find(method);
    if (found == failures_.end() || found->second.times == 0) return std::nullopt;
    if (found->second.times > 0) --found->second.times;
    return found->second.result;
}

IDeckLinkInputCallback* Machine::callbackOf(std::size_t card) {
    const std::lock_guard lock(mutex_);
    IDeckLinkInputCallback* const callback =
        card < cards_.size() ? cards_[card]->callback : nullptr;
    if (callback != nullptr) callback->AddRef();
    return callback;
}

std::optional<HRESULT> Machine::deliver(std::size_t card,
                                        const std::optional<test::DeckLinkFrame>& frame,
                                        const std::optional<test::DeckLinkSound>& sound) {
    IDeckLinkInputCallback* const callback = callbackOf(card);
    if (callback == nullptr) return std::nullopt;
    IDeckLinkVideoInputFrame* const picture = frame ? newInputFrame(*frame) : nullptr;
    IDeckLinkAudioInputPacket* const packet = sound ? newSoundPacket(*sound) : nullptr;
    const HRESULT result = callback->VideoInputFrameArrived(picture, packet);
    if (picture != nullptr) picture->Release();
    if (packet != nullptr) packet->Release();
    callback->Release();
    return result;
}

std::optional<HRESULT> Machine::changeFormat(std::size_t card, std::uint32_t events,
                                             std::uint32_t mode, std::uint32_t flags) {
    IDeckLinkInputCallback* const callback = callbackOf(card);
    if (callback == nullptr) return std::nullopt;
    IDeckLinkDisplayMode* newMode = nullptr;
    {
        std::unique_lock held = lock();
        const test::DeckLinkMode* const found = cards_[card]->mode(mode);
        const std::optional<test::DeckLinkMode> copy =
            found == nullptr ? std::nullopt : std::optional<test::DeckLinkMode>(*found);
        held.unlock();
        if (copy) newMode = newDisplayMode(*copy);
    }
    const HRESULT result = callback->VideoInputFormatChanged(events, newMode, flags);
    if (newMode != nullptr) newMode->Release();
    callback->Release();
    return result;
}

void Machine::holdDisplay(bool hold) {
    const std::lock_guard lock(mutex_);
    hold_ = hold;
    changed();
}

void Machine::paceOutput(bool pace) {
    const std::lock_guard lock(mutex_);
    pace_ = pace;
}

void Machine::holdCalls(const std::set<std::string>& methods) {
    const std::lock_guard lock(mutex_);
    heldMethods_ = methods;
    changed();
}

void Machine::waitWhileCallIsHeld(std::unique_lock<std::mutex>& lock, const std::string& method) {
    changed_.wait(lock, [&] { return !heldMethods_.contains(method); });
}

void Machine::waitWhileHeld(std::unique_lock<std::mutex>& lock, Card& card) {
    if (!hold_) return;
    card.state.inDisplay = true;
    changed();
    changed_.wait(lock, [this] { return !hold_; });
    card.state.inDisplay = false;
}

void Machine::waitForTurn(std::unique_lock<std::mutex>& lock, Clock::time_point& next,
                          std::chrono::nanoseconds duration) {
    if (!pace_) return;
    const Clock::time_point due = std::max(next, Clock::now());
    next = due + duration;
    changed_.wait_until(lock, due, [] { return false; });
}

void Machine::update() {
    state_.cards.clear();
    for (const CardPtr& card : cards_) {
        state_.cards.push_back(card->state);
        state_.cards.back().callback = card->callback != nullptr;
    }
    state_.live.clear();
    for (const Life* life : live_)
        state_.live.push_back({life->interface, life->id, life->references});
    std::sort(state_.live.begin(), state_.live.end(),
              [](const auto& a, const auto& b) { return a.id < b.id; });
}

test::DeckLinkState Machine::state() {
    const std::lock_guard lock(mutex_);
    update();
    return state_;
}

bool Machine::wait(const std::function<bool(const test::DeckLinkState&)>& condition,
                   std::chrono::milliseconds limit) {
    std::unique_lock held = lock();
    return changed_.wait_for(held, limit, [&] {
        update();
        return condition(state_);
    });
}

void Machine::born(Life& life) {
    life.id = ++lastId_;
    live_.insert(&life);
    changed();
}

void Machine::died(Life& life) {
    live_.erase(&life);
    gone_.insert(&life);
}

void Machine::misuse(std::string text) {
    state_.misuses.push_back(std::move(text));
    changed();
}

void Machine::log(const Card& card, const std::string& method,
                  std::vector<std::int64_t> arguments) {
    state_.calls.push_back({card.index, method, std::move(arguments)});
    changed();
}

IDeckLinkIterator* Machine::createIterator() {
    std::vector<CardPtr> found;
    {
        const std::lock_guard lock(mutex_);
        if (refuseIterator_) return nullptr;
        ++state_.iterators;
        found = cards_;
    }
    return newCardIterator(std::move(found));
}

} // namespace standin

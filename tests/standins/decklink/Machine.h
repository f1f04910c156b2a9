// What the stand-in for the DeckLink driver knows: the machine with its cards.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>

#include "platform/decklink/DeckLink.h"
#include "support/DeckLinkStandin.h"

namespace standin {

using quol::decklink::HRESULT;

// One card: what it is, and what was done with it. It lives as long as an object of it does.
struct Card {
    std::size_t index = 0;
    test::DeckLinkCard is;
    test::DeckLinkCardState state;
    quol::decklink::IDeckLinkInputCallback* callback = nullptr; // with a reference
    int inputs = 0;                                             // objects that are inputs of it
    std::chrono::steady_clock::time_point nextFrame;
    std::chrono::steady_clock::time_point nextSound;

    const test::DeckLinkMode* mode(std::uint32_t code) const;
};
using CardPtr = std::shared_ptr<Card>;

// How many references an object has. None left, it stays in memory and tells of every further use.
struct Life {
    const char* interface;
    std::uint64_t id = 0;
    unsigned long references = 1;
};

// Everything of every object is under its mutex, every change is told to whoever waits. It is never
// held while a callback runs.
class Machine final : public test::DeckLinkStandin {
public:
    static Machine& instance();

    void reset() override;
    void setCards(std::vector<test::DeckLinkCard> cards) override;
    void refuseIterator(bool refuse) override;
    void fail(const std::string& method, HRESULT result, int times) override;
    void holdCalls(const std::set<std::string>& methods) override;
    std::optional<HRESULT> deliver(std::size_t card,
                                   const std::optional<test::DeckLinkFrame>& frame,
                                   const std::optional<test::DeckLinkSound>& sound) override;
    std::optional<HRESULT> changeFormat(std::size_t card, std::uint32_t events, std::uint32_t mode,
                                        std::uint32_t flags) override;
    void holdDisplay(bool hold) override;
    void paceOutput(bool pace) override;
    test::DeckLinkState state() override;
    bool wait(const std::function<bool(const test::DeckLinkState&)>& condition,
              std::chrono::milliseconds limit) override;

    quol::decklink::IDeckLinkIterator* createIterator();

    std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }

    // All of these with the mutex held.
    const std::vector<CardPtr>& cards() const { return cards_; }
    void born(Life& life);
    void died(Life& life);
    void misuse(std::string text);
    void log(const Card& card, const std::string& method, std::vector<std::int64_t> arguments);
    std::optional<HRESULT> scripted(const std::string& method); // what this call is to give
    void changed() { changed_.notify_all(); }
    void waitWhileCallIsHeld(std::unique_lock<std::mutex>& lock, const std::string& method);
    void waitWhileHeld(std::unique_lock<std::mutex>& lock, Card& card);
    // Sleeps until `next`, when output is paced, and moves it on.
    void waitForTurn(std::unique_lock<std::mutex>& lock,
                     std::chrono::steady_clock::time_point& next,
                     std::chrono::nanoseconds duration);

private:
    struct Failure {
        HRESULT result = 0;
        int times = 0;
    };

    Machine();
    void update(); // state_, from what stands elsewhere
    quol::decklink::IDeckLinkInputCallback* callbackOf(std::size_t card); // with a reference

    std::mutex mutex_;
    std::condition_variable changed_;
    test::DeckLinkState state_;
    std::vector<CardPtr> cards_;
    std::map<std::string, Failure> failures_;
    bool refuseIterator_ = false;
    bool hold_ = false;
    std::set<std::string> heldMethods_;
    bool pace_ = false;
    std::uint64_t lastId_ = 0;
    std::set<Life*> live_;
    std::set<Life*> gone_; // and what reset() forgot: never freed, but not lost either
};

} // namespace standin

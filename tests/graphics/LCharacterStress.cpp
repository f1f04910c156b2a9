#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Instrumented.h"
#include "support/SteppedTitles.h"
#include "support/ThisProcess.h"

namespace {

using namespace std::chrono_literals;
using test::CollectingSink;
using test::panelOf;

class Dice {
public:
    explicit Dice(unsigned seed) : random_(seed) {}
    int operator()(int least, int most) {
        return least + static_cast<int>(random_() % static_cast<unsigned>(most - least + 1));
    }
    bool toss() { return (*this)(0, 1) == 1; }

private:
    std::mt19937 random_;
};

LCGTextProps someText(Dice& dice) {
    LCGTextProps props;
    props.text = dice.toss() ? "100 % time::HH:mm:ss:ii" : "Some\ntitle";
    props.fontSize = dice(5, 60);
    props.autoShrink = dice.toss();
    props.bgType = dice.toss() ? "Gradient" : "None";
    props.bgRadius = dice(0, 100);
    return props;
}

LCGCrawlProps someCrawl(Dice& dice) {
    LCGCrawlProps props;
    props.text = dice.toss() ? "one\ntwo\nthree" : "tUp::ss:ii::10:00";
    props.textSpeed = static_cast<float>(dice(-20, 20));
    if (dice.toss()) props.textMove = "Vertical";
    if (dice.toss()) props.separatorImage = test::mediaPath("still.png");
    return props;
}

LCGTickerProps someTicker(Dice& dice) {
    LCGTickerProps props;
    props.text = "one\ntwo\nthree";
    props.textMoveDuration = 0.01F;
    if (dice.toss()) props.textMove = "Down";
    return props;
}

LCGImageProps someImage(Dice& dice) {
    LCGImageProps props;
    props.path = dice.toss() ? test::mediaPath("still.png") : "no such file.png";
    return props;
}

LCGVideoProps someVideo() {
    LCGVideoProps props;
    props.path = test::mediaPath("silent.mp4");
    return props;
}

std::string someId(Dice& dice) {
    return std::string(1, static_cast<char>('a' + dice(0, 11)));
}

void addSomething(LCharacter& character, Dice& dice) {
    const std::string id = someId(dice);
    const int x = dice(-100, 1900);
    const int y = dice(-100, 1000);
    switch (dice(0, 5)) {
        case 0:
            character.addItem(id, x, y, 300, 80, someText(dice));
            break;
        case 1:
            character.addItem(id, x, y, 300, 80, someCrawl(dice));
            break;
        case 2:
            character.addItem(id, x, y, 300, 80, someTicker(dice));
            break;
        case 3:
            character.addItem(id, x, y, 200, 100, panelOf("#C02040"));
            break;
        case 4:
            character.addItem(id, x, y, 0, 0, someImage(dice));
            break;
        default:
            character.addItem(id, x, y, 64, 36, someVideo());
            break;
    }
}

void updateSomething(LCharacter& character, Dice& dice) {
    const std::string id = someId(dice);
    const bool show = dice(0, 3) > 0;
    const float alpha = static_cast<float>(dice(0, 10)) / 10.0F;
    switch (dice(0, 5)) {
        case 0:
            character.updateItem(id, 5, 6, 320, 90, alpha, show, someText(dice));
            break;
        case 1:
            character.updateItem(id, 5, 6, 320, 90, alpha, show, someCrawl(dice));
            break;
        case 2:
            character.updateItem(id, 5, 6, 320, 90, alpha, show, someTicker(dice));
            break;
        case 3:
            character.updateItem(id, 5, 6, 320, 90, alpha, show, panelOf("#20C040"));
            break;
        case 4:
            character.updateItem(id, 5, 6, 320, 90, alpha, show, someImage(dice));
            break;
        default:
            character.updateItem(id, 5, 6, 32, 18, alpha, show, someVideo());
            break;
    }
}

void regroup(LCharacter& character, Dice& dice) {
    const std::string name = character.group({someId(dice), someId(dice), someId(dice)});
    character.showItem(name, dice.toss());
    character.groupItemCount(name);
    character.getGroupItemByIndex(name, dice(-1, 3));
    switch (dice(0, 2)) {
        case 0:
            character.unGroup(name);
            break;
        case 1:
            character.deleteGroup(name);
            break;
        default:
            break;
    }
}

void ask(LCharacter& character, Dice& dice) {
    character.getItem(someId(dice));
    character.getItemByIndex(dice(-1, 20));
    character.getGroup(someId(dice));
    character.getGroupByIndex(dice(-1, 5));
    character.isDynamic();
    character.hasVisibleItem();
    character.setFPS(dice(0, 200));
    character.forceUpdate();
}

// One edit of any kind. The scene stays of a size that can be drawn in time.
void editSomething(LCharacter& character, Dice& dice) {
    switch (dice(0, 6)) {
        case 0:
        case 1:
            if (character.getItemCount() < 15) addSomething(character, dice);
            break;
        case 2:
            updateSomething(character, dice);
            break;
        case 3:
            character.showItem(someId(dice), dice.toss());
            break;
        case 4:
            character.remove(someId(dice));
            break;
        case 5:
            regroup(character, dice);
            break;
        default:
            ask(character, dice);
            break;
    }
}

// Threads that each do something over and over, `times` times.
class Crowd {
public:
    void add(int times, std::function<void(Dice&)> act) {
        const auto seed = static_cast<unsigned>(threads_.size()) + 1;
        threads_.emplace_back([times, seed, act = std::move(act)] {
            Dice dice(seed);
            for (int i = 0; i < times; ++i)
                act(dice);
        });
    }
    void join() {
        for (std::thread& thread : threads_)
            thread.join();
        threads_.clear();
    }

private:
    std::vector<std::thread> threads_;
};

// ---------------------------------------------------------------------------------------- threads

TEST(LCharacterStress, EditsOfAllKindsFromFourThreadsWhileSinksComeAndGo) {
    LCharacter character;
    character.setFPS(200.0);
    CollectingSink sink(2);
    character.addSink(&sink);
    Crowd crowd;
    for (int i = 0; i < 4; ++i)
        crowd.add(150, [&](Dice& dice) { editSomething(character, dice); });
    crowd.add(20, [&](Dice&) {
        CollectingSink passing(1);
        character.addSink(&passing);
        passing.waitForPictures(1);
        character.removeSink(&passing);
    });
    crowd.join();
    // It is alive and shows what it is told.
    for (int i = character.getItemCount(); i > 0; --i)
        character.remove(character.getItemByIndex(0)->id);
    EXPECT_EQ(character.getItemCount(), 0);
    character.setFPS(200.0);
    character.addItem("last", 0, 0, 100, 100, panelOf("#FFFFFF"));
    EXPECT_TRUE(
        test::waitUntil([&] { return test::alphaAt(sink.latestPicture(), 50, 50) == 255; }));
    character.removeSink(&sink);
}

TEST(LCharacterStress, AGroupIsAskedForItsSizeWhileItComesAndGoes) {
    LCharacter character;
    character.addItem("a", 0, 0, 10, 10, panelOf("#FFFFFF"));
    std::atomic<bool> done{false};
    std::thread asking([&] {
        while (!done) {
            for (int i = 1; i <= 2000; ++i)
                EXPECT_LE(character.groupItemCount("group" + std::to_string(i)), 1);
        }
    });
    for (int i = 0; i < 2000; ++i)
        character.unGroup(character.group({"a"}));
    done = true;
    asking.join();
}

TEST(LCharacterStress, ProjectsAreSavedAndLoadedWhileOthersEdit) {
    LCharacter character;
    character.setFPS(200.0);
    CollectingSink sink;
    character.addSink(&sink);
    const std::string path = test::temporaryPath("stress.xml");
    const std::string other = test::temporaryPath("stress_other.xml");
    character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    character.saveToXMLFile(path);
    Crowd crowd;
    for (int i = 0; i < 2; ++i)
        crowd.add(100, [&](Dice& dice) { editSomething(character, dice); });
    crowd.add(30, [&](Dice& dice) {
        character.saveToXMLFile(other);
        if (dice.toss()) character.loadFromXMLFile(other);
    });
    crowd.add(30, [&](Dice& dice) {
        if (dice.toss()) {
            character.loadFromXMLFile(path);
        } else {
            character.insertFromXMLFile(path);
        }
    });
    crowd.join();
    character.loadFromXMLFile(path);
    EXPECT_EQ(character.getItemCount(), 1);
    EXPECT_NE(character.getItem("a"), nullptr);
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
    character.removeSink(&sink);
}

// Nobody reads the pipe yet that the scene is saved to.
TEST(LCharacterStress, AFileThatTakesItsTimeHoldsUpNoPicture) {
    const std::string pipe = test::temporaryPath("slow.xml");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    LCharacter character;
    character.setFPS(200.0);
    CollectingSink sink;
    character.addSink(&sink);
    character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    std::thread saving([&] { character.saveToXMLFile(pipe); });
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 100));
    std::ifstream reader(pipe); // opened at last
    const std::string scene{std::istreambuf_iterator<char>(reader), {}};
    saving.join();
    EXPECT_NE(scene.find("<id>a</id>"), std::string::npos);
    character.removeSink(&sink);
}

// All fields that may be written at any time, of items that stay, while others come and go.
TEST(LCharacterStress, AtomicFieldsAreWrittenThroughPointersWhileItRenders) {
    LCharacter character;
    character.setFPS(200.0);
    CollectingSink sink;
    character.addSink(&sink);
    Dice dice(99);
    const std::vector<LCGItem*> items = {
        character.addItem("pinned text", 0, 0, 300, 80, someText(dice)),
        character.addItem("pinned crawl", 0, 100, 300, 80, someCrawl(dice)),
        character.addItem("pinned ticker", 0, 200, 300, 80, someTicker(dice)),
        character.addItem("pinned rect", 0, 300, 300, 80, panelOf("#FFFFFF")),
        character.addItem("pinned image", 0, 400, 0, 0, someImage(dice)),
        character.addItem("pinned video", 0, 500, 64, 36, someVideo())};
    LCGGroup* const group =
        character.getGroupObject(character.group({"pinned text", "pinned rect"}));
    auto* const crawl = dynamic_cast<LCGCrawlItem*>(items[1]);
    Crowd crowd;
    for (int i = 0; i < 2; ++i) {
        crowd.add(300, [&](Dice& own) {
            LCGItem& item = *items[static_cast<std::size_t>(own(0, 5))];
            item.x = static_cast<float>(own(-500, 2500));
            item.y = static_cast<float>(own(-500, 1500));
            item.startX = static_cast<float>(own(-500, 2500));
            item.startY = static_cast<float>(own(-500, 1500));
            item.w = own(-10, 600);
            item.h = own(-10, 300);
            item.alpha = static_cast<float>(own(0, 10)) / 10.0F;
            item.moveSpeed = static_cast<float>(own(-900, 900));
            item.moveLoop = own.toss();
            item.moveType = own.toss() ? "Horizontal" : "a way of moving that there is none of";
            item.show = own(0, 3) > 0;
            crawl->scrollX = static_cast<float>(own(-500, 2500));
            crawl->scrollY = static_cast<float>(own(-500, 2500));
            group->x = static_cast<float>(own(-100, 100));
            group->y = static_cast<float>(own(-100, 100));
            group->show = own.toss();
            character.forceUpdate();
        });
    }
    crowd.add(100, [&](Dice& own) {
        addSomething(character, own);
        character.remove(someId(own));
    });
    crowd.add(100, [&](Dice& own) {
        const LCGItem& item = *items[static_cast<std::size_t>(own(0, 5))];
        EXPECT_LE(item.alpha, 1.0F);
        EXPECT_LE(item.w, 600);
        character.showItem(own.toss() ? "pinned rect" : "pinned crawl", own.toss());
    });
    crowd.join();
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
    character.removeSink(&sink);
}

TEST(LCharacterStress, VideosAreRemovedWhileTheyDecode) {
    LCharacter character;
    character.setFPS(1000.0);
    CollectingSink sink;
    character.addSink(&sink);
    for (int i = 0; i < 40; ++i) {
        ASSERT_NE(character.addItem("a", 0, 0, 320, 180, someVideo()), nullptr);
        ASSERT_NE(character.addItem("b", 400, 0, 320, 180, someVideo()), nullptr);
        ASSERT_TRUE(
            sink.waitForPictures(sink.pictureCount() + 1 + static_cast<std::size_t>(i % 3)));
        switch (i % 3) {
            case 0:
                character.remove("a");
                character.remove("b");
                break;
            case 1:
                character.deleteGroup(character.group({"a", "b"}));
                break;
            default:
                character.loadFromXMLFile("/dev/null");
                break;
        }
        ASSERT_EQ(character.getItemCount(), 0);
    }
    character.removeSink(&sink);
}

// ---------------------------------------------------------------------------------------- the end

TEST(LCharacterStress, ItMayEndAtAnyTime) {
    Dice dice(7);
    for (int i = 0; i < 40; ++i) {
        CollectingSink sink;
        auto character = std::make_unique<LCharacter>();
        character->setFPS(dice.toss() ? 1000.0 : 0.01);
        if (dice.toss()) character->addSink(&sink);
        for (int j = dice(0, 6); j > 0; --j)
            addSomething(*character, dice);
        if (dice.toss()) character->group({someId(dice), someId(dice)});
        std::this_thread::sleep_for(std::chrono::microseconds(dice(0, 30000)));
        character->removeSink(&sink); // whether it is there or not
        character.reset();
        const std::size_t pictures = sink.pictureCount();
        std::this_thread::sleep_for(1ms);
        ASSERT_EQ(sink.pictureCount(), pictures); // nothing comes behind the end
    }
}

double residentMiB() {
    malloc_trim(0);
    return static_cast<double>(test::residentKiB()) / 1024.0;
}

double heapMiB() {
    return static_cast<double>(test::heapOfThisProcess()) / (1 << 20);
}

void liveOnce(int round) {
    CollectingSink sink(1);
    LCharacter character;
    character.setFPS(1000.0);
    if (round % 2 == 0) character.addSink(&sink); // else pictures are left in the queue
    Dice dice(static_cast<unsigned>(round % 5));
    character.addItem("panel", 0, 0, 100, 100, panelOf("#FFFFFF"));
    character.addItem("text", 0, 100, 300, 80, someText(dice));
    character.addItem("crawl", 0, 200, 300, 80, someCrawl(dice));
    character.addItem("ticker", 0, 300, 300, 80, someTicker(dice));
    character.addItem("image", 0, 400, 0, 0, someImage(dice));
    character.addItem("video", 0, 500, 64, 36, someVideo());
    character.group({"text", "crawl"});
    if (round % 2 != 0) return;
    ASSERT_TRUE(sink.waitForPictures(2));
    character.removeSink(&sink);
}

// Under a sanitizer, where a life takes a third of a second, they are fewer: what is in use, which
// is told there to the byte, shows one picture kept in each of them all the same.
TEST(LCharacterStress, ThreeHundredLivesLeaveNoThreadNoDescriptorAndNoMemoryBehind) {
    constexpr int lives = test::isInstrumented ? 30 : 300;
    for (int i = 0; i < 20; ++i) // what is made once and kept
        liveOnce(i);
    const int threads = test::threadsOfThisProcess();
    const int descriptors = test::descriptorsOfThisProcess();
    const double memory = residentMiB();
    const double heap = heapMiB();
    for (int i = 0; i < lives; ++i)
        liveOnce(i);
    EXPECT_EQ(test::threadsOfThisProcess(), threads);
    EXPECT_EQ(test::descriptorsOfThisProcess(), descriptors);
    // The smallest of its pictures, kept once in each of 300 lives, would make 900; a sanitizer
    // that keeps freed memory back does so up to a few hundred.
    constexpr double mostGrowth = 500.0;
    EXPECT_LT(residentMiB() - memory, mostGrowth);
    EXPECT_LT(heapMiB() - heap, lives * mostGrowth / 300);
}

} // namespace

// Who is heard of, and under which name.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "platform/vtp/Network.h"
#include "platform/vtp/SourceTable.h"
#include "support/VtpEnds.h"

namespace {

using namespace test;
using namespace quol::vtp;

constexpr Address here = 0x7f000001;
constexpr Address there = 0xc0a80105; // 192.168.1.5

Announcement announcement(const std::string& name, std::uint8_t instance, std::uint16_t port) {
    Announcement one;
    one.instance[0] = instance;
    one.port = port;
    one.name = name;
    return one;
}

std::vector<std::string> texts(const SourceTable& table) {
    std::vector<std::string> texts;
    for (const vtp_source_record& record : table.records())
        texts.push_back(std::string(record.name) + "@" + record.host + ":" +
                        std::to_string(record.port));
    return texts;
}

const Clock::time_point start{std::chrono::seconds(1000)};

TEST(VtpSources, announcementsComeBackAsTheyWere) {
    Announcement one = announcement("Studio \xc3\xa4", 7, 4321);
    one.flags = announcesSecret | announcesSound;
    one.width = 1920;
    one.height = 1080;
    one.pictureRate = 50;
    const auto bytes = writeAnnouncement(one);
    EXPECT_EQ(bytes.size(), 42u + 9u);
    const auto read = readAnnouncement(bytes);
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->isGone);
    EXPECT_EQ(read->instance, one.instance);
    EXPECT_EQ(read->port, 4321);
    EXPECT_EQ(read->flags, 3);
    EXPECT_EQ(read->width, 1920u);
    EXPECT_EQ(read->height, 1080u);
    EXPECT_EQ(read->pictureRate, 50u);
    EXPECT_EQ(read->name, "Studio \xc3\xa4");
    one.isGone = true;
    EXPECT_TRUE(readAnnouncement(writeAnnouncement(one))->isGone);
}

TEST(VtpSources, wrongDatagramsAreNotRead) {
    const auto good = writeAnnouncement(announcement("name", 1, 1));
    ASSERT_TRUE(readAnnouncement(good));
    for (std::size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(readAnnouncement(std::span(good).first(size))) << size;
    for (const std::size_t at : {0u, 3u, 4u, 5u, 6u, 7u, 40u, 41u}) {
        auto bad = good;
        bad[at] ^= 0x10;
        EXPECT_FALSE(readAnnouncement(bad)) << at;
    }
    auto longer = good;
    longer.push_back(0);
    EXPECT_FALSE(readAnnouncement(longer));
    EXPECT_FALSE(readAnnouncement(std::vector<std::uint8_t>(2000)));
    EXPECT_FALSE(readAnnouncement(writeAnnouncement(announcement("no port", 1, 0))));
}

TEST(VtpSources, namesAreMadeFitToBeShown) {
    EXPECT_EQ(shownName("plain", 127), "plain");
    EXPECT_EQ(shownName("", 127), "VTP");
    EXPECT_EQ(shownName("a\nb\x7f\x1b[0m", 127), "a?b??[0m");
    EXPECT_EQ(shownName("\xc2\x85", 127), "??");           // a control character in two bytes
    EXPECT_EQ(shownName("\xc0\xaf\xff", 127), "???");      // no UTF-8
    EXPECT_EQ(shownName("\xed\xa0\x80", 127), "???");      // a surrogate
    EXPECT_EQ(shownName("\xf4\x90\x80\x80", 127), "????"); // past the last character
    EXPECT_EQ(shownName("\xe2\x82", 127), "??");           // cut short
    EXPECT_EQ(shownName("\xf0\x9f\x8e\xa5", 127), "\xf0\x9f\x8e\xa5");
    EXPECT_EQ(shownName("ab\xe2\x82\xac", 4), "ab"); // not half a character
    EXPECT_EQ(shownName(std::string(500, 'x'), 127).size(), 127u);
}

TEST(VtpSources, aSourceIsForgottenWhenItIsSilentAndDroppedWhenItIsGone) {
    SourceTable table;
    table.hear(announcement("a", 1, 10), here, start);
    table.hear(announcement("b", 2, 20), here, start + 2s);
    table.forget(start + 3s);
    EXPECT_EQ(texts(table), (std::vector<std::string>{"a@127.0.0.1:10", "b@127.0.0.1:20"}));
    table.forget(start + 3s + 1ms);
    EXPECT_EQ(texts(table), (std::vector<std::string>{"b@127.0.0.1:20"}));
    Announcement gone = announcement("b", 2, 20);
    gone.isGone = true;
    table.hear(gone, here, start + 3s);
    EXPECT_TRUE(texts(table).empty());
    table.hear(gone, here, start + 3s);
    EXPECT_TRUE(texts(table).empty());
}

TEST(VtpSources, clashingNamesStayApart) {
    SourceTable table;
    table.hear(announcement("Cam", 1, 10), here, start);
    table.hear(announcement("Cam", 2, 20), here, start);
    table.hear(announcement("Cam (2)", 3, 30), here, start);
    table.hear(announcement("Cam", 4, 40), there, start);
    table.hear(announcement("Bar", 5, 50), here, start);
    EXPECT_EQ(texts(table), (std::vector<std::string>{
                                "Bar@127.0.0.1:50", "Cam@127.0.0.1:10", "Cam (3)@127.0.0.1:20",
                                "Cam (4)@192.168.1.5:40", "Cam (2)@127.0.0.1:30"}));
}

TEST(VtpSources, longClashingNamesKeepTheirNumbers) {
    SourceTable table;
    const std::string name(127, 'n');
    table.hear(announcement(name, 1, 10), here, start);
    table.hear(announcement(name, 2, 20), here, start);
    const auto records = table.records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].name, name);
    EXPECT_EQ(records[1].name, std::string(123, 'n') + " (2)");
    EXPECT_EQ(std::strlen(records[1].name), 127u);
}

TEST(VtpSources, oneSenderOnTwoPathsIsOneSourceReachedWithinTheMachine) {
    SourceTable table;
    table.hear(announcement("a", 1, 10), there, start);
    EXPECT_EQ(texts(table), (std::vector<std::string>{"a@192.168.1.5:10"}));
    table.hear(announcement("a", 1, 10), here, start);
    EXPECT_EQ(texts(table), (std::vector<std::string>{"a@127.0.0.1:10"}));
    table.hear(announcement("a", 1, 10), there, start);
    EXPECT_EQ(texts(table), (std::vector<std::string>{"a@127.0.0.1:10"}));
}

TEST(VtpSources, nobodyElseEndsOrMovesASource) {
    SourceTable table;
    table.hear(announcement("a", 1, 10), there, start);
    Announcement gone = announcement("a", 1, 10);
    gone.isGone = true;
    table.hear(gone, there + 1, start);
    table.hear(announcement("x", 1, 99), there + 1, start);
    EXPECT_EQ(texts(table), (std::vector<std::string>{"a@192.168.1.5:10"}));
}

TEST(VtpSources, aSenderThatCameBackAtItsPortTakesThePlaceOfTheOldOne) {
    SourceTable table;
    table.hear(announcement("a", 1, 10), here, start);
    table.hear(announcement("a", 2, 10), here, start);
    EXPECT_EQ(texts(table), (std::vector<std::string>{"a@127.0.0.1:10"}));
}

TEST(VtpSources, aFloodOfSendersIsBounded) {
    SourceTable table;
    for (unsigned i = 0; i < 2000; ++i) {
        Announcement one = announcement("flood", 0, static_cast<std::uint16_t>(i + 1));
        std::memcpy(one.instance.data() + 4, &i, sizeof i);
        table.hear(one, there, start);
    }
    EXPECT_EQ(table.records().size(), 64u);
    for (unsigned i = 0; i < 2000; ++i) {
        Announcement one = announcement("flood", 2, static_cast<std::uint16_t>(i + 1));
        std::memcpy(one.instance.data() + 4, &i, sizeof i);
        table.hear(one, there + 1 + i, start); // of as many hosts
    }
    EXPECT_EQ(table.records().size(), 128u);
    for (unsigned i = 0; i < 2000; ++i) {
        Announcement one = announcement("flood", 1, static_cast<std::uint16_t>(i + 1));
        std::memcpy(one.instance.data() + 4, &i, sizeof i);
        table.hear(one, here, start);
    }
    EXPECT_EQ(table.records().size(), 256u);
    std::set<std::string> names;
    for (const vtp_source_record& record : table.records())
        names.insert(record.name);
    EXPECT_EQ(names.size(), 256u);
    EXPECT_TRUE(names.contains("flood"));
    EXPECT_TRUE(names.contains("flood (2)"));
    EXPECT_TRUE(names.contains("flood (256)"));
}

// Early names are no way to hide what runs here.
TEST(VtpSources, thisMachinesSendersAreShownBeforeStrangers) {
    SourceTable table;
    for (std::uint8_t i = 0; i < 10; ++i)
        table.hear(announcement("a" + std::to_string(i), i, 10), there + i, start);
    table.hear(announcement("studio", 100, 20), here, start);
    table.hear(announcement("a0", 101, 30), here, start);
    std::vector<std::string> shown;
    for (const vtp_source_record& record : table.records(4))
        shown.push_back(std::string(record.name) + "@" + record.host);
    EXPECT_EQ(shown, (std::vector<std::string>{"a0@192.168.1.5", "a0 (2)@127.0.0.1",
                                               "a1@192.168.1.6", "studio@127.0.0.1"}));
    EXPECT_EQ(table.records(1).size(), 1u);
    EXPECT_STREQ(table.records(1).at(0).host, "127.0.0.1");
    EXPECT_TRUE(table.records(0).empty());
    EXPECT_EQ(table.records(12).size(), 12u);
}

TEST(VtpSources, nobodyOutsideSpeaksForThisMachine) {
    EXPECT_TRUE(mayComeThrough(here, false));
    EXPECT_TRUE(mayComeThrough(0x7fffffff, false));
    EXPECT_TRUE(mayComeThrough(there, true));
    EXPECT_FALSE(mayComeThrough(here, true));
    EXPECT_FALSE(mayComeThrough(0x7f010203, true));
    EXPECT_FALSE(mayComeThrough(there, false));
}

TEST(VtpSources, recordsAreFilledToTheirEnds) {
    SourceTable table;
    table.hear(announcement("a", 1, 0x1234), there, start);
    const vtp_source_record record = table.records().at(0);
    EXPECT_EQ(record.port, 0x1234);
    EXPECT_STREQ(record.host, "192.168.1.5");
    for (const std::uint8_t byte : record.reserved)
        EXPECT_EQ(byte, 0);
}

// ------------------------------------------------------------------------------ with listeners

TEST(VtpSources, everyListenerHearsEverySenderAndItsEnd) {
    const std::string name = vtpName("heard");
    std::vector<VtpListener> listeners;
    for (int i = 0; i < 3; ++i) {
        listeners.emplace_back(vtp_create_listener());
        vtp_listener_start(listeners.back().get());
    }
    VtpSender first = startedSender(name);
    for (const VtpListener& listener : listeners) // numbers are in the order of hearing
        ASSERT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).size() == 1; }));
    VtpSender second = startedSender(name);
    ASSERT_TRUE(first && second);
    for (const VtpListener& listener : listeners) {
        ASSERT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).size() == 2; }));
        const auto sources = sourcesNamed(listener.get(), name);
        EXPECT_EQ(sources[0].name, name);
        EXPECT_EQ(sources[1].name, name + " (2)");
        EXPECT_STREQ(sources[0].host, "127.0.0.1");
        EXPECT_STREQ(sources[1].host, "127.0.0.1");
        EXPECT_EQ(sources[0].port, vtp_sender_get_port(first.get()));
        EXPECT_EQ(sources[1].port, vtp_sender_get_port(second.get()));
    }
    vtp_sender_stop(first.get());
    second.reset();
    for (const VtpListener& listener : listeners)
        EXPECT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).empty(); }));
}

TEST(VtpSources, aListenerThatComesLateHearsOfSendersToo) {
    const std::string name = vtpName("before");
    const VtpSender sender = startedSender(name);
    const VtpListener listener(vtp_create_listener());
    EXPECT_TRUE(sourcesOf(listener.get()).empty());
    vtp_listener_start(listener.get());
    vtp_listener_start(listener.get());
    EXPECT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).size() == 1; }));
    vtp_listener_stop(listener.get());
    EXPECT_TRUE(sourcesOf(listener.get()).empty());
    vtp_listener_stop(listener.get());
    vtp_listener_start(listener.get());
    EXPECT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).size() == 1; }));
}

TEST(VtpSources, atMostAsManyRecordsAreWrittenAsThereIsRoomFor) {
    const std::string name = vtpName("room");
    const VtpSender one = startedSender(name);
    const VtpSender two = startedSender(name);
    const VtpListener listener(vtp_create_listener());
    vtp_listener_start(listener.get());
    ASSERT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).size() == 2; }));
    vtp_source_record records[2] = {};
    std::memset(&records[1], 0x5a, sizeof records[1]);
    EXPECT_EQ(vtp_listener_get_sources(listener.get(), records, 1), 1);
    EXPECT_EQ(records[1].port, 0x5a5a);
    EXPECT_EQ(vtp_listener_get_sources(listener.get(), records, 0), 0);
    EXPECT_EQ(vtp_listener_get_sources(listener.get(), records, -1), 0);
    EXPECT_EQ(vtp_listener_get_sources(listener.get(), nullptr, 64), 0);
}

TEST(VtpSources, aReceiverFindsASenderByItsName) {
    const std::string name = vtpName("by name");
    const VtpSender sender = startedSender(name);
    const VtpReceiver receiver(vtp_create_receiver());
    ASSERT_TRUE(becomesTrue([&] {
        vtp_receiver_connect_by_name(receiver.get(), name.c_str());
        return vtp_receiver_is_connected(receiver.get());
    }));
    const auto picture = vtpPicture(16, 8, 3, 1);
    vtp_sender_send_frame(sender.get(), picture.data(), 2, 5);
    vtp_video_frame frame{};
    ASSERT_TRUE(nextPicture(receiver.get(), frame));
    EXPECT_EQ(frame.timestamp, 5);
    vtp_receiver_connect_by_name(receiver.get(), vtpName("nobody").c_str());
    EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
}

} // namespace

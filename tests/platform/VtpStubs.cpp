// What a build without vtp answers. The stubs are compiled into this program and stand before the
// real operations.
#include "platform/vtp/stubs.cpp"

#include <gtest/gtest.h>

namespace {

TEST(VtpStubs, nothingIsMadeAndNothingHeard) {
    EXPECT_EQ(vtp_create_sender("name", 1920, 1080, 25, 0, 1), nullptr);
    EXPECT_EQ(vtp_create_receiver(), nullptr);
    EXPECT_EQ(vtp_create_listener(), nullptr);
    EXPECT_FALSE(vtp_sender_start(nullptr));
    EXPECT_EQ(vtp_sender_get_port(nullptr), 0);
    vtp_video_frame frame{};
    vtp_audio_frame sound{};
    vtp_source_record source{};
    EXPECT_FALSE(vtp_receiver_receive_frame(nullptr, &frame));
    EXPECT_FALSE(vtp_receiver_receive_audio(nullptr, &sound));
    EXPECT_FALSE(vtp_receiver_is_connected(nullptr));
    EXPECT_EQ(vtp_listener_get_sources(nullptr, &source, 1), 0);
}

TEST(VtpStubs, everyOperationMayBeCalled) {
    const std::uint8_t picture[3] = {};
    const std::int16_t sample = 0;
    vtp_destroy_sender(nullptr);
    vtp_sender_set_network(nullptr, {});
    vtp_sender_stop(nullptr);
    vtp_sender_send_frame(nullptr, picture, 2, 0);
    vtp_sender_send_audio(nullptr, &sample, 1, 48000, 1, 0);
    vtp_sender_set_scale_quality(nullptr, 1);
    vtp_destroy_receiver(nullptr);
    vtp_receiver_set_network(nullptr, {});
    vtp_receiver_connect(nullptr, "127.0.0.1", 1);
    vtp_receiver_connect_by_name(nullptr, "name");
    vtp_receiver_disconnect(nullptr);
    vtp_destroy_listener(nullptr);
    vtp_listener_set_network(nullptr, {});
    vtp_listener_start(nullptr);
    vtp_listener_stop(nullptr);
    SUCCEED();
}

} // namespace

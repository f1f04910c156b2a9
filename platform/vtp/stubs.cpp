// What stands in for vtp where it was left out of the build: senders and receivers are never made,
// and nobody is heard of.
#include "platform/vtp/vtp.h"

vtp_sender* vtp_create_sender(const char*, int, int, int, int, int) {
    return nullptr;
}

void vtp_destroy_sender(vtp_sender*) {}

void vtp_sender_set_network(vtp_sender*, const vtp_network&) {}

bool vtp_sender_start(vtp_sender*) {
    return false;
}

void vtp_sender_stop(vtp_sender*) {}

void vtp_sender_send_frame(vtp_sender*, const uint8_t*, int, int64_t) {}

void vtp_sender_send_audio(vtp_sender*, const int16_t*, int, int, int, int64_t) {}

uint16_t vtp_sender_get_port(vtp_sender*) {
    return 0;
}

void vtp_sender_set_scale_quality(vtp_sender*, int) {}

vtp_receiver* vtp_create_receiver() {
    return nullptr;
}

void vtp_destroy_receiver(vtp_receiver*) {}

void vtp_receiver_set_network(vtp_receiver*, const vtp_network&) {}

void vtp_receiver_connect(vtp_receiver*, const char*, uint16_t) {}

void vtp_receiver_connect_by_name(vtp_receiver*, const char*) {}

void vtp_receiver_disconnect(vtp_receiver*) {}

bool vtp_receiver_receive_frame(vtp_receiver*, vtp_video_frame*) {
    return false;
}

bool vtp_receiver_receive_audio(vtp_receiver*, vtp_audio_frame*) {
    return false;
}

bool vtp_receiver_is_connected(vtp_receiver*) {
    return false;
}

vtp_listener* vtp_create_listener() {
    return nullptr;
}

void vtp_destroy_listener(vtp_listener*) {}

void vtp_listener_set_network(vtp_listener*, const vtp_network&) {}

void vtp_listener_start(vtp_listener*) {}

void vtp_listener_stop(vtp_listener*) {}

int vtp_listener_get_sources(vtp_listener*, vtp_source_record*, int) {
    return 0;
}

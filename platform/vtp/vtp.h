// Pictures and sound between processes and machines over TCP/IP; the protocol is in docs/vtp.md.
//
// A sender offers one stream under a name, a listener knows the senders there are, a receiver takes
// the stream of one sender. Nothing leaves the machine, and nothing from outside is listened to,
// unless vtp_network names an interface.
//
// Every operation takes null handles and answers them with nothing, 0 or false. The operations of
// one handle may be called from any threads at the same time, except that nobody may use a handle
// once its vtp_destroy_ operation was begun. No operation waits for another machine, save for
// vtp_receiver_connect, vtp_receiver_connect_by_name and the end of a sender that runs, which do
// for a bounded time. Where memory is short, pictures, sound and connections are lost, and nothing
// else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct vtp_sender;
struct vtp_receiver;
struct vtp_listener;

// Pixel formats of pictures, rows without padding between them. Any other value is 24-bit RGB.
constexpr int vtp_format_rgb24 = 0;
constexpr int vtp_format_rgba = 1;
constexpr int vtp_format_bgr24 = 2;
constexpr int vtp_format_bgra = 3;

// How a sender codes its pictures.
constexpr int vtp_coding_automatic = 0; // uncompressed for this machine, intra coded for others
constexpr int vtp_coding_none = 1;      // never compressed
constexpr int vtp_coding_intra = 2;     // always intra coded

constexpr std::size_t vtp_name_bytes = 128;
constexpr std::size_t vtp_host_bytes = 64;

// What a receiver hands out. `data` is the receiver's: good until the next picture is asked of it
// or it is destroyed, also after the connection has ended.
struct vtp_video_frame {
    const uint8_t* data;
    int32_t width;
    int32_t height;
    int32_t pixelFormat;
    int64_t timestamp; // the sender's, in nanoseconds
};

// The same for sound: interleaved 16-bit samples, good until sound is asked for again.
struct vtp_audio_frame {
    const int16_t* data;
    int32_t sampleRate;
    int32_t channels;
    int32_t samplesPerChannel;
    int32_t byteSize;
    int64_t timestamp;
};

// One sender as a listener knows it.
struct vtp_source_record {
    char name[vtp_name_bytes]; // UTF-8, ends with a zero
    char host[vtp_host_bytes]; // numeric address, ends with a zero
    uint16_t port;
    uint8_t reserved[18]; // zero
};
static_assert(sizeof(vtp_source_record) == 212);
static_assert(offsetof(vtp_source_record, host) == 128);
static_assert(offsetof(vtp_source_record, port) == 192);

// Whom to talk to. Taken over by the next start of a sender or listener and by the next connection
// of a receiver; what runs is left as it is.
struct vtp_network {
    std::string interfaceName; // as the system calls it; empty: this machine alone
    std::string secret;        // empty: anyone who reaches the sender may have its stream
    // Of a sender that has not run yet: the port to take if it is free, 0 for any. One that has run
    // takes the port it had.
    std::uint16_t port = 0;
};

// A sender of pictures of one size. `name` is cut at 127 bytes; null or empty becomes "VTP". `rate`
// is pictures a second and only told to receivers; `coding` is one of the above; `sound` 1 says
// that sound comes too. Null for a size that vtp cannot carry (see docs/vtp.md), or without vtp.
vtp_sender* vtp_create_sender(const char* name, int width, int height, int rate, int coding,
                              int sound);
void vtp_destroy_sender(vtp_sender* sender);
void vtp_sender_set_network(vtp_sender* sender, const vtp_network& network);

// True when the sender can be found and connected to; also when it was started before. False when
// the interface named is not there, or no port is free.
bool vtp_sender_start(vtp_sender* sender);

// Takes the sender off the listeners' lists and ends all connections. What was handed over before
// still goes out, as far as the receivers take it within a quarter of a second.
void vtp_sender_stop(vtp_sender* sender);

// Sends one picture of the sender's size, rows without padding, to every receiver. Copies it and
// returns: a receiver that is slow loses the picture. `timestampNs` is what receivers get with it.
// A null picture and a sender that does not run are passed over.
void vtp_sender_send_frame(vtp_sender* sender, const uint8_t* data, int pixelFormat,
                           int64_t timestampNs);

// Sends interleaved sound, in the same way. Passed over: anything but 1 to 16 channels, rates of
// 1 to 384000, and blocks of 1 sample to one second.
void vtp_sender_send_audio(vtp_sender* sender, const int16_t* samples, int samplesPerChannel,
                           int rate, int channels, int64_t timestampNs);

// The TCP port, 0 while the sender does not run.
uint16_t vtp_sender_get_port(vtp_sender* sender);

// How the colours of intra coded pictures are converted: 0 fastest (as made), 1 better, 2 best.
// Others count as the nearest.
void vtp_sender_set_scale_quality(vtp_sender* sender, int quality);

vtp_receiver* vtp_create_receiver();
void vtp_destroy_receiver(vtp_receiver* receiver);
void vtp_receiver_set_network(vtp_receiver* receiver, const vtp_network& network);

// Connects to a sender, at most for two seconds; vtp_receiver_is_connected says how it went. A
// connection there was is ended first. `host` is a numeric IPv4 address or "localhost"; without an
// interface named, only addresses of this machine's loopback are tried.
void vtp_receiver_connect(vtp_receiver* receiver, const char* host, uint16_t port);

// The same for the sender that listeners know by that name; waits at most another two seconds for
// it to be heard of.
void vtp_receiver_connect_by_name(vtp_receiver* receiver, const char* name);

// Ends the connection, also one that is being made by another thread. What has been handed out
// stays good.
void vtp_receiver_disconnect(vtp_receiver* receiver);

// True if there was a picture not taken yet, or sound; both come in the order of their sending.
// Neither waits. One that is not taken in time is lost when newer ones come.
bool vtp_receiver_receive_frame(vtp_receiver* receiver, vtp_video_frame* frame);
bool vtp_receiver_receive_audio(vtp_receiver* receiver, vtp_audio_frame* frame);

// False once the sender has stopped, died, or was silent for too long.
bool vtp_receiver_is_connected(vtp_receiver* receiver);

vtp_listener* vtp_create_listener();
void vtp_destroy_listener(vtp_listener* listener);
void vtp_listener_set_network(vtp_listener* listener, const vtp_network& network);
void vtp_listener_start(vtp_listener* listener);

// Forgets all senders.
void vtp_listener_stop(vtp_listener* listener);

// Writes the senders heard of lately, in the order of their names, at most `maximum`; returns how
// many. Where there are more, those of this machine come before others. Names differ: of those that
// clash all but the first get a number, as in "Name (2)".
int vtp_listener_get_sources(vtp_listener* listener, vtp_source_record* records, int maximum);

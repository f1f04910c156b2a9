/**
 * @file
 * The flat C interface of libquolsdk. One header, C99 and C++, for hosts in any language. Each
 * family of functions wraps one class. The chapters below hold for every function unless its own
 * text says otherwise.
 *
 * @section handles Handles
 * A handle stands for one object and is opaque. `quolsdk_<family>_create` makes it, the host owns
 * it, and `quolsdk_<family>_destroy` stops its threads, waits for them and ends it; the handle is
 * worth nothing then. A handle belongs to the functions of its family; nothing checks that. Where
 * an argument is called a source, the handle of any source family may be given: signal, file, live,
 * streamplay, mixer, switcher, multiview, stinger, character, animation and replay. NULL there
 * stands for no source.
 *
 * Connections never own: neither side ends with the other. Stop sinks first, then take sources out
 * of mixers, switchers and multiviews, then stop and destroy sources; an object must not be
 * destroyed while another one still uses it.
 *
 * @section null Null and bad values
 * A null handle makes a function return at once, with 0, 0.0 or the value that its text names, and
 * without writing to any output; `destroy` takes it too. A null text counts as the empty text.
 * Texts are copied, byte for byte, before a call returns: no ownership passes. A null pointer for a
 * result skips that result; in the functions that end in `get_count` and `status_get`, whose only
 * result it is, it ends the call. The pointer to a format record must not be null, except on a null
 * handle. Numbers outside a range have the quiet outcome that the text names.
 *
 * @section results Results
 * An `int` that tells of success is 1, or 0 for failure; the error stream says why. Booleans that
 * are handed in are 32-bit integers: other than 0 is true. Functions that begin something and
 * return nothing are followed by the `status_get` of their family, where it has one.
 *
 * A text is returned into a buffer of the caller's and its size in bytes: at most size - 1 bytes
 * and a terminating zero. A longer text is cut without notice, in the middle of a UTF-8 character
 * if need be. A null buffer, or a size below 1, writes nothing.
 *
 * @section units Units
 * Positions and durations are milliseconds, as doubles where a fraction counts; rates are frames
 * (pictures) per second; sizes and places are pixels, the origin at the top left; gains and radii
 * are percent; file sizes are bytes, bit rates bits per second. Paths are those of the file system,
 * texts UTF-8.
 *
 * @section threads Threads
 * Any function may be called from any thread, and functions of one handle beside each other; those
 * that must wait for each other do. The layer adds no lock. Exceptions are two: a reader belongs to
 * one thread at a time, and no call may run beside, or after, the `destroy` of its handle.
 *
 * The library calls no function of the host's. A host that attaches sinks of its own, by the
 * classes, must not call from inside a push: `create` and `destroy` of what pushes, and what
 * starts, stops, plays, pauses or names a source.
 *
 * Functions return at once, or after a picture in the making (some milliseconds). Those that wait
 * longer say so with the words "Waits for".
 *
 * @section errors Exceptions
 * Where a text says "Raises for a value that is no number", a property's value that should begin
 * with a number and does not raises the C++ exception `std::invalid_argument`, and one that is out
 * of range `std::out_of_range`. Memory that the system refuses raises `std::bad_alloc`. They pass
 * through these functions; a host that cannot catch them checks its values before. A property that
 * raises keeps its value. A thread that the system refuses raises nothing: a start gives 0, and the
 * `create` of what runs from then on NULL. A replay is made without one; its next recording asks
 * again.
 *
 * @section properties Properties
 * `set_props` takes a key and a value as texts. Keys are compared exactly, unknown ones ignored. A
 * boolean is true for "true" and "1" and false for any other text; a number is read as far as it
 * goes: "25 fps" is 25. The decimal point is that of the process's locale (LC_NUMERIC).
 *
 * @section process What the library does to the process
 * - Signals: it installs no handler, and SDL is told to install none unless the host has told it
 *   otherwise. The thread that draws a preview blocks SIGPIPE for itself; no other mask is
 *   changed. A recording into a pipe whose reader has gone meets SIGPIPE as any writer does.
 * - Locale: never set. Numbers of properties follow LC_NUMERIC, as said above; clocks and dates the
 *   time zone (TZ).
 * - SDL: its audio part is started when a preview opens a sound device and ended with the last one;
 *   SDL counts, so a host's own use of it goes on. Its video part is not used.
 * - Child processes: none is started. A process that has made an object must not `fork` and go on
 *   without `exec`: the threads are missing in the copy.
 * - Threads: each is started and joined by its object, none is detached, and there is no main loop
 *   to run. Those that encode, send or draw a preview, their encoders' too, lower their own
 *   priority a little, the one that loads a stinger for a switcher more.
 * - Logs: lines for the operator go to standard output and standard error, whole lines at a time.
 *   FFmpeg's own messages: when the library is loaded and FFmpeg's threshold is its default, it is
 *   set to AV_LOG_FATAL, once; a host that wants them calls av_log_set_level afterwards.
 * - Libraries: OpenGL, the runtimes of NDI and DeckLink and the previews of toolkits are loaded
 *   when they are first needed, and their absence is no failure of the rest.
 * - Network: nothing is sent until a host names an address or starts a device. A live input listens
 *   from its making for what VTP announces, and looks for NDI sources where NDI's runtime is there.
 *   VTP stays on this machine unless the property "vtp_interface" says otherwise.
 * - Files: written are those that the host names, and, beside a Lottie template, copies of images
 *   that it is given ("temp_...").
 */
#ifndef QUOLSDK_C_API_H
#define QUOLSDK_C_API_H

#include <stdint.h>

#if defined(__GNUC__)
#define QUOLSDK_C_API __attribute__((visibility("default")))
#else
#define QUOLSDK_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** An object, or NULL. */
typedef void* quolsdk_handle;

/** Picture format; the fields of videoFormatProps in the same order. Copied by the functions that
 *  take it. */
typedef struct quolsdk_video_format {
    uint32_t mode;       /**< row of the video mode table; 0 custom (a file player puts the file's
                              size and rate in its place when it opens), 1 native */
    int32_t width;       /**< pixels; filled in by the caller for mode 0 */
    int32_t height;      /**< pixels; filled in by the caller for mode 0 */
    double fps;          /**< frames per second; filled in by the caller for mode 0 */
    int32_t pixelFormat; /**< row of the pixel format table; 0 leaves the format untouched */
} quolsdk_video_format;

/** Sound format; the fields of audioFormatProps in the same order. Copied by the functions that
 *  take it. */
typedef struct quolsdk_audio_format {
    uint32_t mode;         /**< row of the audio mode table; 0 custom, 1 native */
    int32_t bitsPerSample; /**< 16, 24, or -32 for 32-bit floating point */
    int32_t sampleRate;    /**< Hz */
    int32_t channels;      /**< channel count */
} quolsdk_audio_format;

/** @name Library: which one this is
 *  Static texts, never to be freed, the same pointer at every call. */
/** @{ */
/** Tells the version, "0.1.1". */
QUOLSDK_C_API const char* quolsdk_get_version(void);
/** Tells the author, "quolmedia". */
QUOLSDK_C_API const char* quolsdk_get_author(void);
/** Tells the company, "quolmedia Broadcast Media Sdk Technologies". */
QUOLSDK_C_API const char* quolsdk_get_company(void);
/** @} */

/** @name Signal: a constant picture, a source
 *  A new signal is 1280x720 black at 50 frames a second. It has no sound. A change while it runs
 *  shows with the next picture. */
/** @{ */
/** Makes a signal, which stands still. */
QUOLSDK_C_API quolsdk_handle quolsdk_signal_create(void);
/** Stops the signal and ends it. */
QUOLSDK_C_API void quolsdk_signal_destroy(quolsdk_handle signal);
/** Shows a colour, "#RRGGBB", and drops the image. A text of any other shape, the empty one too, is
 *  black; pairs that are no hexadecimal numbers give no picture until the next change. */
QUOLSDK_C_API void quolsdk_signal_set_color(quolsdk_handle signal, const char* color);
/** Shows a still image file, scaled to the picture; the empty text goes back to the colour. One
 *  that cannot be read is black. The file is read when the next picture is made. */
QUOLSDK_C_API void quolsdk_signal_set_image(quolsdk_handle signal, const char* path);
/** Starts the signal. 1, also when it runs already; 0 on a null handle. */
QUOLSDK_C_API int quolsdk_signal_start(quolsdk_handle signal);
/** Stops the signal. Waits for its thread; nothing when it stands still. */
QUOLSDK_C_API void quolsdk_signal_stop(quolsdk_handle signal);
/** @} */

/** @name File: a media file or image sequence, a source
 *  Positions are milliseconds of the file's own time; where the format asks for another rate than
 *  the file's, quolsdk_file_pos_get tells its position times the one rate over the other. Attach
 *  what shows or records the pictures before the file plays: with nobody there it stops after 15
 *  pictures until the next quolsdk_file_pos_set. */
/** @{ */
/** Makes a file player without a file. */
QUOLSDK_C_API quolsdk_handle quolsdk_file_create(void);
/** Stops the player and ends it. */
QUOLSDK_C_API void quolsdk_file_destroy(quolsdk_handle file);
/** Names the file to play; a "%" makes it the pattern of an image sequence ("shot_%04d.png").
 *  Another name stops what plays; the same one does nothing. Waits for the thread that is stopped,
 *  a second at the most. */
QUOLSDK_C_API void quolsdk_file_name_set(quolsdk_handle file, const char* path);
/** Opens the file and plays it, or resumes. Waits for the file to be opened; whether it could be is
 *  told by quolsdk_file_status_get. It begins where quolsdk_file_pos_set has pointed since the last
 *  stop, else at the file's beginning, not at the in point. */
QUOLSDK_C_API void quolsdk_file_play(quolsdk_handle file);
/** Pauses; the picture stands. A delay above 0 (milliseconds) lets the pause end by itself, 0 and
 *  below does not. */
QUOLSDK_C_API void quolsdk_file_pause(quolsdk_handle file, double delay_ms);
/** Goes on after a pause; the time paused does not count. */
QUOLSDK_C_API void quolsdk_file_resume(quolsdk_handle file);
/** Stops and closes the file. Waits for the thread, a second at the most. */
QUOLSDK_C_API void quolsdk_file_stop(quolsdk_handle file);
/** Tells the position of the latest picture, milliseconds: its number over the file's rate. 0.0
 *  with no file open, no picture in it or no rate, and on a null handle. */
QUOLSDK_C_API double quolsdk_file_pos_get(quolsdk_handle file);
/** Jumps to a position, milliseconds; a paused file runs on. Before quolsdk_file_play it says where
 *  to begin. */
QUOLSDK_C_API void quolsdk_file_pos_set(quolsdk_handle file, double pos_ms);
/** Tells the duration, milliseconds. 0.0 with no file open, when it is not known, and on a null
 *  handle. */
QUOLSDK_C_API double quolsdk_file_duration_get(quolsdk_handle file);
/** Tells the rate of the output, frames a second: the format's, else the file's, else 25.0. 0.0 on
 *  a null handle. */
QUOLSDK_C_API double quolsdk_file_fps_get(quolsdk_handle file);
/** Stores 1 while the file plays, is paused or holds its last picture, else 0. */
QUOLSDK_C_API void quolsdk_file_status_get(quolsdk_handle file, int* status);
/** Sets a property: "loop", "rate", "speed", "scale_type", "scaling_quality", "deinterlace",
 *  "eof_hold", "timecodeSource", "audio_gain", "audio_track", "gpu"; LFile tells what each takes.
 *  Raises for a value that is no number. */
QUOLSDK_C_API void quolsdk_file_set_props(quolsdk_handle file, const char* key, const char* value);
/** Sets the picture format of the output, which is copied; `format` must not be NULL. Below mode 2
 *  it becomes the file's own size and rate at the next quolsdk_file_play. */
QUOLSDK_C_API void quolsdk_file_set_video_format(quolsdk_handle file,
                                                 const quolsdk_video_format* format);
/** Sets the sound format of the output, which is copied; `format` must not be NULL. A rate above 0
 *  resamples, a channel count above 0 remixes. */
QUOLSDK_C_API void quolsdk_file_set_audio_format(quolsdk_handle file,
                                                 const quolsdk_audio_format* format);
/** Sets the playback rate, 1.0 being normal, from the next picture on. 0 and below play at 1.0;
 *  sound is heard within 0.01 of 1.0 only. */
QUOLSDK_C_API void quolsdk_file_rate_set(quolsdk_handle file, double rate);
/** Tells the playback rate as it was set; 1.0 on a null handle. */
QUOLSDK_C_API double quolsdk_file_rate_get(quolsdk_handle file);
/** Sets the in and out point, milliseconds. An out point of 0 and below is none; at it the file
 *  ends, or with "loop" goes back to the in point. */
QUOLSDK_C_API void quolsdk_file_in_out_set(quolsdk_handle file, double in_ms, double out_ms);
/** Stores in point, out point and duration, milliseconds, each where its pointer is not null. */
QUOLSDK_C_API void quolsdk_file_in_out_get(quolsdk_handle file, double* in_ms, double* out_ms,
                                           double* duration_ms);
/** Returns the time code of the position, "hh:mm:ss:ff"; "00:00:00:00" for a file that carries none
 *  and without a file. */
QUOLSDK_C_API void quolsdk_file_timecode_get(quolsdk_handle file, char* buffer, int32_t size);
/** Tells the width of the file's pictures, pixels. 0 before the first quolsdk_file_play, without a
 *  picture, and on a null handle; a stop leaves it. */
QUOLSDK_C_API int quolsdk_file_get_width(quolsdk_handle file);
/** Tells the height of the file's pictures, pixels; as quolsdk_file_get_width. */
QUOLSDK_C_API int quolsdk_file_get_height(quolsdk_handle file);
/** @} */

/** @name Reader: questions about a media file
 *  A reader belongs to one thread at a time; it has none of its own and writes no line. */
/** @{ */
/** Makes a reader without a file. */
QUOLSDK_C_API quolsdk_handle quolsdk_reader_create(void);
/** Closes the file and ends the reader. */
QUOLSDK_C_API void quolsdk_reader_destroy(quolsdk_handle reader);
/** Opens a file, closing the one before. 1 for a media file, else 0, also on a null handle. Waits
 *  for the file to be looked into. */
QUOLSDK_C_API int quolsdk_reader_open(quolsdk_handle reader, const char* path);
/** Closes the file; nothing without one. */
QUOLSDK_C_API void quolsdk_reader_close(quolsdk_handle reader);
/** Tells the duration, milliseconds. 0.0 with no file, when it is not known, and on a null
 *  handle. */
QUOLSDK_C_API double quolsdk_reader_duration_get(quolsdk_handle reader);
/** Tells the average frame rate of the pictures. 0.0 with no file or no picture, and on a null
 *  handle. */
QUOLSDK_C_API double quolsdk_reader_fps_get(quolsdk_handle reader);
/** Tells the width of the pictures as coded, pixels. 0 without one, and on a null handle. */
QUOLSDK_C_API int64_t quolsdk_reader_width_get(quolsdk_handle reader);
/** Tells the height of the pictures as coded, pixels. 0 without one, and on a null handle. */
QUOLSDK_C_API int64_t quolsdk_reader_height_get(quolsdk_handle reader);
/** Tells the length of the file, bytes, by the file system. 0 with no file, and on a null
 *  handle. */
QUOLSDK_C_API int64_t quolsdk_reader_file_len_get(quolsdk_handle reader);
/** Returns the name of the pictures' decoder, as "h264"; "Unknown" without one. */
QUOLSDK_C_API void quolsdk_reader_video_codec_get(quolsdk_handle reader, char* buffer,
                                                  int32_t size);
/** Returns the name of the sound's decoder, as "aac"; "Unknown" without one. */
QUOLSDK_C_API void quolsdk_reader_audio_codec_get(quolsdk_handle reader, char* buffer,
                                                  int32_t size);
/** Returns the short name of the container's format, as "mov,mp4,m4a,3gp,3g2,mj2"; "Unknown" with
 *  no file. */
QUOLSDK_C_API void quolsdk_reader_container_get(quolsdk_handle reader, char* buffer, int32_t size);
/** Tells the bit rate of the container, bits a second. 0 when it is not known, and on a null
 *  handle. */
QUOLSDK_C_API int64_t quolsdk_reader_bitrate_get(quolsdk_handle reader);
/** Tells the bit rate of the sound, bits a second. 0 without sound, and on a null handle. */
QUOLSDK_C_API int64_t quolsdk_reader_audio_bitrate_get(quolsdk_handle reader);
/** Tells how many channels the sound has. 0 without sound, and on a null handle. */
QUOLSDK_C_API int64_t quolsdk_reader_audio_channels_get(quolsdk_handle reader);
/** @} */

/** @name Live: a card, an NDI source, a VTP sender or the test signal, a source
 *  Devices, channels and formats are numbered from 0; numbers outside a list give empty texts. A
 *  device outside its list leaves nothing to start, and so does a format past the end of a card's;
 *  a card's channel outside its list counts as SDI. Ask for the count before the rows of a list.
 *  What is chosen while it runs counts from the next start. Without the vendors' runtimes the lists
 *  of cards and of NDI are empty. */
/** @{ */
/** Makes a live input with nothing chosen. */
QUOLSDK_C_API quolsdk_handle quolsdk_live_create(void);
/** Stops the input and ends it. Waits for what a card's driver is still calling. */
QUOLSDK_C_API void quolsdk_live_destroy(quolsdk_handle live);
/** Looks for cards and counts the devices: the cards first, then "NDI Receiver", "VTP Receiver" and
 *  "Test Signal". A null pointer ends the call: nothing is looked for. */
QUOLSDK_C_API void quolsdk_live_device_get_count(quolsdk_handle live, int* count);
/** Returns the name of a device and what identifies it; both empty for a number that is none. */
QUOLSDK_C_API void quolsdk_live_device_get_by_index(quolsdk_handle live, int index, char* name,
                                                    int32_t name_size, char* identifier,
                                                    int32_t identifier_size);
/** Chooses a device by its number; no channel is chosen then. */
QUOLSDK_C_API void quolsdk_live_device_set(quolsdk_handle live, int index);
/** Counts the channels of a device: a card's connectors, the sources on the network, 1 pattern.
 *  Waits for NDI sources, 100 ms. A null pointer ends the call. */
QUOLSDK_C_API void quolsdk_live_device_channel_get_count(quolsdk_handle live, int device,
                                                         int* count);
/** Returns the name of a channel as counted last; empty for a number that is none, but for the test
 *  signal, whose one pattern has any. */
QUOLSDK_C_API void quolsdk_live_device_channel_get_by_index(quolsdk_handle live, int device,
                                                            int index, char* name,
                                                            int32_t name_size);
/** Chooses a channel of the chosen device; a card goes to that connector at once. */
QUOLSDK_C_API void quolsdk_live_device_channel_set(quolsdk_handle live, int index);
/** Counts the picture formats of a device. A null pointer ends the call. */
QUOLSDK_C_API void quolsdk_live_format_get_count(quolsdk_handle live, int device, int channel,
                                                 int* count);
/** Returns the name of a picture format; empty for a number that is none. */
QUOLSDK_C_API void quolsdk_live_format_get_by_index(quolsdk_handle live, int device, int channel,
                                                    int index, char* name, int32_t name_size);
/** Chooses a picture format of a card, for the next start; 0 follows the signal. */
QUOLSDK_C_API void quolsdk_live_format_set(quolsdk_handle live, int index);
/** Starts the chosen device, anew when it runs already. Without a device, and when a card refuses,
 *  nothing starts; whether a source on the network is there is not found out here. */
QUOLSDK_C_API void quolsdk_live_start(quolsdk_handle live);
/** Stops the device. Waits for its threads; nothing when none runs. */
QUOLSDK_C_API void quolsdk_live_stop(quolsdk_handle live);
/** Sets a property: "timecode", "timecodeSource", "timecodeStart", "ndi_bandwidth", "gpu",
 *  "audio_gain", "vtp_interface", "vtp_secret"; LLive tells what each takes. Raises for a value
 *  that is no number. */
QUOLSDK_C_API void quolsdk_live_set_props(quolsdk_handle live, const char* key, const char* value);
/** Sets the picture format wanted, which is copied; `format` must not be NULL. Mode 1, as it is
 *  unless set, takes pictures as they come. */
QUOLSDK_C_API void quolsdk_live_set_video_format(quolsdk_handle live,
                                                 const quolsdk_video_format* format);
/** Sets the sound format wanted, which is copied; `format` must not be NULL. A rate or a channel
 *  count above 0 gives 16-bit sound of that form. */
QUOLSDK_C_API void quolsdk_live_set_audio_format(quolsdk_handle live,
                                                 const quolsdk_audio_format* format);
/** @} */

/** @name Stream player: a network stream, a source
 *  Pictures and sound of an address, live. What breaks off or cannot be opened is tried again once
 *  a second for as long as the player runs; a line on standard output tells of each attempt. */
/** @{ */
/** Makes a player without an address. */
QUOLSDK_C_API quolsdk_handle quolsdk_streamplay_create(void);
/** Stops the player and ends it. Waits for its thread, a second at the most. */
QUOLSDK_C_API void quolsdk_streamplay_destroy(quolsdk_handle player);
/** Sets the address, "rtmp://server/app/key" and whatever else FFmpeg opens. Another address stops
 *  what plays, and does not start it again. */
QUOLSDK_C_API void quolsdk_streamplay_url_set(quolsdk_handle player, const char* url);
/** Starts the player; nothing without an address or while it plays. An address that does not answer
 *  yet is waited for, on the player's own thread. */
QUOLSDK_C_API void quolsdk_streamplay_play(quolsdk_handle player);
/** Stops the player. Waits for its thread, a second at the most; nothing when it does not play. */
QUOLSDK_C_API void quolsdk_streamplay_stop(quolsdk_handle player);
/** Stores 1 between play and stop, whether anything comes or not, else 0. */
QUOLSDK_C_API void quolsdk_streamplay_status_get(quolsdk_handle player, int* status);
/** Sets a property: "audio_gain", "scaling_quality", "scale_type", "audio_track"; LStreamPlay tells
 *  what each takes. Raises for a value that is no number. */
QUOLSDK_C_API void quolsdk_streamplay_set_props(quolsdk_handle player, const char* key,
                                                const char* value);
/** @} */

/** @name Mixer: many layers into one picture and one sound, a source
 *  A new mixer runs at once: 1280x720 at 50 frames a second. Layers are known by name; a function
 *  that changes a layer does nothing for a name that is not there. A source must not be destroyed
 *  before its layer has been removed or the mixer destroyed. A change shows with the next picture;
 *  two that must show together are made through the classes. */
/** @{ */
/** Makes a mixer without layers, which runs; NULL where there is no thread to be had. */
QUOLSDK_C_API quolsdk_handle quolsdk_mixer_create(void);
/** Lets go of all sources and ends the mixer; its layers go with it. */
QUOLSDK_C_API void quolsdk_mixer_destroy(quolsdk_handle mixer);
/** Adds a layer that shows a source: at the top left corner, in the source's size, opaque, without
 *  sound, z index 0. For a name that is there already everything is set back to that; with the same
 *  source the picture stays. A null source leaves a layer without a picture. The source stays the
 *  host's. */
QUOLSDK_C_API void quolsdk_mixer_add_layer(quolsdk_handle mixer, const char* name,
                                           quolsdk_handle source);
/** Takes a layer away. Once it has returned its source is not used any more. */
QUOLSDK_C_API void quolsdk_mixer_remove_layer(quolsdk_handle mixer, const char* name);
/** Puts the layer's top left corner there, pixels of the canvas, cut to whole ones; outside the
 *  canvas, below 0 too, it is not seen. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_pos(quolsdk_handle mixer, const char* name, float x,
                                               float y);
/** Scales the layer to that many pixels; 0 and below: as many as the picture has. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_size(quolsdk_handle mixer, const char* name, float width,
                                                float height);
/** Sets the layer's opacity, 0 (not seen) to 255; numbers outside count as the nearest one. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_alpha(quolsdk_handle mixer, const char* name, int alpha);
/** Shows (not 0) or hides (0) the layer, its sound included. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_visible(quolsdk_handle mixer, const char* name,
                                                   int visible);
/** Sets the stacking order, any number: higher is nearer. Equal layers lie in the order of their
 *  names. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_z_index(quolsdk_handle mixer, const char* name, int z);
/** Sets whether the layer's sound is heard (not 0), and its gain in percent; 0 and below is
 *  silence. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_audio(quolsdk_handle mixer, const char* name,
                                                 int enabled, int gain);
/** Sets the radius of the corners, percent of the layer's smaller side; 0 and below for none. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_border_radius(quolsdk_handle mixer, const char* name,
                                                         int radius);
/** Adds a downstream key: `fill` is seen where `key` is bright, or opaque where it has alpha. Both
 *  stay the host's; either may be NULL. The defaults are those of quolsdk_mixer_add_layer. */
QUOLSDK_C_API void quolsdk_mixer_add_dsk(quolsdk_handle mixer, const char* name,
                                         quolsdk_handle fill, quolsdk_handle key);
/** Adds a still image. Waits for the file to be read; one that cannot be leaves a layer without a
 *  picture. The defaults are those of quolsdk_mixer_add_layer. */
QUOLSDK_C_API void quolsdk_mixer_add_image(quolsdk_handle mixer, const char* name,
                                           const char* path);
/** Sets size, rate and pixel format of the canvas, which are copied; `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_mixer_set_video_format(quolsdk_handle mixer,
                                                  const quolsdk_video_format* format);
/** @} */

/** @name Character: titles, crawls, tickers, images and panels, a source with alpha
 *  1920x1080, 50 pictures a second, from its creation on. Scenes come from project files; single
 *  items are made through the classes. */
/** @{ */
/** Makes a character generator without items, which runs; NULL where there is no thread to be had.
 */
QUOLSDK_C_API quolsdk_handle quolsdk_character_create(void);
/** Ends the character generator; its items go with it. */
QUOLSDK_C_API void quolsdk_character_destroy(quolsdk_handle character);
/** Shows (not 0) or hides (0) an item, or a group of items, by its name; nothing for a name that is
 *  not there. */
QUOLSDK_C_API void quolsdk_character_show_item(quolsdk_handle character, const char* id, int show);
/** Takes the first item of that name away; nothing for a name that is not there. */
QUOLSDK_C_API void quolsdk_character_remove(quolsdk_handle character, const char* id);
/** Draws the scene anew at the next picture: texts with tags show what holds then. */
QUOLSDK_C_API void quolsdk_character_force_update(quolsdk_handle character);
/** Replaces the scene by that of a project file. Waits for the file to be read. One that cannot be
 *  opened leaves an empty scene and a line on the error stream. Raises for a value that is no
 *  number. */
QUOLSDK_C_API void quolsdk_character_load_from_xml(quolsdk_handle character, const char* path);
/** Writes the scene to a project file, replacing one that is there. Waits for the file to be
 *  written; one that cannot be opened is told on the error stream. */
QUOLSDK_C_API void quolsdk_character_save_to_xml(quolsdk_handle character, const char* path);
/** @} */

/** @name Switcher: a program and a preview, and the ways between them, with sound; a source
 *  The canvas is 1280x720 at 50 a second. A source must not be destroyed before it has been taken
 *  away, or the switcher destroyed. A change shows with the next picture. */
/** @{ */
/** Makes a switcher without sources, which runs; NULL where there is no thread to be had. */
QUOLSDK_C_API quolsdk_handle quolsdk_switcher_create(void);
/** Lets go of all sources and ends the switcher, an automatic transition that is under way too. */
QUOLSDK_C_API void quolsdk_switcher_destroy(quolsdk_handle switcher);
/** Puts a source on preview; NULL takes the one there away. The source stays the host's. */
QUOLSDK_C_API void quolsdk_switcher_set_preview(quolsdk_handle switcher, quolsdk_handle source);
/** Puts a source on program; NULL takes the one there away. The source stays the host's. */
QUOLSDK_C_API void quolsdk_switcher_set_program(quolsdk_handle switcher, quolsdk_handle source);
/** Cuts: program and preview change places with the next picture. */
QUOLSDK_C_API void quolsdk_switcher_cut(quolsdk_handle switcher);
/** Fades from program to preview within `duration` milliseconds; then they have changed places.
 *  Returns at once; a duration of 0 and below is as short as it can be. */
QUOLSDK_C_API void quolsdk_switcher_fade(quolsdk_handle switcher, int duration);
/** Goes from program to preview by a transition of type "wipe" with `pattern` as its parameter. No
 *  pattern has a look of its own: the picture changes at half of the `duration` (milliseconds), the
 *  sound fades. Returns at once. */
QUOLSDK_C_API void quolsdk_switcher_wipe(quolsdk_handle switcher, int duration, int pattern);
/** Puts one character generator on top, instead of those there; NULL leaves none. It must be of the
 *  character family, and stays the host's. Not from two threads at once: both would be there. */
QUOLSDK_C_API void quolsdk_switcher_set_cg(quolsdk_handle switcher, quolsdk_handle character);
/** Sets a property: "timecode", "timecodeSource", "extAudio", "scaling_quality", "scale_mode",
 *  "masterMute", "extAudioMute", "masterGain", "extAudioGain", "audioGain"; LSwitcher tells what
 *  each takes. Raises for a value that is no number. */
QUOLSDK_C_API void quolsdk_switcher_set_props(quolsdk_handle switcher, const char* key,
                                              const char* value);
/** @} */

/** @name Multiview: a control room's monitor wall, a source
 *  Two large windows, for the preview and the program, and a grid of tiles, whose rows and columns
 *  count from 1. A new one runs at once: 1920x1080 at 50 pictures a second. The sound of the
 *  program's source leaves through it. A source must not be destroyed before it has been taken out
 *  of its tiles, or the multiview destroyed. */
/** @{ */
/** Makes a multiview without sources, which runs; NULL where there is no thread to be had. */
QUOLSDK_C_API quolsdk_handle quolsdk_multiview_create(void);
/** Lets go of all sources and ends the multiview. */
QUOLSDK_C_API void quolsdk_multiview_destroy(quolsdk_handle multiview);
/** Lays the wall out; all tiles of the grid go, the large windows keep their sources. With N the
 *  grid size, `orientation` is 0 for 2N columns by N rows below the large windows, 1 for the same
 *  above them, 2 for N columns by 2N rows at their right, 3 for the same at their left; any other
 *  counts as 0. A grid size below 1 gives tiles that are not drawn. */
QUOLSDK_C_API void quolsdk_multiview_setup_grid(quolsdk_handle multiview, int orientation,
                                                int grid_size);
/** Puts a source into the preview's window; NULL for none. The source stays the host's. */
QUOLSDK_C_API void quolsdk_multiview_set_pvw_source(quolsdk_handle multiview,
                                                    quolsdk_handle source);
/** Puts a source into the program's window; NULL for none. The source stays the host's. */
QUOLSDK_C_API void quolsdk_multiview_set_pgm_source(quolsdk_handle multiview,
                                                    quolsdk_handle source);
/** Puts a source into a tile of the grid, with a label; NULL for a tile without a picture. The tile
 *  takes `span` more cells to the right and down, 0 for a single one. Its tally stays. The source
 *  stays the host's. */
QUOLSDK_C_API void quolsdk_multiview_set_grid_pos(quolsdk_handle multiview, quolsdk_handle source,
                                                  int row, int col, int span, const char* name);
/** Takes a tile away. Once it has returned its source is not used any more. */
QUOLSDK_C_API void quolsdk_multiview_remove_grid_pos(quolsdk_handle multiview, int row, int col);
/** Marks a tile red. Marks of other tiles stay: the host clears them. */
QUOLSDK_C_API void quolsdk_multiview_set_grid_pgm(quolsdk_handle multiview, int row, int col);
/** Marks a tile green. Marks of other tiles stay. */
QUOLSDK_C_API void quolsdk_multiview_set_grid_pvw(quolsdk_handle multiview, int row, int col);
/** Takes the mark off a tile. */
QUOLSDK_C_API void quolsdk_multiview_clear_tally(quolsdk_handle multiview, int row, int col);
/** Sets the label of a tile that is there; printable ASCII is shown. */
QUOLSDK_C_API void quolsdk_multiview_set_grid_name(quolsdk_handle multiview, int row, int col,
                                                   const char* name);
/** @} */

/** @name Stinger: a short clip with alpha in memory, a source
 *  It is loaded once, and each start plays it without decoding. */
/** @{ */
/** Makes a stinger without a clip. */
QUOLSDK_C_API quolsdk_handle quolsdk_stinger_create(void);
/** Gives up a load in progress, stops the playback and ends the stinger. */
QUOLSDK_C_API void quolsdk_stinger_destroy(quolsdk_handle stinger);
/** Stops, frees the clip there was, and loads another, scaled to `width` by `height` pixels with
 *  alpha, to be played at `fps` (0 and below: 25). Waits for all of it to be decoded. A path with a
 *  "%" is the pattern of an image sequence. 1 when there is at least one picture; else 0, with a
 *  line on the error stream, also for a clip that does not fit into memory. 0 on a null handle. */
QUOLSDK_C_API int quolsdk_stinger_load(quolsdk_handle stinger, const char* path, int width,
                                       int height, double fps);
/** Frees the clip; a playback ends at its next picture. */
QUOLSDK_C_API void quolsdk_stinger_clear(quolsdk_handle stinger);
/** Plays the clip once, from its first picture, anew when it plays already; does nothing without a
 *  clip. */
QUOLSDK_C_API void quolsdk_stinger_play_once(quolsdk_handle stinger);
/** Ends the playback. Waits for its thread; nothing when it does not play. */
QUOLSDK_C_API void quolsdk_stinger_stop(quolsdk_handle stinger);
/** Stores 1 while the stinger plays, else 0. */
QUOLSDK_C_API void quolsdk_stinger_status_get(quolsdk_handle stinger, int* status);
/** @} */

/** @name Animation: Lottie templates in numbered slots, a source with alpha
 *  1920x1080 at 50 a second from the first template on. A higher slot lies on top; any number is
 *  one. A slot without a template is passed over by all functions but
 *  quolsdk_animation_load_template. Calls wait for the picture in the making, and for those of
 *  other animations. */
/** @{ */
/** Makes an animation without templates. */
QUOLSDK_C_API quolsdk_handle quolsdk_animation_create(void);
/** Ends the animation; its templates go with it. */
QUOLSDK_C_API void quolsdk_animation_destroy(quolsdk_handle animation);
/** Loads a template into a slot, in place of what is there, and plays it. Waits for the file to be
 *  read. 1 when it could be; else 0, with a line on standard output, and what was there stays. 0 on
 *  a null handle, and always in a library that was built without Lottie. Raises for a value that is
 *  no number: the time of a marker. */
QUOLSDK_C_API int quolsdk_animation_load_template(quolsdk_handle animation, int slot,
                                                  const char* path);
/** Sets the text of the text layer of that name. A double quote breaks the template; the old
 *  picture stays. */
QUOLSDK_C_API void quolsdk_animation_update(quolsdk_handle animation, int slot, const char* layer,
                                            const char* text);
/** Puts an image file in the place of an image, named by its layer or as an asset. Waits for the
 *  file to be copied beside the template; where that fails the old image stays. */
QUOLSDK_C_API void quolsdk_animation_update_image(quolsdk_handle animation, int slot,
                                                  const char* name, const char* path);
/** Sets a colour of a layer, "#RRGGBB"; `color2` makes a gradient of it, `param` names a property.
 *  Both may be NULL or empty. Nothing happens for fewer than six digits. Raises for a value that is
 *  no number: digits that are none. */
QUOLSDK_C_API void quolsdk_animation_update_color(quolsdk_handle animation, int slot,
                                                  const char* layer, const char* color,
                                                  const char* color2, const char* param);
/** Sets the marker "IN", "LOOP", "STOP" or "OUT" to a frame of the template; below 0 there is none.
 *  Other names are ignored. */
QUOLSDK_C_API void quolsdk_animation_add_marker(quolsdk_handle animation, int slot,
                                                const char* name, int frame);
/** Goes on from where the template is. */
QUOLSDK_C_API void quolsdk_animation_play(quolsdk_handle animation, int slot);
/** Leaves through OUT, or plays to the end; then the slot is empty. Returns at once. */
QUOLSDK_C_API void quolsdk_animation_stop(quolsdk_handle animation, int slot);
/** Leaves through OUT; without one the slot is empty at once. Returns at once. */
QUOLSDK_C_API void quolsdk_animation_close(quolsdk_handle animation, int slot);
/** @} */

/** @name Output: a source to a device, a sink
 *  Devices stand in one table: the DeckLink cards that can play, then NDI, then VTP. Numbers shift
 *  when cards come or go; cards are known once quolsdk_output_device_get_count was asked. */
/** @{ */
/** Makes an output on device 0, stopped. */
QUOLSDK_C_API quolsdk_handle quolsdk_output_create(void);
/** Stops the device, leaves the source, which must still be there, and ends the output. Waits as
 *  quolsdk_output_stop does. */
QUOLSDK_C_API void quolsdk_output_destroy(quolsdk_handle output);
/** Looks for cards and counts the devices: the cards and two. A null pointer ends the call: nothing
 *  is looked for. */
QUOLSDK_C_API void quolsdk_output_device_get_count(quolsdk_handle output, int* count);
/** Returns the name of a device and its description; both empty for one that is not there. */
QUOLSDK_C_API void quolsdk_output_device_get_by_index(quolsdk_handle output, int device, char* name,
                                                      int32_t name_size, char* description,
                                                      int32_t description_size);
/** Selects a device by its number. An output that was started goes over to it; one that is not
 *  there puts out nothing. */
QUOLSDK_C_API void quolsdk_output_device_set(quolsdk_handle output, int device);
/** Counts the connectors of a device: a card's, else 1; 0 for one that is not there. A null pointer
 *  ends the call. */
QUOLSDK_C_API void quolsdk_output_device_channel_get_count(quolsdk_handle output, int device,
                                                           int* count);
/** Returns the name of a connector; empty for one that is not there. */
QUOLSDK_C_API void quolsdk_output_device_channel_get_by_index(quolsdk_handle output, int device,
                                                              int channel, char* name,
                                                              int32_t name_size);
/** Selects a connector of the selected device. A card that runs changes over at once. */
QUOLSDK_C_API void quolsdk_output_device_channel_set(quolsdk_handle output, int channel);
/** Counts the picture formats of a device; the channel plays no part. A card is asked anew, and
 *  must have been before one of its formats can be used. A null pointer ends the call. */
QUOLSDK_C_API void quolsdk_output_format_get_count(quolsdk_handle output, int device, int channel,
                                                   int* count);
/** Returns the name of a picture format; empty for one that is not there. */
QUOLSDK_C_API void quolsdk_output_format_get_by_index(quolsdk_handle output, int device,
                                                      int channel, int format, char* name,
                                                      int32_t name_size);
/** Selects a picture format of the selected device: size and rate of what goes out. A card or a VTP
 *  sender that runs is started anew; with a format that is not there nothing goes out. */
QUOLSDK_C_API void quolsdk_output_format_set(quolsdk_handle output, int format);
/** Starts the selected device; when it cannot be started the error stream tells. Nothing when it
 *  was started already, or when the number chosen is no device's. */
QUOLSDK_C_API void quolsdk_output_start(quolsdk_handle output);
/** Stops the device. Waits for the pictures that are queued to go out, six at the most. */
QUOLSDK_C_API void quolsdk_output_stop(quolsdk_handle output);
/** Sets what to put out, at once; NULL for nothing. The source stays the host's and must outlive
 *  the output, or be taken away with NULL before it goes. */
QUOLSDK_C_API void quolsdk_output_set_source(quolsdk_handle output, quolsdk_handle source);
/** Sets a property: "enabled", "stream_name", "NDI.color_format", "DeckLink.color_format",
 *  "scaling_quality", "timecode", "timecode_format", "audio_gain", "vtp_interface", "vtp_secret";
 *  LOutput tells what each takes. Raises for a value that is no number. */
QUOLSDK_C_API void quolsdk_output_set_props(quolsdk_handle output, const char* key,
                                            const char* value);
/** @} */

/** @name Recorder: a source into a movie file, a sink
 *  An mp4 of H.264 at 5000 kbit/s and stereo AAC at 128 kbit/s. What is set counts from the next
 *  start. */
/** @{ */
/** Makes a recorder without a source, idle. */
QUOLSDK_C_API quolsdk_handle quolsdk_recorder_create(void);
/** Stops the recorder and ends it; the source must still be there. */
QUOLSDK_C_API void quolsdk_recorder_destroy(quolsdk_handle recorder);
/** Sets what to record, from the next start on; NULL for nothing. The source stays the host's and
 *  must outlive the recording. */
QUOLSDK_C_API void quolsdk_recorder_set_source(quolsdk_handle recorder, quolsdk_handle source);
/** Names the file to write; an existing one is replaced. */
QUOLSDK_C_API void quolsdk_recorder_file_name_set(quolsdk_handle recorder, const char* path);
/** Starts a recording; nothing while one runs. Waits for encoders and file to be opened. Whether it
 *  could is told by quolsdk_recorder_status_get, and why not by the error stream. */
QUOLSDK_C_API void quolsdk_recorder_start(quolsdk_handle recorder);
/** Ends the recording, finishes the file and leaves the source. Waits for what is queued to be
 *  encoded; nothing when idle. */
QUOLSDK_C_API void quolsdk_recorder_stop(quolsdk_handle recorder);
/** Pauses (other than 0) or goes on (0); the file goes on without a gap. */
QUOLSDK_C_API void quolsdk_recorder_pause(quolsdk_handle recorder, int pause);
/** Stores 1 while it records, paused included, else 0. A recording ends by itself after
 *  "durationMs", and when the disk is full or cannot be written. */
QUOLSDK_C_API void quolsdk_recorder_status_get(quolsdk_handle recorder, int* status);
/** Adds encoder options, "key=value key=value"; a word alone gets the value "1". An equal key is
 *  replaced, the empty text adds none. */
QUOLSDK_C_API void quolsdk_recorder_custom_set(quolsdk_handle recorder, const char* options);
/** Stores how the recording stands: size of the file in bytes, seconds recorded, pictures written,
 *  pictures dropped, and returns the path of the file. Each pointer may be NULL. */
QUOLSDK_C_API void quolsdk_recorder_get_stats(quolsdk_handle recorder, int64_t* file_size,
                                              double* seconds, int* frames_written,
                                              int* frames_dropped, char* path, int32_t path_size);
/** Sets a property: "durationMs", "play_while_rec", "timecode", "timecodeSource", "timecodeStart",
 *  "scaling_quality"; LRecorder tells what each takes. Raises for a value that is no number. */
QUOLSDK_C_API void quolsdk_recorder_set_props(quolsdk_handle recorder, const char* key,
                                              const char* value);
/** Sets the picture format of the file, which is copied; `format` must not be NULL. Mode 1, and
 *  what is missing in others, takes the source's. */
QUOLSDK_C_API void quolsdk_recorder_set_video_format(quolsdk_handle recorder,
                                                     const quolsdk_video_format* format);
/** Stores a sound format, which is copied; `format` must not be NULL. The file's sound is 48 kHz
 *  stereo whatever it says. */
QUOLSDK_C_API void quolsdk_recorder_set_audio_format(quolsdk_handle recorder,
                                                     const quolsdk_audio_format* format);
/** @} */

/** @name Stream: a source live to a network address, a sink
 *  H.264 at 4000 kbit/s and stereo AAC at 128 kbit/s, in size and rate of the source. */
/** @{ */
/** Makes a stream without a source, idle. */
QUOLSDK_C_API quolsdk_handle quolsdk_stream_create(void);
/** Stops the stream and ends it; the source must still be there. */
QUOLSDK_C_API void quolsdk_stream_destroy(quolsdk_handle stream);
/** Sets where to, without the key: "rtmp://host/application", or any address that FFmpeg writes to.
 *  Counts from the next start. */
QUOLSDK_C_API void quolsdk_stream_url_set(quolsdk_handle stream, const char* url);
/** Sets the name of the stream, which goes behind the URL and a "/"; empty for none. Counts from
 *  the next start. */
QUOLSDK_C_API void quolsdk_stream_key_set(quolsdk_handle stream, const char* key);
/** Reaches the address and starts. Waits for it, five seconds at the most. 0 when it streams
 *  already, has no source, could not, or is stopped meanwhile, and on a null handle; the error
 *  stream tells. */
QUOLSDK_C_API int quolsdk_stream_start(quolsdk_handle stream);
/** Ends the stream and leaves the source. Waits for what is queued, a second at the most, but for a
 *  file as the address or a local copy, for which all of it is encoded first. From another thread
 *  it also ends a start that still waits for its server. */
QUOLSDK_C_API void quolsdk_stream_stop(quolsdk_handle stream);
/** Stores 1 while it streams, else 0. It streams, into nothing, also when the connection has
 *  broken. */
QUOLSDK_C_API void quolsdk_stream_status_get(quolsdk_handle stream, int* status);
/** Sets what to stream, from the next start on; NULL for nothing. The source stays the host's and
 *  must outlive the stream. */
QUOLSDK_C_API void quolsdk_stream_object(quolsdk_handle stream, quolsdk_handle source);
/** Sets an option of the video encoder for the next start, as "preset", "tune", "g" or "b", or
 *  "bitrate_mode", constant unless it is set to other than "cbr". An empty value leaves an option
 * to the encoder, of "bitrate_mode" it is other than "cbr"; what the encoder does not know goes to
 * the protocol. */
QUOLSDK_C_API void quolsdk_stream_set_props(quolsdk_handle stream, const char* key,
                                            const char* value);
/** @} */

/** @name Instant replay: records what it is given and plays any part of it meanwhile
 *  A sink and a source; as a sink it is attached by the classes, `source->addSink(replay)`, for
 *  which the handle is an `LObject*` that is an `LReplay`. It plays 1920x1080 at 50 pictures a
 *  second and records in the size that comes in. A new one stands still (trim mode), at speed 1.
 *  Frames count from 0. */
/** @{ */
/** Makes a replay without a recording. */
QUOLSDK_C_API quolsdk_handle quolsdk_replay_create(void);
/** Ends the replay; the files stay. Take it away from its source and its sinks before. */
QUOLSDK_C_API void quolsdk_replay_destroy(quolsdk_handle replay);
/** Sets the folder, which must exist, and the beginning of the names of the files that the next
 *  recording writes, "./" and "replay" unless set; empty texts are these two. */
QUOLSDK_C_API void quolsdk_replay_set_record_path(quolsdk_handle replay, const char* path,
                                                  const char* name);
/** Sets folder and base name of exports without a file name: "/tmp/" and "export" unless set. The
 *  property "name" of the classes, where it is set, takes the place of the base name. */
QUOLSDK_C_API void quolsdk_replay_set_export_path(quolsdk_handle replay, const char* path,
                                                  const char* name);
/** Begins to record. 1, or 0 when the files cannot be made, and on a null handle. Clear between two
 *  recordings; while it records it begins anew. */
QUOLSDK_C_API int quolsdk_replay_start_recording(quolsdk_handle replay);
/** Ends the recording; what is stored can be played on. */
QUOLSDK_C_API void quolsdk_replay_stop_recording(quolsdk_handle replay);
/** Ends the recording, forgets everything and removes the files. */
QUOLSDK_C_API void quolsdk_replay_clear_recording(quolsdk_handle replay);
/** Plays at the speed set. */
QUOLSDK_C_API void quolsdk_replay_play(quolsdk_handle replay);
/** Stands still where it is. */
QUOLSDK_C_API void quolsdk_replay_pause(quolsdk_handle replay);
/** Shows the newest picture, and each one that comes. */
QUOLSDK_C_API void quolsdk_replay_set_mode_live(quolsdk_handle replay);
/** Stands still and takes seeks and steps. */
QUOLSDK_C_API void quolsdk_replay_set_mode_trim(quolsdk_handle replay);
/** Sets the speed: 1.0 as recorded, below 0 backward; what is no number counts as 0. Does not start
 *  to play; leaves live mode. */
QUOLSDK_C_API void quolsdk_replay_set_speed(quolsdk_handle replay, double speed);
/** Goes to a frame, the nearest one there is, and leaves live mode. */
QUOLSDK_C_API void quolsdk_replay_pos_set(quolsdk_handle replay, int frame);
/** Goes to the frame nearest to that time, in milliseconds since the first one, and leaves live
 *  mode. */
QUOLSDK_C_API void quolsdk_replay_pos_set_ms(quolsdk_handle replay, double milliseconds);
/** Goes to the last frame of exactly that time code and leaves live mode; without one nothing
 *  happens. */
QUOLSDK_C_API void quolsdk_replay_pos_set_tc(quolsdk_handle replay, const char* timecode);
/** Goes so many frames on, to the last one at the most, and leaves live mode. */
QUOLSDK_C_API void quolsdk_replay_step_forward(quolsdk_handle replay, int frames);
/** Goes so many frames back, to the first one at the most, and leaves live mode. */
QUOLSDK_C_API void quolsdk_replay_step_backward(quolsdk_handle replay, int frames);
/** Tells how many frames are stored. 0 on a null handle. */
QUOLSDK_C_API int quolsdk_replay_total_frames_get(quolsdk_handle replay);
/** Tells the position, in frames. 0 on a null handle. */
QUOLSDK_C_API int quolsdk_replay_current_frame_get(quolsdk_handle replay);
/** Tells the time of the last frame stored, milliseconds. 0.0 when empty, and on a null handle. */
QUOLSDK_C_API double quolsdk_replay_duration_get(quolsdk_handle replay);
/** Tells the time at the position, milliseconds. 0.0 when empty, and on a null handle. */
QUOLSDK_C_API double quolsdk_replay_pos_ms_get(quolsdk_handle replay);
/** Returns the time code at the position, "hh:mm:ss:ff"; "00:00:00:00" when empty. */
QUOLSDK_C_API void quolsdk_replay_timecode_get(quolsdk_handle replay, char* timecode,
                                               int32_t timecode_size);
/** Writes the frames from `first` to `last`, both included, into a movie, as they are stored; its
 *  ending says which container. Numbers outside are the nearest ones inside, reversed ones are
 *  swapped. An empty name is made of the export path, the base name and the times. Waits for the
 *  whole movie to be written; the recording goes on. 1, or 0 on a null handle, when nothing is
 *  stored, when the file cannot be written or is one of the recording's own, a pipe or a device,
 *  when the disk gets full, when memory is short, and when the recording is cleared or begun anew
 *  meanwhile. */
QUOLSDK_C_API int quolsdk_replay_export_range(quolsdk_handle replay, int first, int last,
                                              const char* path);
/** Writes the frames between two times, in milliseconds, into a movie; else as
 *  quolsdk_replay_export_range. */
QUOLSDK_C_API int quolsdk_replay_export_range_ms(quolsdk_handle replay, double first_ms,
                                                 double last_ms, const char* path);
/** @} */

/** @name Preview: a source in a window of the host, a sink
 *  It shows nothing until the property "ui_framework" has chosen what draws; every setting waits
 *  until then. With "qt" and "gtk" quolsdk_preview_enable belongs on the toolkit's thread, and so
 *  does "ui_framework" where it comes behind that. */
/** @{ */
/** Makes a preview without a window. */
QUOLSDK_C_API quolsdk_handle quolsdk_preview_create(void);
/** Leaves the source, which must still be there, and the window, and ends the preview. */
QUOLSDK_C_API void quolsdk_preview_destroy(quolsdk_handle preview);
/** Shows the source in a window from now on: an XID as a pointer, a `QWidget*` where "ui_framework"
 *  is "qt", a `GtkWidget*` where it is "gtk". `audio` other than 0 plays the sound, `video` 0 takes
 *  no pictures. The window stays the host's, which may resize, hide or destroy it at any time. */
QUOLSDK_C_API void quolsdk_preview_enable(quolsdk_handle preview, void* native_window, int audio,
                                          int video);
/** Sets the source to show, NULL for none. The source stays the host's and must outlive the
 *  preview, or be taken from it before. */
QUOLSDK_C_API void quolsdk_preview_object(quolsdk_handle preview, quolsdk_handle source);
/** Sets a property: "ui_framework", "audio", "audio_enabled", "mute", "name", "status",
 *  "audio_meter", "maintain_ar", "scale_type", "border", "borderColor", "border_color",
 *  "timecode.preview", "preview_background"; LPreview tells what each takes. None raises. */
QUOLSDK_C_API void quolsdk_preview_set_props(quolsdk_handle preview, const char* key,
                                             const char* value);
/** Sets the status, which colours border and label: "program", "record", "preview", "live", "trim"
 *  and "ready" have a colour, any other text has none. */
QUOLSDK_C_API void quolsdk_preview_set_status(quolsdk_handle preview, const char* status);
/** Sets the text of the label; empty for no label. */
QUOLSDK_C_API void quolsdk_preview_set_name(quolsdk_handle preview, const char* name);
/** Frees the pictures that wait; the one that is shown stays. */
QUOLSDK_C_API void quolsdk_preview_clear(quolsdk_handle preview);
/** Plays the sound (other than 0) or does not (0). */
QUOLSDK_C_API void quolsdk_preview_set_audio(quolsdk_handle preview, int enabled);
/** Mutes the sound (other than 0) or plays it (0): the opposite of quolsdk_preview_set_audio. */
QUOLSDK_C_API void quolsdk_preview_mute(quolsdk_handle preview, int muted);
/** @} */

/** @name Convert: media files, joined, into one new file
 *  It stands beside the graph. The file is an mp4 of 1920x1080 at 25 pictures a second, H.264 of
 *  15000 kbit/s and stereo AAC of 128 kbit/s at 48 kHz. What is set while it converts is for the
 *  next start. */
/** @{ */
/** Makes a converter without files, idle. */
QUOLSDK_C_API quolsdk_handle quolsdk_convert_create(void);
/** Stops the converter and ends it. Waits as quolsdk_convert_stop does. */
QUOLSDK_C_API void quolsdk_convert_destroy(quolsdk_handle convert);
/** Names the file to write. An existing one is replaced, unless it is one of the inputs. */
QUOLSDK_C_API void quolsdk_convert_set_file_path(quolsdk_handle convert, const char* path);
/** Puts a file behind those to be joined; one may be there twice, and one that cannot be read is
 *  left out of the conversion. */
QUOLSDK_C_API void quolsdk_convert_add_input_file(quolsdk_handle convert, const char* path);
/** Empties the list of files to be joined. */
QUOLSDK_C_API void quolsdk_convert_clear_input_files(quolsdk_handle convert);
/** Starts the conversion. 1, or 0 while it is converting, without a path or a file to convert, and
 *  on a null handle. Whether the output could be opened is told by quolsdk_convert_status_get. */
QUOLSDK_C_API int quolsdk_convert_start(quolsdk_handle convert);
/** Ends the conversion where it is; the file can be played as far as it goes, but one that is
 *  stopped before its first picture may be unreadable. Waits for the encoder to be closed: a second
 *  with quick presets, up to half a minute with the slowest. Nothing when idle. */
QUOLSDK_C_API void quolsdk_convert_stop(quolsdk_handle convert);
/** Stores 0 when idle or finished, 1 while converting, -1 when the output could not be opened. */
QUOLSDK_C_API void quolsdk_convert_status_get(quolsdk_handle convert, int* status);
/** Tells how far it is, 0.0 to 1.0, never going back; 1.0 when it has ended, but 0.0 where the
 * output could not be opened. Where no input tells its duration: seconds of the current file, up
 * to 1.0. 0.0 on a null handle. */
QUOLSDK_C_API double quolsdk_convert_progress_get(quolsdk_handle convert);
/** Sets an option of the video encoder, for the next start: "preset", "tune", "g", "bf". Other keys
 *  are ignored, none raises; a value that the encoder refuses fails the conversion. */
QUOLSDK_C_API void quolsdk_convert_set_props(quolsdk_handle convert, const char* key,
                                             const char* value);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

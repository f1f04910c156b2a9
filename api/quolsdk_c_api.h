/**
 * @file
 * The flat C interface of libquolsdk. One header, C99 and C++.
 *
 * @section handles Handles
 * A handle stands for one object. `quolsdk_<family>_create` makes it, the host owns it, and
 * `quolsdk_<family>_destroy` ends it, stopping its threads first. Where an argument is called a
 * source, the handle of any source family may be given. Connections never own: stop sinks first,
 * then sources, and destroy neither while the other still uses it.
 *
 * @section null Null and bad values
 * A null handle makes a function return at once, with 0, 0.0 or the value its text names, and
 * without writing to any output. A null text counts as the empty text. Texts are copied, byte for
 * byte, before a call returns. A null pointer for a result skips that result.
 *
 * @section texts Texts returned
 * Into a buffer and its size in bytes: at most size - 1 bytes and a terminating zero. A longer text
 * is cut without notice. A null buffer, or a size below 1, writes nothing.
 *
 * @section threads Threads
 * The layer adds no lock. Any function may be called from any thread unless its text says
 * otherwise, but no call may run beside, or after, the `destroy` of its handle.
 *
 * @section errors Errors
 * Functions with a result of 0 or 1 answer 1 for success. Property values that should be numbers
 * and are not raise a C++ exception (std::invalid_argument, std::out_of_range), which passes
 * through these functions: a host in C checks its values before.
 *
 * @section units Units
 * Positions and durations are milliseconds as doubles, rates frames per second.
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

/** Picture format; the fields of videoFormatProps in the same order. */
typedef struct quolsdk_video_format {
    uint32_t mode;       /**< row of the video mode table; 0 custom (a file player puts the file's
                              size and rate in its place when it opens), 1 native */
    int32_t width;       /**< pixels; filled in by the caller for mode 0 */
    int32_t height;      /**< pixels; filled in by the caller for mode 0 */
    double fps;          /**< frames per second; filled in by the caller for mode 0 */
    int32_t pixelFormat; /**< row of the pixel format table; 0 leaves the format untouched */
} quolsdk_video_format;

/** Sound format; the fields of audioFormatProps in the same order. */
typedef struct quolsdk_audio_format {
    uint32_t mode;         /**< row of the audio mode table; 0 custom, 1 native */
    int32_t bitsPerSample; /**< 16, 24, or -32 for 32-bit floating point */
    int32_t sampleRate;    /**< Hz */
    int32_t channels;      /**< channel count */
} quolsdk_audio_format;

/** @name Library
 *  Static texts, never to be freed. */
/** @{ */
QUOLSDK_C_API const char* quolsdk_get_version(void); /**< "0.1.1" */
QUOLSDK_C_API const char* quolsdk_get_author(void);  /**< the author's name */
QUOLSDK_C_API const char* quolsdk_get_company(void); /**< the company's name */
/** @} */

/** @name Signal: a constant picture, a source
 *  A new signal is 1280x720 black at 50 frames a second. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_signal_create(void);         /**< a new, stopped signal */
QUOLSDK_C_API void quolsdk_signal_destroy(quolsdk_handle signal); /**< stops and ends it */
/** Shows a colour, "#RRGGBB", and drops the image. A text of any other shape is black; pairs that
 *  are no hexadecimal numbers give no picture until the next change. */
QUOLSDK_C_API void quolsdk_signal_set_color(quolsdk_handle signal, const char* color);
/** Shows a still image file; the empty text goes back to the colour. */
QUOLSDK_C_API void quolsdk_signal_set_image(quolsdk_handle signal, const char* path);
/** Starts the signal. 1, also when it runs already; 0 on a null handle. */
QUOLSDK_C_API int quolsdk_signal_start(quolsdk_handle signal);
/** Stops it and waits for its thread. */
QUOLSDK_C_API void quolsdk_signal_stop(quolsdk_handle signal);
/** @} */

/** @name File: a media file or image sequence, a source */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_file_create(void);       /**< a new player, closed */
QUOLSDK_C_API void quolsdk_file_destroy(quolsdk_handle file); /**< stops and ends it */
/** Names the file to play; a "%" makes it the pattern of an image sequence. Another name stops
 *  what plays. */
QUOLSDK_C_API void quolsdk_file_name_set(quolsdk_handle file, const char* path);
/** Opens and plays, or resumes. Whether the file could be opened is told by
 *  quolsdk_file_status_get. */
QUOLSDK_C_API void quolsdk_file_play(quolsdk_handle file);
/** Pauses; a delay above 0 (milliseconds) lets the pause end by itself. */
QUOLSDK_C_API void quolsdk_file_pause(quolsdk_handle file, double delay_ms);
/** Goes on after a pause. */
QUOLSDK_C_API void quolsdk_file_resume(quolsdk_handle file);
/** Stops, waits for the thread and closes the file. */
QUOLSDK_C_API void quolsdk_file_stop(quolsdk_handle file);
/** Position of the latest picture, milliseconds; 0.0 with no file or picture. */
QUOLSDK_C_API double quolsdk_file_pos_get(quolsdk_handle file);
/** Jumps to a position, milliseconds; a paused file runs on. */
QUOLSDK_C_API void quolsdk_file_pos_set(quolsdk_handle file, double pos_ms);
/** Duration, milliseconds; 0.0 when closed or not known. */
QUOLSDK_C_API double quolsdk_file_duration_get(quolsdk_handle file);
/** Rate of the output: the format's, else the file's, else 25.0. */
QUOLSDK_C_API double quolsdk_file_fps_get(quolsdk_handle file);
/** 1 while playing, paused or holding the last picture, else 0. */
QUOLSDK_C_API void quolsdk_file_status_get(quolsdk_handle file, int* status);
/** Sets a property: "loop", "rate", "speed", "scale_type", "scaling_quality", "deinterlace",
 *  "eof_hold", "timecodeSource", "audio_gain", "audio_track", "gpu". Unknown keys are ignored. */
QUOLSDK_C_API void quolsdk_file_set_props(quolsdk_handle file, const char* key, const char* value);
/** Output picture format; `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_file_set_video_format(quolsdk_handle file,
                                                 const quolsdk_video_format* format);
/** Output sound format; `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_file_set_audio_format(quolsdk_handle file,
                                                 const quolsdk_audio_format* format);
/** Playback rate, 1.0 being normal; takes effect with the next picture. */
QUOLSDK_C_API void quolsdk_file_rate_set(quolsdk_handle file, double rate);
/** The playback rate; 1.0 on a null handle. */
QUOLSDK_C_API double quolsdk_file_rate_get(quolsdk_handle file);
/** Sets the in and out point, milliseconds; an out point of 0 is none. */
QUOLSDK_C_API void quolsdk_file_in_out_set(quolsdk_handle file, double in_ms, double out_ms);
/** In point, out point and duration, milliseconds. */
QUOLSDK_C_API void quolsdk_file_in_out_get(quolsdk_handle file, double* in_ms, double* out_ms,
                                           double* duration_ms);
/** Time code of the position; "00:00:00:00" for a file that carries none. */
QUOLSDK_C_API void quolsdk_file_timecode_get(quolsdk_handle file, char* buffer, int32_t size);
QUOLSDK_C_API int quolsdk_file_get_width(quolsdk_handle file);  /**< pixels; 0 before `play` */
QUOLSDK_C_API int quolsdk_file_get_height(quolsdk_handle file); /**< pixels; 0 before `play` */
/** @} */

/** @name Reader: questions about a media file
 *  A reader belongs to one thread at a time. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_reader_create(void);         /**< a new reader, closed */
QUOLSDK_C_API void quolsdk_reader_destroy(quolsdk_handle reader); /**< closes and ends it */
/** Opens a file, closing the one before. 1 for a media file, else 0. */
QUOLSDK_C_API int quolsdk_reader_open(quolsdk_handle reader, const char* path);
QUOLSDK_C_API void quolsdk_reader_close(quolsdk_handle reader);          /**< closes the file */
QUOLSDK_C_API double quolsdk_reader_duration_get(quolsdk_handle reader); /**< milliseconds */
/** Average frame rate; 0.0 with no file or no picture. */
QUOLSDK_C_API double quolsdk_reader_fps_get(quolsdk_handle reader);
QUOLSDK_C_API int64_t quolsdk_reader_width_get(quolsdk_handle reader);    /**< pixels */
QUOLSDK_C_API int64_t quolsdk_reader_height_get(quolsdk_handle reader);   /**< pixels */
QUOLSDK_C_API int64_t quolsdk_reader_file_len_get(quolsdk_handle reader); /**< bytes */
/** Name of the picture's decoder, or "Unknown". */
QUOLSDK_C_API void quolsdk_reader_video_codec_get(quolsdk_handle reader, char* buffer,
                                                  int32_t size);
/** Name of the sound's decoder, or "Unknown". */
QUOLSDK_C_API void quolsdk_reader_audio_codec_get(quolsdk_handle reader, char* buffer,
                                                  int32_t size);
/** Short name of the container's format, or "Unknown". */
QUOLSDK_C_API void quolsdk_reader_container_get(quolsdk_handle reader, char* buffer, int32_t size);
QUOLSDK_C_API int64_t quolsdk_reader_bitrate_get(quolsdk_handle reader);       /**< bits a second */
QUOLSDK_C_API int64_t quolsdk_reader_audio_bitrate_get(quolsdk_handle reader); /**< bits a second */
QUOLSDK_C_API int64_t quolsdk_reader_audio_channels_get(quolsdk_handle reader); /**< count */
/** @} */

/** @name Live: a card, an NDI source, a VTP sender or the test signal, a source
 *  Devices, channels and formats are numbered from 0; numbers outside a list give empty texts and
 *  change nothing. Ask for the count before the rows of a list. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_live_create(void);       /**< a new input, nothing chosen */
QUOLSDK_C_API void quolsdk_live_destroy(quolsdk_handle live); /**< stops and ends it */
/** Looks for cards and counts the devices: the cards first, then "NDI Receiver", "VTP Receiver" and
 *  "Test Signal". */
QUOLSDK_C_API void quolsdk_live_device_get_count(quolsdk_handle live, int* count);
/** Name and description of a device. */
QUOLSDK_C_API void quolsdk_live_device_get_by_index(quolsdk_handle live, int index, char* name,
                                                    int32_t name_size, char* identifier,
                                                    int32_t identifier_size);
/** Chooses a device; no channel is chosen then. */
QUOLSDK_C_API void quolsdk_live_device_set(quolsdk_handle live, int index);
/** Counts the channels of a device: a card's connectors, the sources on the network. Waits 100 ms
 *  for NDI. */
QUOLSDK_C_API void quolsdk_live_device_channel_get_count(quolsdk_handle live, int device,
                                                         int* count);
/** Name of a channel. */
QUOLSDK_C_API void quolsdk_live_device_channel_get_by_index(quolsdk_handle live, int device,
                                                            int index, char* name,
                                                            int32_t name_size);
/** Chooses a channel of the chosen device. */
QUOLSDK_C_API void quolsdk_live_device_channel_set(quolsdk_handle live, int index);
/** Counts the picture formats of a device. */
QUOLSDK_C_API void quolsdk_live_format_get_count(quolsdk_handle live, int device, int channel,
                                                 int* count);
/** Name of a picture format. */
QUOLSDK_C_API void quolsdk_live_format_get_by_index(quolsdk_handle live, int device, int channel,
                                                    int index, char* name, int32_t name_size);
/** Chooses a picture format of a card, for the next start; 0 follows the signal. */
QUOLSDK_C_API void quolsdk_live_format_set(quolsdk_handle live, int index);
/** Starts the chosen device, anew when it runs already. */
QUOLSDK_C_API void quolsdk_live_start(quolsdk_handle live);
/** Stops it and waits for its threads. */
QUOLSDK_C_API void quolsdk_live_stop(quolsdk_handle live);
/** Sets a property: "timecode", "timecodeSource", "timecodeStart", "ndi_bandwidth", "gpu",
 *  "audio_gain", "vtp_interface", "vtp_secret". Unknown keys are ignored. */
QUOLSDK_C_API void quolsdk_live_set_props(quolsdk_handle live, const char* key, const char* value);
/** Picture format wanted; `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_live_set_video_format(quolsdk_handle live,
                                                 const quolsdk_video_format* format);
/** Sound format wanted; `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_live_set_audio_format(quolsdk_handle live,
                                                 const quolsdk_audio_format* format);
/** @} */

/** @name Stream player: a network stream, a source
 *  Pictures and sound of an address, live. What breaks off or cannot be opened is tried again once
 *  a second for as long as the player runs. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_streamplay_create(void); /**< a new, stopped player */
/** Stops it and ends it. */
QUOLSDK_C_API void quolsdk_streamplay_destroy(quolsdk_handle player);
/** Sets the address, "rtmp://server/app/key" and whatever else FFmpeg opens. Another address stops
 *  what plays, and does not start it again. */
QUOLSDK_C_API void quolsdk_streamplay_url_set(quolsdk_handle player, const char* url);
/** Starts; nothing without an address or while it plays. An address that does not answer yet is
 *  waited for. */
QUOLSDK_C_API void quolsdk_streamplay_play(quolsdk_handle player);
/** Stops and waits for the thread, a second at the most. */
QUOLSDK_C_API void quolsdk_streamplay_stop(quolsdk_handle player);
/** 1 between play and stop, whether anything comes or not, else 0. */
QUOLSDK_C_API void quolsdk_streamplay_status_get(quolsdk_handle player, int* status);
/** Sets a property: "audio_gain", "scaling_quality", "scale_type", "audio_track". Unknown keys are
 *  ignored. */
QUOLSDK_C_API void quolsdk_streamplay_set_props(quolsdk_handle player, const char* key,
                                                const char* value);
/** @} */

/** @name Mixer: many layers into one picture and one sound, a source
 *  A new mixer runs at once: 1280x720 at 50 frames a second. Layers are known by name; a function
 *  that changes a layer does nothing for a name that is not there. A source must not be destroyed
 *  before its layer has been removed or the mixer destroyed. */
/** @{ */
/** A new mixer, running; null where there is no thread or no memory to be had. */
QUOLSDK_C_API quolsdk_handle quolsdk_mixer_create(void);
QUOLSDK_C_API void quolsdk_mixer_destroy(quolsdk_handle mixer); /**< ends it; layers go with it */
/** Adds a layer that shows a source: at the top left corner, in the source's size, opaque, without
 *  sound, z index 0. For a name that is there already everything is set back to that; with the same
 *  source the picture stays. A null source leaves a layer without a picture. */
QUOLSDK_C_API void quolsdk_mixer_add_layer(quolsdk_handle mixer, const char* name,
                                           quolsdk_handle source);
/** Takes a layer away. Once it has returned its source is not used any more. */
QUOLSDK_C_API void quolsdk_mixer_remove_layer(quolsdk_handle mixer, const char* name);
/** Puts the layer's top left corner there, pixels of the canvas, cut to whole ones. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_pos(quolsdk_handle mixer, const char* name, float x,
                                               float y);
/** Scales the layer to that many pixels; 0 and below: as many as the picture has. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_size(quolsdk_handle mixer, const char* name, float width,
                                                float height);
/** Opacity, 0 to 255. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_alpha(quolsdk_handle mixer, const char* name, int alpha);
/** Shows (not 0) or hides (0) the layer, its sound included. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_visible(quolsdk_handle mixer, const char* name,
                                                   int visible);
/** Stacking order: higher is nearer. Equal layers lie in the order of their names. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_z_index(quolsdk_handle mixer, const char* name, int z);
/** Whether the layer's sound is heard (not 0), and its gain in percent; 0 and below is silence. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_audio(quolsdk_handle mixer, const char* name,
                                                 int enabled, int gain);
/** Radius of the corners, percent of the layer's smaller side. */
QUOLSDK_C_API void quolsdk_mixer_set_layer_border_radius(quolsdk_handle mixer, const char* name,
                                                         int radius);
/** Adds a downstream key: `fill` is seen where `key` is bright, or opaque where it has alpha. The
 *  defaults are those of quolsdk_mixer_add_layer. */
QUOLSDK_C_API void quolsdk_mixer_add_dsk(quolsdk_handle mixer, const char* name,
                                         quolsdk_handle fill, quolsdk_handle key);
/** Adds a still image, read before this returns; one that cannot be read leaves a layer without a
 *  picture. The defaults are those of quolsdk_mixer_add_layer. */
QUOLSDK_C_API void quolsdk_mixer_add_image(quolsdk_handle mixer, const char* name,
                                           const char* path);
/** Size, rate and pixel format of the canvas; `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_mixer_set_video_format(quolsdk_handle mixer,
                                                  const quolsdk_video_format* format);
/** @} */

/** @name Character: titles, crawls, tickers, images and panels, a source with alpha
 *  1920x1080, 50 pictures a second, from its creation on. */
/** @{ */
/** A new, empty one; null where there is no thread or no memory to be had. */
QUOLSDK_C_API quolsdk_handle quolsdk_character_create(void);
QUOLSDK_C_API void quolsdk_character_destroy(quolsdk_handle character); /**< ends it */
/** Shows (not 0) or hides (0) an item, or a group of items, by its name. */
QUOLSDK_C_API void quolsdk_character_show_item(quolsdk_handle character, const char* id, int show);
/** Takes the first item of that name away. */
QUOLSDK_C_API void quolsdk_character_remove(quolsdk_handle character, const char* id);
/** Draws the scene anew at the next picture: texts with tags show what holds then. */
QUOLSDK_C_API void quolsdk_character_force_update(quolsdk_handle character);
/** Replaces the scene by that of a project file. Whether it could be opened is told on the error
 *  stream; a file with a number that is none raises an exception. */
QUOLSDK_C_API void quolsdk_character_load_from_xml(quolsdk_handle character, const char* path);
/** Writes the scene to a project file. */
QUOLSDK_C_API void quolsdk_character_save_to_xml(quolsdk_handle character, const char* path);
/** @} */

/** @name Switcher: a program and a preview, and the ways between them, with sound; a source
 *  The canvas is 1280x720 at 50 a second. */
/** @{ */
/** A new one, which runs at once; null where there is no thread or no memory to be had. */
QUOLSDK_C_API quolsdk_handle quolsdk_switcher_create(void);
/** Ends it, an automatic transition that is under way too. */
QUOLSDK_C_API void quolsdk_switcher_destroy(quolsdk_handle switcher);
/** Puts a source on preview; null takes the one there away. */
QUOLSDK_C_API void quolsdk_switcher_set_preview(quolsdk_handle switcher, quolsdk_handle source);
/** Puts a source on program; null takes the one there away. */
QUOLSDK_C_API void quolsdk_switcher_set_program(quolsdk_handle switcher, quolsdk_handle source);
/** Program and preview change places with the next picture. */
QUOLSDK_C_API void quolsdk_switcher_cut(quolsdk_handle switcher);
/** Fades from program to preview within `duration` ms; then they have changed places. Returns at
 *  once. */
QUOLSDK_C_API void quolsdk_switcher_fade(quolsdk_handle switcher, int duration);
/** The same by a transition of type "wipe" with `pattern` as its parameter. No pattern has a look
 * of its own: the picture changes at half of the duration, the sound fades. */
QUOLSDK_C_API void quolsdk_switcher_wipe(quolsdk_handle switcher, int duration, int pattern);
/** Puts one character generator on top, instead of those there; null leaves none. */
QUOLSDK_C_API void quolsdk_switcher_set_cg(quolsdk_handle switcher, quolsdk_handle character);
/** Sets a property; see LSwitcher. */
QUOLSDK_C_API void quolsdk_switcher_set_props(quolsdk_handle switcher, const char* key,
                                              const char* value);
/** @} */

/** @name Multiview: a control room's monitor wall, a source
 *  Two large windows, for the preview and the program, and a grid of tiles, whose rows and columns
 *  count from 1. A new one runs at once: 1920x1080 at 50 pictures a second. The sound of the
 *  program's source leaves through it. A source must not be destroyed before it has been taken out
 *  of its tiles, or the multiview destroyed. */
/** @{ */
/** A new multiview, running; null where there is no thread or no memory to be had. */
QUOLSDK_C_API quolsdk_handle quolsdk_multiview_create(void);
QUOLSDK_C_API void quolsdk_multiview_destroy(
    quolsdk_handle multiview); /**< ends it; its sources stay */
/** Lays the wall out; all tiles of the grid go, the large windows keep their sources. With N the
 *  grid size, `orientation` is 0 for 2N columns by N rows below the large windows, 1 for the same
 *  above them, 2 for N columns by 2N rows at their right, 3 for the same at their left. */
QUOLSDK_C_API void quolsdk_multiview_setup_grid(quolsdk_handle multiview, int orientation,
                                                int grid_size);
/** The source of the preview's window; NULL for none. */
QUOLSDK_C_API void quolsdk_multiview_set_pvw_source(quolsdk_handle multiview,
                                                    quolsdk_handle source);
/** The source of the program's window; NULL for none. */
QUOLSDK_C_API void quolsdk_multiview_set_pgm_source(quolsdk_handle multiview,
                                                    quolsdk_handle source);
/** Puts a source into a tile of the grid, with a label; NULL for a tile without a picture. The tile
 *  takes `span` more cells to the right and down, 0 for a single one. Its tally stays. */
QUOLSDK_C_API void quolsdk_multiview_set_grid_pos(quolsdk_handle multiview, quolsdk_handle source,
                                                  int row, int col, int span, const char* name);
/** Takes a tile away. Once it has returned its source is not used any more. */
QUOLSDK_C_API void quolsdk_multiview_remove_grid_pos(quolsdk_handle multiview, int row, int col);
/** Marks a tile red. Marks of other tiles stay: the host clears them. */
QUOLSDK_C_API void quolsdk_multiview_set_grid_pgm(quolsdk_handle multiview, int row, int col);
/** Marks a tile green. */
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
QUOLSDK_C_API quolsdk_handle quolsdk_stinger_create(void);          /**< a new, empty stinger */
QUOLSDK_C_API void quolsdk_stinger_destroy(quolsdk_handle stinger); /**< stops and ends it */
/** Stops, frees the clip there was, and decodes another, all of it, before this returns: the
 *  pictures scaled to `width` by `height`, with alpha, to be played at `fps` (0 and below: 25). A
 *  path with a "%" is the pattern of an image sequence. 1 when there is at least one picture; else
 *  0, with a line on the error stream, also for a clip that does not fit into memory. */
QUOLSDK_C_API int quolsdk_stinger_load(quolsdk_handle stinger, const char* path, int width,
                                       int height, double fps);
/** Frees the clip; a playback ends at its next picture. */
QUOLSDK_C_API void quolsdk_stinger_clear(quolsdk_handle stinger);
/** Plays the clip once, from its first picture; does nothing without a clip. Not from inside a
 *  push of the stinger. */
QUOLSDK_C_API void quolsdk_stinger_play_once(quolsdk_handle stinger);
/** Ends the playback and waits for its thread. */
QUOLSDK_C_API void quolsdk_stinger_stop(quolsdk_handle stinger);
/** Stores 1 while it plays, else 0. */
QUOLSDK_C_API void quolsdk_stinger_status_get(quolsdk_handle stinger, int* status);
/** @} */

/** @name Animation: Lottie templates in numbered slots, a source with alpha
 *  1920x1080 at 50 a second from the first template on. A higher slot lies on top. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_animation_create(void); /**< one without templates */
QUOLSDK_C_API void quolsdk_animation_destroy(quolsdk_handle animation); /**< ends it */
/** Loads a template into a slot and plays it. 1 when it could be read, else 0, with a line on
 *  standard output. */
QUOLSDK_C_API int quolsdk_animation_load_template(quolsdk_handle animation, int slot,
                                                  const char* path);
/** Sets the text of the text layer of that name. A double quote breaks the template; the old
 *  picture stays. */
QUOLSDK_C_API void quolsdk_animation_update(quolsdk_handle animation, int slot, const char* layer,
                                            const char* text);
/** Puts an image file in the place of an image, named by its layer or as an asset. */
QUOLSDK_C_API void quolsdk_animation_update_image(quolsdk_handle animation, int slot,
                                                  const char* name, const char* path);
/** Sets a colour of a layer, "#RRGGBB"; `color2` makes a gradient of it, `param` names a property.
 *  Both may be NULL or empty. */
QUOLSDK_C_API void quolsdk_animation_update_color(quolsdk_handle animation, int slot,
                                                  const char* layer, const char* color,
                                                  const char* color2, const char* param);
/** Sets the marker "IN", "LOOP", "STOP" or "OUT" to a frame of the template. */
QUOLSDK_C_API void quolsdk_animation_add_marker(quolsdk_handle animation, int slot,
                                                const char* name, int frame);
QUOLSDK_C_API void quolsdk_animation_play(quolsdk_handle animation, int slot); /**< goes on */
/** Leaves through OUT, or plays to the end; then the slot is empty. */
QUOLSDK_C_API void quolsdk_animation_stop(quolsdk_handle animation, int slot);
/** Leaves through OUT; without one the slot is empty at once. */
QUOLSDK_C_API void quolsdk_animation_close(quolsdk_handle animation, int slot);
/** @} */

/** @name Output: a source to a device, a sink
 *  Devices stand in one table: the DeckLink cards that can play, then NDI, then VTP. Numbers shift
 *  when cards come or go; cards are known once quolsdk_output_device_get_count was asked. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_output_create(void);         /**< a new output, stopped */
QUOLSDK_C_API void quolsdk_output_destroy(quolsdk_handle output); /**< stops and ends it */
/** Looks for cards and tells how many devices there are. */
QUOLSDK_C_API void quolsdk_output_device_get_count(quolsdk_handle output, int* count);
/** Name and description of a device; empty for one that is not there. */
QUOLSDK_C_API void quolsdk_output_device_get_by_index(quolsdk_handle output, int device, char* name,
                                                      int32_t name_size, char* description,
                                                      int32_t description_size);
/** Selects a device. An output that was started goes over to it. */
QUOLSDK_C_API void quolsdk_output_device_set(quolsdk_handle output, int device);
/** How many connectors a device has; 0 for one that is not there. */
QUOLSDK_C_API void quolsdk_output_device_channel_get_count(quolsdk_handle output, int device,
                                                           int* count);
/** Name of a connector; empty for one that is not there. */
QUOLSDK_C_API void quolsdk_output_device_channel_get_by_index(quolsdk_handle output, int device,
                                                              int channel, char* name,
                                                              int32_t name_size);
/** Selects a connector of the selected device. */
QUOLSDK_C_API void quolsdk_output_device_channel_set(quolsdk_handle output, int channel);
/** How many picture formats a device has. A card is asked anew, and must have been before one of
 *  its formats can be used. */
QUOLSDK_C_API void quolsdk_output_format_get_count(quolsdk_handle output, int device, int channel,
                                                   int* count);
/** Name of a picture format; empty for one that is not there. */
QUOLSDK_C_API void quolsdk_output_format_get_by_index(quolsdk_handle output, int device,
                                                      int channel, int format, char* name,
                                                      int32_t name_size);
/** Selects a picture format of the selected device: size and rate of what goes out. */
QUOLSDK_C_API void quolsdk_output_format_set(quolsdk_handle output, int format);
/** Starts the selected device; when it cannot be started the error stream tells. */
QUOLSDK_C_API void quolsdk_output_start(quolsdk_handle output);
/** Stops it, once the pictures that wait have gone out: six at most. */
QUOLSDK_C_API void quolsdk_output_stop(quolsdk_handle output);
/** What to put out; NULL for nothing. At once; the source must outlive it, or be taken away with
 *  NULL before it goes. */
QUOLSDK_C_API void quolsdk_output_set_source(quolsdk_handle output, quolsdk_handle source);
/** Sets a property: "enabled", "stream_name", "NDI.color_format", "DeckLink.color_format",
 *  "scaling_quality", "timecode", "timecode_format", "audio_gain", "vtp_interface", "vtp_secret".
 *  Unknown keys are ignored. */
QUOLSDK_C_API void quolsdk_output_set_props(quolsdk_handle output, const char* key,
                                            const char* value);
/** @} */

/** @name Recorder: a source into a movie file, a sink */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_recorder_create(void);           /**< a new recorder, idle */
QUOLSDK_C_API void quolsdk_recorder_destroy(quolsdk_handle recorder); /**< stops and ends it */
/** What to record; NULL for nothing. Counts from the next start; the source must outlive it. */
QUOLSDK_C_API void quolsdk_recorder_set_source(quolsdk_handle recorder, quolsdk_handle source);
/** The file to write; an existing one is replaced. */
QUOLSDK_C_API void quolsdk_recorder_file_name_set(quolsdk_handle recorder, const char* path);
/** Starts. Whether it could is told by quolsdk_recorder_status_get. */
QUOLSDK_C_API void quolsdk_recorder_start(quolsdk_handle recorder);
/** Ends the recording, finishes the file and leaves the source. */
QUOLSDK_C_API void quolsdk_recorder_stop(quolsdk_handle recorder);
/** Pauses (other than 0) or goes on (0); the file goes on without a gap. */
QUOLSDK_C_API void quolsdk_recorder_pause(quolsdk_handle recorder, int pause);
/** 1 while recording, paused included, else 0. */
QUOLSDK_C_API void quolsdk_recorder_status_get(quolsdk_handle recorder, int* status);
/** Encoder options, "key=value key=value"; a word alone gets the value "1". */
QUOLSDK_C_API void quolsdk_recorder_custom_set(quolsdk_handle recorder, const char* options);
/** Size of the file in bytes, seconds recorded, pictures written, pictures dropped, and the path of
 *  the file. */
QUOLSDK_C_API void quolsdk_recorder_get_stats(quolsdk_handle recorder, int64_t* file_size,
                                              double* seconds, int* frames_written,
                                              int* frames_dropped, char* path, int32_t path_size);
/** Sets a property: "durationMs", "play_while_rec", "timecode", "timecodeSource", "timecodeStart",
 *  "scaling_quality". Unknown keys are ignored. */
QUOLSDK_C_API void quolsdk_recorder_set_props(quolsdk_handle recorder, const char* key,
                                              const char* value);
/** Picture format of the file; mode 1 takes the source's. `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_recorder_set_video_format(quolsdk_handle recorder,
                                                     const quolsdk_video_format* format);
/** Sound format of the file: stored. `format` must not be NULL. */
QUOLSDK_C_API void quolsdk_recorder_set_audio_format(quolsdk_handle recorder,
                                                     const quolsdk_audio_format* format);
/** @} */

/** @name Stream: a source live to a network address, a sink */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_stream_create(void);         /**< a new stream, idle */
QUOLSDK_C_API void quolsdk_stream_destroy(quolsdk_handle stream); /**< stops and ends it */
/** Where to, without the key: "rtmp://host/application", or any address that FFmpeg writes to. */
QUOLSDK_C_API void quolsdk_stream_url_set(quolsdk_handle stream, const char* url);
/** The name of the stream, which goes behind the URL and a "/"; empty for none. */
QUOLSDK_C_API void quolsdk_stream_key_set(quolsdk_handle stream, const char* key);
/** Reaches the address, within five seconds or not at all, and starts. 0 when it streams already,
 *  has no source, or could not; the error stream tells. */
QUOLSDK_C_API int quolsdk_stream_start(quolsdk_handle stream);
/** Ends the stream and leaves the source: within a second, but for a file as the address or a local
 *  copy, for which all that is queued is encoded first. From another thread it also ends a
 *  start that still waits for its server. */
QUOLSDK_C_API void quolsdk_stream_stop(quolsdk_handle stream);
/** 1 while it streams, else 0. It streams, into nothing, also when the connection has broken. */
QUOLSDK_C_API void quolsdk_stream_status_get(quolsdk_handle stream, int* status);
/** What to stream; NULL for nothing. Counts from the next start; the source must outlive it. */
QUOLSDK_C_API void quolsdk_stream_object(quolsdk_handle stream, quolsdk_handle source);
/** Sets an option of the video encoder for the next start, as "preset", "tune", "g" or "b", or
 *  "bitrate_mode", constant unless it is other than "cbr". An empty value takes it away. */
QUOLSDK_C_API void quolsdk_stream_set_props(quolsdk_handle stream, const char* key,
                                            const char* value);
/** @} */

/** @name Instant replay: records what it is given and plays any part of it meanwhile
 *  A sink and a source; as a sink it is attached by the classes, `source->addSink(replay)`, for
 *  which the handle is an `LObject*` that is an `LReplay`. It plays 1920x1080 at 50 pictures a
 * second and records in the size that comes in. A new one stands still (trim mode), at speed 1. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_replay_create(void); /**< a new replay, empty */
/** Ends it; the files stay. Take it away from its source and its sinks before. */
QUOLSDK_C_API void quolsdk_replay_destroy(quolsdk_handle replay);
/** Folder, which must exist, and beginning of the names of the files that the next recording
 * writes,
 *  "./" and "replay" unless set. */
QUOLSDK_C_API void quolsdk_replay_set_record_path(quolsdk_handle replay, const char* path,
                                                  const char* name);
/** Folder and base name of exports without a file name: "/tmp/" and "export" unless set. The
 *  property "name" of the classes, where it is set, takes the place of the base name. */
QUOLSDK_C_API void quolsdk_replay_set_export_path(quolsdk_handle replay, const char* path,
                                                  const char* name);
/** Begins to record. 0 when the files cannot be made. Clear between two recordings. */
QUOLSDK_C_API int quolsdk_replay_start_recording(quolsdk_handle replay);
/** Ends the recording; what is stored can be played on. */
QUOLSDK_C_API void quolsdk_replay_stop_recording(quolsdk_handle replay);
/** Ends the recording, forgets everything and removes the files. */
QUOLSDK_C_API void quolsdk_replay_clear_recording(quolsdk_handle replay);
QUOLSDK_C_API void quolsdk_replay_play(quolsdk_handle replay);  /**< plays at the speed set */
QUOLSDK_C_API void quolsdk_replay_pause(quolsdk_handle replay); /**< stands still */
/** Shows the newest picture, and each one that comes. */
QUOLSDK_C_API void quolsdk_replay_set_mode_live(quolsdk_handle replay);
/** Stands still; takes seeks and steps. */
QUOLSDK_C_API void quolsdk_replay_set_mode_trim(quolsdk_handle replay);
/** 1.0 as recorded, below 0 backward. Does not start to play; leaves live mode, as all that follow
 *  to the steps do. */
QUOLSDK_C_API void quolsdk_replay_set_speed(quolsdk_handle replay, double speed);
/** Goes to a frame, the nearest one there is. */
QUOLSDK_C_API void quolsdk_replay_pos_set(quolsdk_handle replay, int frame);
/** Goes to the frame nearest to that time, in milliseconds since the first one. */
QUOLSDK_C_API void quolsdk_replay_pos_set_ms(quolsdk_handle replay, double milliseconds);
/** Goes to the last frame of exactly that time code; without one nothing happens. */
QUOLSDK_C_API void quolsdk_replay_pos_set_tc(quolsdk_handle replay, const char* timecode);
/** Goes so many frames on. */
QUOLSDK_C_API void quolsdk_replay_step_forward(quolsdk_handle replay, int frames);
/** Goes so many frames back. */
QUOLSDK_C_API void quolsdk_replay_step_backward(quolsdk_handle replay, int frames);
QUOLSDK_C_API int quolsdk_replay_total_frames_get(quolsdk_handle replay); /**< frames stored */
/** The position, in frames. */
QUOLSDK_C_API int quolsdk_replay_current_frame_get(quolsdk_handle replay);
/** Time of the last frame stored, milliseconds; 0.0 when empty. */
QUOLSDK_C_API double quolsdk_replay_duration_get(quolsdk_handle replay);
/** Time at the position, milliseconds; 0.0 when empty. */
QUOLSDK_C_API double quolsdk_replay_pos_ms_get(quolsdk_handle replay);
/** Time code at the position, "hh:mm:ss:ff"; "00:00:00:00" when empty. */
QUOLSDK_C_API void quolsdk_replay_timecode_get(quolsdk_handle replay, char* timecode,
                                               int32_t timecode_size);
/** Writes the frames from `first` to `last`, both included, into a movie, as they are stored; its
 *  ending says which container. An empty name is made of the export path, the base name and the
 *  times. Returns when it is done, also while it records. 0 when nothing is stored, when the file
 *  cannot be written or is one of the recording's own, a pipe or a device, when the disk gets full,
 *  when memory is short, and when the recording is cleared or begun anew meanwhile. */
QUOLSDK_C_API int quolsdk_replay_export_range(quolsdk_handle replay, int first, int last,
                                              const char* path);
/** The same by times in milliseconds. */
QUOLSDK_C_API int quolsdk_replay_export_range_ms(quolsdk_handle replay, double first_ms,
                                                 double last_ms, const char* path);
/** @} */

/** @name Preview: a source in a window of the host, a sink */
/** @{ */
/** A new preview. It shows nothing until the property "ui_framework" has chosen what draws; every
 *  setting waits until then. */
QUOLSDK_C_API quolsdk_handle quolsdk_preview_create(void);
/** Leaves the source and the window, and ends it. */
QUOLSDK_C_API void quolsdk_preview_destroy(quolsdk_handle preview);
/** Shows the source in a window from now on: an XID as a pointer, a `QWidget*` where "ui_framework"
 *  is "qt", a `GtkWidget*` where it is "gtk"; the latter two on the toolkit's thread. `audio` other
 *  than 0 plays the sound, `video` 0 takes no pictures. The window stays the host's, which may
 *  resize, hide or destroy it at any time. */
QUOLSDK_C_API void quolsdk_preview_enable(quolsdk_handle preview, void* native_window, int audio,
                                          int video);
/** The source to show, NULL for none. It must outlive the preview, or be taken from it before. */
QUOLSDK_C_API void quolsdk_preview_object(quolsdk_handle preview, quolsdk_handle source);
/** Sets a property: "ui_framework", "audio", "audio_enabled", "mute", "name", "status",
 *  "audio_meter", "maintain_ar", "scale_type", "border", "borderColor", "border_color",
 *  "timecode.preview", "preview_background". Other keys are ignored. */
QUOLSDK_C_API void quolsdk_preview_set_props(quolsdk_handle preview, const char* key,
                                             const char* value);
/** "program", "record", "preview", "live", "trim" and "ready" have a border of their own. */
QUOLSDK_C_API void quolsdk_preview_set_status(quolsdk_handle preview, const char* status);
/** Text of the label; empty for no label. */
QUOLSDK_C_API void quolsdk_preview_set_name(quolsdk_handle preview, const char* name);
/** Frees the pictures that wait; the one that is shown stays. */
QUOLSDK_C_API void quolsdk_preview_clear(quolsdk_handle preview);
/** Other than 0 plays the sound. */
QUOLSDK_C_API void quolsdk_preview_set_audio(quolsdk_handle preview, int enabled);
/** Other than 0 plays no sound. */
QUOLSDK_C_API void quolsdk_preview_mute(quolsdk_handle preview, int muted);
/** @} */

/** @name Convert: media files, joined, into one new file
 *  It stands beside the graph. The file is an mp4 of 1920x1080 at 25 pictures a second, H.264 of
 *  15000 kbit/s and stereo AAC of 128 kbit/s at 48 kHz. */
/** @{ */
QUOLSDK_C_API quolsdk_handle quolsdk_convert_create(void);          /**< a new converter, idle */
QUOLSDK_C_API void quolsdk_convert_destroy(quolsdk_handle convert); /**< stops and ends it */
/** The file to write. An existing one is replaced, unless it is one of the inputs. */
QUOLSDK_C_API void quolsdk_convert_set_file_path(quolsdk_handle convert, const char* path);
/** Puts a file behind those to be joined; one may be there twice. */
QUOLSDK_C_API void quolsdk_convert_add_input_file(quolsdk_handle convert, const char* path);
/** Empties the list of files to be joined. */
QUOLSDK_C_API void quolsdk_convert_clear_input_files(quolsdk_handle convert);
/** Starts. 0 while it is converting, and without a path or a file to convert. Whether the output
 *  could be opened is told by quolsdk_convert_status_get. */
QUOLSDK_C_API int quolsdk_convert_start(quolsdk_handle convert);
/** Ends the conversion where it is and waits for it; the file can be played as far as it goes. One
 *  that is stopped before its first picture may be unreadable. Returns within a second with quick
 *  presets; with the slowest the encoder takes up to half a minute to be closed. */
QUOLSDK_C_API void quolsdk_convert_stop(quolsdk_handle convert);
/** 0 idle or finished, 1 converting, -1 the output could not be opened. */
QUOLSDK_C_API void quolsdk_convert_status_get(quolsdk_handle convert, int* status);
/** How far it is, 0.0 to 1.0, never going back; 1.0 when it has ended. */
QUOLSDK_C_API double quolsdk_convert_progress_get(quolsdk_handle convert);
/** Sets an option of the video encoder, for the next start: "preset", "tune", "g", "bf". Other keys
 *  are ignored. */
QUOLSDK_C_API void quolsdk_convert_set_props(quolsdk_handle convert, const char* key,
                                             const char* value);
/** @} */

#ifdef __cplusplus
}
#endif

#endif

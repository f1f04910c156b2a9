/* The window of a vision mixer: three views in it, for the wall, the preview and the programme, and
 * the keyboard. Of one thread. */
#ifndef DESK_WINDOW_H
#define DESK_WINDOW_H

#ifdef __cplusplus
extern "C" {
#endif

enum desk_view { DESK_WALL, DESK_PREVIEW, DESK_PROGRAMME, DESK_VIEWS };

struct desk_window;

/* On the display that DISPLAY names, as wide as the screen has room for; with the wall alone, or
 * with all three views. NULL, with a line, when there is none. */
struct desk_window* desk_window_open(const char* title, int only_wall);
void desk_window_close(struct desk_window* window);

/* The X11 window of a view. */
unsigned long desk_window_view(const struct desk_window* window, enum desk_view view);

/* Waits for a key at most that long. The character of a key that has gone down, '\n' for enter; 0
 * when none has; 'q' also when the user has closed the window or the server is gone. A key that is
 * held down counts once. */
char desk_window_key(struct desk_window* window, int timeout_ms);

/* Whether the server has gone: then the window has, too. */
int desk_window_lost(const struct desk_window* window);

/* What the whole window shows, into a PNG. 0, with a line, when that cannot be had. */
int desk_window_shot(struct desk_window* window, const char* path);

#ifdef __cplusplus
}
#endif

#endif

#define _POSIX_C_SOURCE 200809L

#include "desk_window.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "png_file.h"

enum { WIDTH = 1440, WALL_WIDTH = 1280, GAP = 4, SMALLEST = 4, KEYS = 256 };

struct desk_window {
    Display* display;
    Window window;
    Window views[DESK_VIEWS];
    int only_wall;
    Atom closing;
    int width, height;
    int lost;
    char held[KEYS]; /* by key code */
};

/* Xlib ends the process at an error and when the server goes. A recording must outlive both. */
static int tell_error(Display* display, XErrorEvent* error) {
    char text[128];
    XGetErrorText(display, error->error_code, text, sizeof text);
    fprintf(stderr, "X11: %s\n", text);
    return 0;
}

static int tell_loss(Display* display) {
    fprintf(stderr, "X11: the server of %s is gone\n", DisplayString(display));
    return 0;
}

static void note_loss(Display* display, void* window) {
    (void)display;
    ((struct desk_window*)window)->lost = 1;
}

static void place(struct desk_window* window, enum desk_view view, int x, int y, int width,
                  int height) {
    XMoveResizeWindow(window->display, window->views[view], x, y,
                      (unsigned)(width > SMALLEST ? width : SMALLEST),
                      (unsigned)(height > SMALLEST ? height : SMALLEST));
}

/* The wall takes two thirds. In a window of 8 to 3 all three have the shape of their pictures, but
 * for the gaps. */
static void arrange(struct desk_window* window) {
    const int left = window->width * 2 / 3;
    const int top = window->height / 2;
    if (window->only_wall) {
        place(window, DESK_WALL, 0, 0, window->width, window->height);
        return;
    }
    place(window, DESK_WALL, 0, 0, left - GAP, window->height);
    place(window, DESK_PREVIEW, left, 0, window->width - left, top - GAP / 2);
    place(window, DESK_PROGRAMME, left, top + GAP / 2, window->width - left,
          window->height - top - GAP / 2);
}

static void make_windows(struct desk_window* window, const char* title) {
    Display* const display = window->display;
    const int room = DisplayWidth(display, DefaultScreen(display));
    const int wanted = window->only_wall ? WALL_WIDTH : WIDTH;
    int i;
    window->width = room < wanted ? room : wanted;
    window->height = window->only_wall ? window->width * 9 / 16 : window->width * 3 / 8;
    window->window =
        XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, (unsigned)window->width,
                            (unsigned)window->height, 0, 0, 0x202020);
    for (i = 0; i < (window->only_wall ? DESK_WALL + 1 : DESK_VIEWS); ++i) {
        window->views[i] =
            XCreateSimpleWindow(display, window->window, 0, 0, SMALLEST, SMALLEST, 0, 0, 0);
    }
    arrange(window);
    XStoreName(display, window->window, title);
    XSetWMProtocols(display, window->window, &window->closing, 1);
    XSelectInput(display, window->window,
                 KeyPressMask | KeyReleaseMask | FocusChangeMask | StructureNotifyMask);
    XkbSetDetectableAutoRepeat(display, True, NULL);
    XMapSubwindows(display, window->window);
    XMapWindow(display, window->window);
    XSync(display, False);
}

struct desk_window* desk_window_open(const char* title, int only_wall) {
    struct desk_window* const window = calloc(1, sizeof *window);
    if (window == NULL) return NULL;
    window->only_wall = only_wall;
    window->display = XOpenDisplay(NULL);
    if (window->display == NULL) {
        printf("  NO DISPLAY: DISPLAY names the X server to use\n");
        free(window);
        return NULL;
    }
    XSetErrorHandler(tell_error);
    XSetIOErrorHandler(tell_loss);
    XSetIOErrorExitHandler(window->display, note_loss, window);
    window->closing = XInternAtom(window->display, "WM_DELETE_WINDOW", False);
    make_windows(window, title);
    return window;
}

void desk_window_close(struct desk_window* window) {
    if (window == NULL) return;
    XCloseDisplay(window->display);
    free(window);
}

unsigned long desk_window_view(const struct desk_window* window, enum desk_view view) {
    return window->views[view];
}

int desk_window_lost(const struct desk_window* window) {
    return window->lost;
}

/* 0 for a key that is held, or has no character. */
static char pressed(struct desk_window* window, XKeyEvent* event) {
    char text[8];
    const unsigned code = event->keycode % KEYS;
    if (window->held[code]) return '\0';
    window->held[code] = 1;
    if (XLookupString(event, text, sizeof text, NULL, NULL) != 1) return '\0';
    return text[0] == '\r' ? '\n' : text[0];
}

static char handle(struct desk_window* window, XEvent* event) {
    switch (event->type) {
        case KeyPress:
            return pressed(window, &event->xkey);
        case KeyRelease:
            window->held[event->xkey.keycode % KEYS] = 0;
            return '\0';
        case FocusOut: /* what is let go elsewhere is not told here */
            memset(window->held, 0, sizeof window->held);
            return '\0';
        case ConfigureNotify:
            if (event->xconfigure.window != window->window) return '\0';
            window->width = event->xconfigure.width;
            window->height = event->xconfigure.height;
            arrange(window);
            return '\0';
        case MappingNotify:
            XRefreshKeyboardMapping(&event->xmapping);
            return '\0';
        case ClientMessage:
            return (Atom)event->xclient.data.l[0] == window->closing ? 'q' : '\0';
        default:
            return '\0';
    }
}

char desk_window_key(struct desk_window* window, int timeout_ms) {
    struct pollfd connection = {0, POLLIN, 0};
    XEvent event;
    char key = '\0';
    connection.fd = ConnectionNumber(window->display);
    if (!window->lost && XPending(window->display) == 0) poll(&connection, 1, timeout_ms);
    while (key == '\0' && !window->lost && XPending(window->display) > 0) {
        XNextEvent(window->display, &event);
        if (!window->lost) key = handle(window, &event);
    }
    return window->lost ? 'q' : key;
}

/* The eight highest bits of what a mask leaves of a pixel. */
static unsigned char channel(unsigned long pixel, unsigned long mask) {
    const unsigned long lowest = mask & (~mask + 1);
    return mask == 0 ? 0 : (unsigned char)((pixel & mask) / lowest * 255 / (mask / lowest));
}

static void to_rgb(XImage* image, unsigned char* rgb) {
    int x, y;
    for (y = 0; y < image->height; ++y) {
        for (x = 0; x < image->width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);
            *rgb++ = channel(pixel, image->red_mask);
            *rgb++ = channel(pixel, image->green_mask);
            *rgb++ = channel(pixel, image->blue_mask);
        }
    }
}

int desk_window_shot(struct desk_window* window, const char* path) {
    XImage* image = NULL;
    unsigned char* rgb = NULL;
    int written = 0;
    if (!window->lost) {
        image = XGetImage(window->display, window->window, 0, 0, (unsigned)window->width,
                          (unsigned)window->height, AllPlanes, ZPixmap);
    }
    if (image != NULL) rgb = malloc((size_t)image->width * (size_t)image->height * 3);
    if (rgb != NULL) {
        to_rgb(image, rgb);
        written = png_file_write(path, rgb, image->width, image->height);
    } else {
        printf("  NO SCREENSHOT %s: the window is not to be seen\n", path);
    }
    free(rgb);
    if (image != NULL) XDestroyImage(image);
    return written;
}

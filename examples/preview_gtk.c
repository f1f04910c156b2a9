/* A GTK host: a window with a file, or a signal, in a preview.
 *
 * usage: preview_gtk [FILE]
 *
 * The library's plug-in for GTK must be where the loader looks: in the folder beside the installed
 * library, or in one on LD_LIBRARY_PATH. */
#include <gtk/gtk.h>

#include <quolsdk/quolsdk_c_api.h>

#include "usage.h"

static quolsdk_handle preview;
static GMainLoop* loop;

static void status_clicked(GtkButton* button, gpointer status) {
    (void)button;
    quolsdk_preview_set_status(preview, status);
}

static void window_ended(GtkWidget* window, gpointer nothing) {
    (void)window;
    (void)nothing;
    g_main_loop_quit(loop);
}

static GtkWidget* make_window(GtkWidget* picture) {
    static const char* const statuses[] = {"program", "preview", "trim", "ready", "none"};
    GtkWidget* const window = gtk_window_new();
    GtkWidget* const rows = gtk_box_new(GTK_ORIENTATION_VERTICAL, 6);
    GtkWidget* const buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
    gtk_window_set_default_size(GTK_WINDOW(window), 640, 400);
    gtk_widget_set_vexpand(picture, TRUE);
    gtk_box_append(GTK_BOX(rows), picture);
    gtk_box_append(GTK_BOX(rows), buttons);
    for (size_t i = 0; i < G_N_ELEMENTS(statuses); ++i) {
        GtkWidget* const button = gtk_button_new_with_label(statuses[i]);
        g_signal_connect(button, "clicked", G_CALLBACK(status_clicked), (gpointer)statuses[i]);
        gtk_box_append(GTK_BOX(buttons), button);
    }
    gtk_window_set_child(GTK_WINDOW(window), rows);
    g_signal_connect(window, "destroy", G_CALLBACK(window_ended), NULL);
    return window;
}

int main(int argc, char** argv) {
    quolsdk_handle file = NULL;
    quolsdk_handle signal = NULL;
    GtkWidget* picture;

    if (asks_for_help(argc, argv)) {
        return tell_usage(argc, argv, "[FILE]", "show a file, or a signal, in a GTK window");
    }
    if (!gtk_init_check()) {
        g_printerr("preview_gtk: no display\n");
        return 1;
    }
    loop = g_main_loop_new(NULL, FALSE);
    if (argc > 1) {
        file = quolsdk_file_create();
        quolsdk_file_name_set(file, argv[1]);
    } else {
        signal = quolsdk_signal_create();
        quolsdk_signal_set_color(signal, "#305080");
    }

    preview = quolsdk_preview_create();
    quolsdk_preview_set_props(preview, "ui_framework", "gtk");
    quolsdk_preview_set_props(preview, "maintain_ar", "true");
    quolsdk_preview_set_props(preview, "audio_meter", "true");
    quolsdk_preview_set_props(preview, "timecode.preview", "true");
    quolsdk_preview_set_name(preview, argc > 1 ? argv[1] : "Signal");
    quolsdk_preview_object(preview, file != NULL ? file : signal);

    picture = gtk_picture_new();
    gtk_window_present(GTK_WINDOW(make_window(picture)));
    quolsdk_preview_enable(preview, picture, 1, 1);
    quolsdk_file_play(file); /* what there is not is passed over */
    quolsdk_signal_start(signal);
    g_main_loop_run(loop);

    quolsdk_preview_destroy(preview);
    quolsdk_file_destroy(file);
    quolsdk_signal_destroy(signal);
    g_main_loop_unref(loop);
    return 0;
}

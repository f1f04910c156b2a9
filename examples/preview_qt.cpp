// A Qt host: a window with a file, or a signal, in a preview.
//
// usage: preview_qt [FILE]
//
// The library's plug-in for Qt must be where the loader looks: in the folder beside the installed
// library, or in one on LD_LIBRARY_PATH (build/plugins before it is installed).
#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include <quolsdk/quolsdk_c_api.h>

#include "usage.h"

namespace {

// The source and its preview, and what the buttons do with them.
class Host {
public:
    explicit Host(const char* path) {
        if (path != nullptr) {
            file_ = quolsdk_file_create();
            quolsdk_file_name_set(file_, path);
        } else {
            signal_ = quolsdk_signal_create();
            quolsdk_signal_set_color(signal_, "#305080");
        }
        quolsdk_preview_set_props(preview_, "ui_framework", "qt");
        quolsdk_preview_set_props(preview_, "maintain_ar", "true");
        quolsdk_preview_set_props(preview_, "audio_meter", "true");
        quolsdk_preview_set_props(preview_, "timecode.preview", "true");
        quolsdk_preview_object(preview_, source());
    }
    ~Host() {
        quolsdk_preview_destroy(preview_);
        quolsdk_file_destroy(file_);
        quolsdk_signal_destroy(signal_);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void start(QWidget& window) {
        quolsdk_preview_enable(preview_, &window, 1, 1);
        quolsdk_file_play(file_); // what there is not is passed over
        quolsdk_signal_start(signal_);
    }
    void setName(const QString& name) {
        quolsdk_preview_set_name(preview_, name.toUtf8().constData());
    }
    void setStatus(const char* status) { quolsdk_preview_set_status(preview_, status); }

private:
    quolsdk_handle source() const { return file_ != nullptr ? file_ : signal_; }

    quolsdk_handle file_ = nullptr;
    quolsdk_handle signal_ = nullptr;
    quolsdk_handle preview_ = quolsdk_preview_create();
};

} // namespace

int main(int argc, char** argv) {
    if (asks_for_help(argc, argv)) {
        return tell_usage(argc, argv, "[FILE]", "show a file, or a signal, in a Qt window");
    }
    QApplication application(argc, argv);
    Host host(argc > 1 ? argv[1] : nullptr);

    QWidget window;
    window.resize(640, 440);
    auto* const rows = new QVBoxLayout(&window);
    auto* const picture = new QWidget;
    rows->addWidget(picture, 1);
    auto* const name = new QLineEdit;
    name->setPlaceholderText("Name");
    rows->addWidget(name);
    auto* const buttons = new QHBoxLayout;
    rows->addLayout(buttons);
    QObject::connect(name, &QLineEdit::textChanged,
                     [&host](const QString& text) { host.setName(text); });
    for (const char* status : {"program", "preview", "trim", "ready", ""}) {
        auto* const button = new QPushButton(*status != '\0' ? status : "none");
        buttons->addWidget(button);
        QObject::connect(button, &QPushButton::clicked,
                         [&host, status] { host.setStatus(status); });
    }
    window.show();
    host.start(*picture);
    return QApplication::exec();
}

// The preview in a widget of Qt 6.
#include <QCoreApplication>
#include <QEvent>
#include <QImage>
#include <QMetaObject>
#include <QPainter>
#include <QPointer>
#include <QThread>
#include <QWidget>
#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "outputs/ToolkitPreview.h"

namespace {

class PictureWidget;

// What the worker and Qt's thread share. It outlives both sides.
class QtTarget final : public quol::OffscreenTarget, public std::enable_shared_from_this<QtTarget> {
public:
    // On Qt's thread.
    void place(QWidget& host);
    void setSize(const QSize& pixels);
    void setGone() { gone_ = true; }
    void paint(QPainter& painter, const QRect& area);

    quol::SurfaceSize size() override {
        const std::lock_guard lock(mutex_);
        return size_;
    }
    bool isGone() override { return gone_; }
    void show(std::vector<std::uint8_t>& rgba, const quol::SurfaceSize& size) override;
    void close() override;

private:
    template <typename Task>
    void onQtsThread(Task task);

    std::mutex mutex_;
    quol::SurfaceSize size_;         // guarded by mutex_: of the widget, in pixels of the screen
    std::vector<std::uint8_t> rgba_; // guarded by mutex_
    quol::SurfaceSize pictureSize_;  // guarded by mutex_: of rgba_
    std::atomic<bool> gone_{false};
    std::atomic<bool> closed_{false};
    std::atomic<bool> updating_{false}; // a repaint is on its way
    QPointer<QWidget> widget_;          // of Qt's thread
};

// Covers the host's widget and follows its size; the mouse reaches what is below.
class PictureWidget final : public QWidget {
public:
    PictureWidget(QWidget& host, std::shared_ptr<QtTarget> target)
        : QWidget(&host), target_(std::move(target)) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setFocusPolicy(Qt::NoFocus);
        host.installEventFilter(this);
        setGeometry(host.rect());
        show();
        raise();
        tellSize();
    }
    ~PictureWidget() override { target_->setGone(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == parent() && event->type() == QEvent::Resize)
            setGeometry(parentWidget()->rect());
        return QWidget::eventFilter(watched, event);
    }
    void resizeEvent(QResizeEvent*) override { tellSize(); }
    void paintEvent(QPaintEvent*) override {
        tellSize(); // the window may have come to a screen of another density
        QPainter painter(this);
        target_->paint(painter, rect());
    }

private:
    void tellSize() { target_->setSize(size() * devicePixelRatio()); }

    const std::shared_ptr<QtTarget> target_;
};

// Tasks go to the application, which outlives every widget.
template <typename Task>
void QtTarget::onQtsThread(Task task) {
    QCoreApplication* const application = QCoreApplication::instance();
    if (application != nullptr)
        QMetaObject::invokeMethod(application, std::move(task), Qt::QueuedConnection);
}

void QtTarget::place(QWidget& host) {
    if (!closed_) widget_ = new PictureWidget(host, shared_from_this());
}

void QtTarget::setSize(const QSize& pixels) {
    const std::lock_guard lock(mutex_);
    size_ = {pixels.width(), pixels.height()};
}

void QtTarget::paint(QPainter& painter, const QRect& area) {
    updating_ = false;
    const std::lock_guard lock(mutex_);
    if (rgba_.empty()) {
        painter.fillRect(area, Qt::black);
        return;
    }
    const QImage picture(rgba_.data(), pictureSize_.width, pictureSize_.height,
                         pictureSize_.width * 4, QImage::Format_RGBX8888);
    painter.drawImage(area, picture);
}

void QtTarget::show(std::vector<std::uint8_t>& rgba, const quol::SurfaceSize& size) {
    {
        const std::lock_guard lock(mutex_);
        rgba_.swap(rgba);
        pictureSize_ = size;
    }
    if (updating_.exchange(true)) return;
    onQtsThread([self = shared_from_this()] {
        if (self->widget_) self->widget_->update();
    });
}

void QtTarget::close() {
    closed_ = true;
    onQtsThread([self = shared_from_this()] { delete self->widget_.data(); });
}

// A target on its way to its widget. Should the widget end before, the target is gone with it.
struct Placing {
    explicit Placing(std::shared_ptr<QtTarget> placed) : target(std::move(placed)) {}
    Placing(const Placing&) = delete;
    Placing& operator=(const Placing&) = delete;
    ~Placing() {
        if (!arrived) target->setGone();
    }

    const std::shared_ptr<QtTarget> target;
    bool arrived = false; // of Qt's thread
};

std::shared_ptr<quol::OffscreenTarget> makeTarget(void* window) {
    auto* const host = static_cast<QWidget*>(window);
    if (host == nullptr || QCoreApplication::instance() == nullptr) return nullptr;
    auto target = std::make_shared<QtTarget>();
    if (QThread::currentThread() == host->thread()) {
        target->place(*host);
    } else {
        QMetaObject::invokeMethod(
            host,
            [placing = std::make_shared<Placing>(target), host] {
                placing->arrived = true;
                placing->target->place(*host);
            },
            Qt::QueuedConnection);
    }
    return target;
}

} // namespace

extern "C" QUOLSDK_API LPreview::Impl* create_qt_preview() {
    return quol::makeToolkitPreview(
        {makeTarget, "[quolsdk] Qt preview ready.", "[quolsdk] Qt preview init failed."});
}

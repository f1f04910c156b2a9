// The preview in a widget of GTK 4.
#include <gtk/gtk.h>

#include <atomic>
#include <cmath>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "outputs/ToolkitPreview.h"

namespace {

struct Unref {
    void operator()(void* object) const noexcept { g_object_unref(object); }
};
template <typename T>
using Ref = std::unique_ptr<T, Unref>;

// What the worker and GTK's thread share. It outlives both sides.
class GtkTarget final : public quol::OffscreenTarget,
                        public std::enable_shared_from_this<GtkTarget> {
public:
    // On GTK's thread. False for a widget that has no place for a child, or has a child of the
    // host's in it.
    bool place(GtkWidget* host);
    void snapshot(GtkSnapshot* snapshot, double width, double height);
    void setGone() { gone_ = true; }

    quol::SurfaceSize size() override {
        const std::lock_guard lock(mutex_);
        return size_;
    }
    bool isGone() override { return gone_; }
    void show(std::vector<std::uint8_t>& rgba, const quol::SurfaceSize& size) override;
    void close() override;

private:
    template <typename Task>
    void onGtksThread(Task task);
    void release();
    void takeBack(std::vector<std::uint8_t>&& memory);

    std::mutex mutex_;
    quol::SurfaceSize size_;          // guarded by mutex_: in pixels of the screen
    Ref<GdkTexture> texture_;         // guarded by mutex_
    std::vector<std::uint8_t> spare_; // guarded by mutex_: memory of a picture that has gone
    bool released_ = false;           // guarded by mutex_: no picture comes any more
    std::atomic<bool> gone_{false};
    std::atomic<bool> updating_{false}; // a repaint is on its way
    // Of GTK's thread: what paints, the widget it is in, and the host's around that, null where the
    // widget is the host's own.
    Ref<GdkPaintable> paintable_;
    GtkWidget* picture_ = nullptr; // watched: null again when it ends
    GtkWidget* host_ = nullptr;    // watched likewise
    gulong endHandler_ = 0;        // of picture_
};

// Marks the pictures that previews have put into widgets: one that is about to end gives way to the
// next, the host's own children do not.
constexpr const char* mark = "quolsdk-preview";

bool hasChildOfTheHosts(GtkWidget* host) {
    if (!GTK_IS_WINDOW(host)) return false; // the others take any number
    GtkWidget* const child = gtk_window_get_child(GTK_WINDOW(host));
    return child != nullptr && g_object_get_data(G_OBJECT(child), mark) == nullptr;
}

// ------------------------------------------------------------ a paintable that asks the target

struct PreviewPaintable {
    GObject parent;
    std::shared_ptr<GtkTarget>* target;
};
struct PreviewPaintableClass {
    GObjectClass parent;
};

PreviewPaintable* asPreview(void* object) {
    return static_cast<PreviewPaintable*>(object);
}

// Its size is that of the widget: it has none of its own.
void paintSnapshot(GdkPaintable* paintable, GdkSnapshot* snapshot, double width, double height) {
    (*asPreview(paintable)->target)->snapshot(GTK_SNAPSHOT(snapshot), width, height);
}

void setUpPaintable(void* interface, void*) {
    static_cast<GdkPaintableInterface*>(interface)->snapshot = paintSnapshot;
}

void finalizePaintable(GObject* object) {
    delete asPreview(object)->target;
    auto* const parent = static_cast<GObjectClass*>(g_type_class_peek(G_TYPE_OBJECT));
    parent->finalize(object);
}

void setUpClass(void* type, void*) {
    static_cast<GObjectClass*>(type)->finalize = finalizePaintable;
}

GType paintableType() {
    static const GType type = [] {
        const GType made = g_type_register_static_simple(
            G_TYPE_OBJECT, "QuolsdkPreviewPaintable", sizeof(PreviewPaintableClass), setUpClass,
            sizeof(PreviewPaintable), nullptr, G_TYPE_FLAG_NONE);
        const GInterfaceInfo info{setUpPaintable, nullptr, nullptr};
        g_type_add_interface_static(made, GDK_TYPE_PAINTABLE, &info);
        return made;
    }();
    return type;
}

Ref<GdkPaintable> makePaintable(std::shared_ptr<GtkTarget> target) {
    auto* const made = static_cast<PreviewPaintable*>(g_object_new(paintableType(), nullptr));
    made->target = new std::shared_ptr<GtkTarget>(std::move(target));
    return Ref<GdkPaintable>(GDK_PAINTABLE(made));
}

// ------------------------------------------------------------------------------- the target

template <typename Task>
void GtkTarget::onGtksThread(Task task) {
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](void* data) -> gboolean {
            (*static_cast<Task*>(data))();
            return G_SOURCE_REMOVE;
        },
        new Task(std::move(task)), [](void* data) { delete static_cast<Task*>(data); });
}

bool GtkTarget::place(GtkWidget* host) {
    const bool isPicture = GTK_IS_PICTURE(host);
    if (!isPicture && !GTK_IS_WINDOW(host) && !GTK_IS_BOX(host) && !GTK_IS_OVERLAY(host))
        return false;
    if (hasChildOfTheHosts(host)) return false;
    paintable_ = makePaintable(shared_from_this());
    GtkWidget* const picture = isPicture ? host : gtk_picture_new();
    gtk_picture_set_paintable(GTK_PICTURE(picture), paintable_.get());
    if (!isPicture) {
        g_object_set_data(G_OBJECT(picture), mark, picture);
        gtk_widget_set_hexpand(picture, TRUE);
        gtk_widget_set_vexpand(picture, TRUE);
        gtk_widget_set_can_target(picture, FALSE); // the pointer reaches what is below
        if (GTK_IS_WINDOW(host)) gtk_window_set_child(GTK_WINDOW(host), picture);
        if (GTK_IS_BOX(host)) gtk_box_append(GTK_BOX(host), picture);
        if (GTK_IS_OVERLAY(host)) gtk_overlay_add_overlay(GTK_OVERLAY(host), picture);
        g_set_weak_pointer(&host_, host);
    }
    g_set_weak_pointer(&picture_, picture);
    auto* const self = new std::shared_ptr<GtkTarget>(shared_from_this());
    endHandler_ = g_signal_connect_data(
        picture, "destroy", G_CALLBACK(+[](GtkWidget*, void* data) {
            (*static_cast<std::shared_ptr<GtkTarget>*>(data))->setGone();
        }),
        self, [](void* data, GClosure*) { delete static_cast<std::shared_ptr<GtkTarget>*>(data); },
        GConnectFlags{});
    return true;
}

void GtkTarget::snapshot(GtkSnapshot* snapshot, double width, double height) {
    updating_ = false;
    const int scale = picture_ != nullptr ? gtk_widget_get_scale_factor(picture_) : 1;
    const std::lock_guard lock(mutex_);
    size_ = {static_cast<int>(std::lround(width * scale)),
             static_cast<int>(std::lround(height * scale))};
    const graphene_rect_t area{{0, 0}, {static_cast<float>(width), static_cast<float>(height)}};
    if (texture_) {
        gtk_snapshot_append_texture(snapshot, texture_.get(), &area);
    } else {
        const GdkRGBA black{0, 0, 0, 1};
        gtk_snapshot_append_color(snapshot, &black, &area);
    }
}

// The picture's memory goes with the texture, and comes back when nothing shows it any more.
void GtkTarget::show(std::vector<std::uint8_t>& rgba, const quol::SurfaceSize& size) {
    struct Held {
        std::shared_ptr<GtkTarget> target;
        std::vector<std::uint8_t> memory;
    };
    auto* const held = new Held{shared_from_this(), std::move(rgba)};
    GBytes* const bytes = g_bytes_new_with_free_func(
        held->memory.data(), held->memory.size(),
        [](void* data) {
            const std::unique_ptr<Held> held(static_cast<Held*>(data));
            held->target->takeBack(std::move(held->memory));
        },
        held);
    Ref<GdkTexture> texture(gdk_memory_texture_new(size.width, size.height, GDK_MEMORY_R8G8B8A8,
                                                   bytes, static_cast<gsize>(size.width) * 4));
    g_bytes_unref(bytes);
    {
        const std::lock_guard lock(mutex_);
        texture_.swap(texture);
        rgba = std::move(spare_);
        spare_.clear();
    }
    texture.reset(); // its memory comes back, under the lock
    if (updating_.exchange(true)) return;
    onGtksThread([self = shared_from_this()] {
        if (self->paintable_) gdk_paintable_invalidate_contents(self->paintable_.get());
    });
}

void GtkTarget::takeBack(std::vector<std::uint8_t>&& memory) {
    const std::lock_guard lock(mutex_);
    if (!released_) spare_ = std::move(memory);
}

void GtkTarget::close() {
    onGtksThread([self = shared_from_this()] { self->release(); });
}

// Nothing of the preview stays in the host's widgets.
void GtkTarget::release() {
    if (picture_ != nullptr) g_signal_handler_disconnect(picture_, endHandler_);
    if (picture_ != nullptr && gtk_picture_get_paintable(GTK_PICTURE(picture_)) == paintable_.get())
        gtk_picture_set_paintable(GTK_PICTURE(picture_), nullptr);
    const bool stands =
        host_ != nullptr && picture_ != nullptr && gtk_widget_get_parent(picture_) == host_;
    if (stands && GTK_IS_WINDOW(host_)) gtk_window_set_child(GTK_WINDOW(host_), nullptr);
    if (stands && GTK_IS_BOX(host_)) gtk_box_remove(GTK_BOX(host_), picture_);
    if (stands && GTK_IS_OVERLAY(host_)) gtk_overlay_remove_overlay(GTK_OVERLAY(host_), picture_);
    g_clear_weak_pointer(&picture_);
    g_clear_weak_pointer(&host_);
    paintable_.reset();
    Ref<GdkTexture> texture; // ends when the lock is open again: its memory comes back under it
    const std::lock_guard lock(mutex_);
    texture.swap(texture_);
    released_ = true;
    spare_ = {};
}

std::shared_ptr<quol::OffscreenTarget> makeTarget(void* window) {
    if (window == nullptr || !GTK_IS_WIDGET(window)) return nullptr;
    auto target = std::make_shared<GtkTarget>();
    return target->place(GTK_WIDGET(window)) ? target : nullptr;
}

} // namespace

extern "C" QUOLSDK_API LPreview::Impl* create_gtk_preview() {
    return quol::makeToolkitPreview(
        {makeTarget, "[quolsdk] GTK preview ready.", "[quolsdk] GTK preview init failed."});
}

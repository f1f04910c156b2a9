#include "decklink/Pictures.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace standin {

using namespace quol::decklink;

HRESULT handOut(const std::optional<std::string>& text, const char** out) {
    if (out == nullptr) return E_POINTER;
    if (!text) return E_FAIL;
    *out = strdup(text->c_str());
    return *out == nullptr ? E_OUTOFMEMORY : S_OK;
}

namespace {

class Timecode final : public Object<IDeckLinkTimecode> {
public:
    explicit Timecode(std::string text) : Object("IDeckLinkTimecode"), text_(std::move(text)) {}

    std::uint32_t GetBCD() override { return 0; }
    HRESULT GetComponents(std::uint8_t* /*hours*/, std::uint8_t* /*minutes*/,
                          std::uint8_t* /*seconds*/, std::uint8_t* /*frames*/) override {
        return E_NOTIMPL;
    }
    HRESULT GetString(const char** text) override {
        const Call made = call("GetString");
        return made.failure ? *made.failure : handOut(text_, text);
    }
    std::uint32_t GetFlags() override { return 0; }
    HRESULT GetTimecodeUserBits(std::uint32_t* /*bits*/) override { return E_NOTIMPL; }

private:
    const std::string text_;
};

// What a picture and its buffer share.
struct Picture {
    test::DeckLinkFrame frame;
    std::array<int, 2> open{}; // accesses that go on, for reading and for writing
};
using PicturePtr = std::shared_ptr<Picture>;

class Buffer final : public Object<IDeckLinkVideoBuffer> {
public:
    explicit Buffer(PicturePtr picture)
        : Object("IDeckLinkVideoBuffer"), picture_(std::move(picture)) {}

    HRESULT GetBytes(void** bytes) override {
        const Call made = call("GetBytes");
        if (made.failure) return *made.failure;
        if (bytes == nullptr) return E_POINTER;
        if (!picture_ || picture_->open == std::array<int, 2>{}) {
            machine().misuse("IDeckLinkVideoBuffer::GetBytes outside an access");
            return E_ACCESSDENIED;
        }
        *bytes = picture_->frame.bytes->data();
        return S_OK;
    }
    HRESULT StartAccess(std::uint32_t flags) override {
        const Call made = call("StartAccess");
        if (made.failure) return *made.failure;
        if (!picture_ || flags == 0 || flags > 3) return E_INVALIDARG;
        count(flags, 1);
        return S_OK;
    }
    HRESULT EndAccess(std::uint32_t flags) override {
        const Call made = call("EndAccess");
        if (made.failure) return *made.failure;
        if (!picture_ || flags == 0 || flags > 3) return E_INVALIDARG;
        count(flags, -1);
        for (int& open : picture_->open) {
            if (open >= 0) continue;
            open = 0;
            machine().misuse("IDeckLinkVideoBuffer::EndAccess without its StartAccess");
            return E_ACCESSDENIED;
        }
        return S_OK;
    }

protected:
    std::function<void()> gone() override {
        if (picture_->open != std::array<int, 2>{})
            machine().misuse("IDeckLinkVideoBuffer given back during an access");
        picture_.reset();
        return {};
    }

private:
    void count(std::uint32_t flags, int change) {
        if ((flags & bmdBufferAccessRead) != 0) picture_->open[0] += change;
        if ((flags & bmdBufferAccessWrite) != 0) picture_->open[1] += change;
    }

    PicturePtr picture_;
};

// What captured pictures and those to be shown have in common.
template <typename Interface>
class Frame : public Object<Interface> {
public:
    long GetWidth() override { return read("GetWidth", &test::DeckLinkFrame::width); }
    long GetHeight() override { return read("GetHeight", &test::DeckLinkFrame::height); }
    long GetRowBytes() override { return read("GetRowBytes", &test::DeckLinkFrame::rowBytes); }
    std::uint32_t GetPixelFormat() override {
        return read("GetPixelFormat", &test::DeckLinkFrame::pixelFormat);
    }
    std::uint32_t GetFlags() override { return read("GetFlags", &test::DeckLinkFrame::flags); }
    HRESULT GetTimecode(std::uint32_t format, IDeckLinkTimecode** timecode) override {
        std::string text;
        {
            const auto made = this->call("GetTimecode");
            if (made.failure) return *made.failure;
            if (timecode == nullptr) return E_POINTER;
            const auto found = frame().timecodes.find(format);
            if (found == frame().timecodes.end()) return E_FAIL;
            text = found->second;
        }
        *timecode = new Timecode(std::move(text));
        return S_OK;
    }
    HRESULT GetAncillaryData(void** /*ancillary*/) override { return E_NOTIMPL; }

protected:
    Frame(const char* interface, const test::DeckLinkFrame& frame)
        : Object<Interface>(interface), picture_(std::make_shared<Picture>(Picture{frame, {}})) {}
    ~Frame() = default;

    test::DeckLinkFrame& frame() { return picture_->frame; }
    bool accessed() const { return picture_->open != std::array<int, 2>{}; }

    void* other(REFIID id) override {
        if (id == IDeckLinkVideoFrame::iid) {
            this->AddRef();
            return static_cast<IDeckLinkVideoFrame*>(this);
        }
        if (id != IDeckLinkVideoBuffer::iid) return nullptr;
        // The same object each time, as long as there are references to it.
        const std::lock_guard lock(bufferMutex_);
        if (buffer_ == nullptr || !buffer_->again()) buffer_ = new Buffer(picture_);
        return static_cast<IDeckLinkVideoBuffer*>(buffer_);
    }

    // The bytes go with the last reference to the picture or to its buffer.
    std::function<void()> gone() override {
        auto empty = std::make_shared<Picture>();
        empty->frame.bytes = std::make_shared<std::vector<std::uint8_t>>();
        picture_ = std::move(empty);
        return {};
    }

private:
    template <typename Value>
    Value read(const char* method, Value test::DeckLinkFrame::*member) {
        const auto held = this->use(this->name(method));
        return picture_->frame.*member;
    }

    PicturePtr picture_;
    std::mutex bufferMutex_;
    Buffer* buffer_ = nullptr; // not a reference of its own
};

class InputFrame final : public Frame<IDeckLinkVideoInputFrame> {
public:
    explicit InputFrame(const test::DeckLinkFrame& frame)
        : Frame("IDeckLinkVideoInputFrame", frame) {}

    HRESULT GetStreamTime(BMDTimeValue* time, BMDTimeValue* duration, BMDTimeScale scale) override {
        const Call made = call("GetStreamTime");
        if (made.failure) return *made.failure;
        if (!frame().streamTime) return E_FAIL;
        *time = frame().streamTime->time * scale / 1'000'000;
        *duration = frame().streamTime->duration * scale / 1'000'000;
        return S_OK;
    }
    HRESULT GetHardwareReferenceTimestamp(BMDTimeScale /*scale*/, BMDTimeValue* /*time*/,
                                          BMDTimeValue* /*duration*/) override {
        return E_NOTIMPL;
    }
};

class OutputFrame final : public Frame<IDeckLinkMutableVideoFrame> {
public:
    explicit OutputFrame(const test::DeckLinkFrame& frame)
        : Frame("IDeckLinkMutableVideoFrame", frame) {}

    HRESULT SetFlags(std::uint32_t flags) override {
        const Call made = call("SetFlags");
        if (!made.failure) frame().flags = flags;
        return made.failure.value_or(S_OK);
    }
    HRESULT SetTimecode(std::uint32_t /*format*/, IDeckLinkTimecode* /*timecode*/) override {
        return E_NOTIMPL;
    }
    HRESULT SetTimecodeFromComponents(std::uint32_t format, std::uint8_t hours,
                                      std::uint8_t minutes, std::uint8_t seconds,
                                      std::uint8_t frames, std::uint32_t /*flags*/) override {
        const Call made = call("SetTimecodeFromComponents");
        if (made.failure) return *made.failure;
        std::array<char, 24> text{};
        std::snprintf(text.data(), text.size(), "%02d:%02d:%02d:%02d", hours, minutes, seconds,
                      frames);
        frame().timecodes[format] = text.data();
        return S_OK;
    }
    HRESULT SetAncillaryData(void* /*ancillary*/) override { return E_NOTIMPL; }
    HRESULT SetTimecodeUserBits(std::uint32_t /*format*/, std::uint32_t /*bits*/) override {
        return E_NOTIMPL;
    }
    HRESULT SetInterfaceProvider(REFIID /*id*/, IUnknown* /*provider*/) override {
        return E_NOTIMPL;
    }

    test::DeckLinkFrame copy() {
        if (accessed()) machine().misuse("IDeckLinkOutput::DisplayVideoFrameSync during an access");
        test::DeckLinkFrame copied = frame();
        copied.bytes = std::make_shared<std::vector<std::uint8_t>>(*copied.bytes);
        return copied;
    }
};

class SoundPacket final : public Object<IDeckLinkAudioInputPacket> {
public:
    explicit SoundPacket(const test::DeckLinkSound& sound)
        : Object("IDeckLinkAudioInputPacket"), sound_(sound) {}

    long GetSampleFrameCount() override {
        const auto held = use(name("GetSampleFrameCount"));
        return static_cast<long>(sound_.samples.size() / 2);
    }
    HRESULT GetBytes(void** bytes) override {
        const Call made = call("GetBytes");
        if (made.failure) return *made.failure;
        *bytes = sound_.samples.data();
        return S_OK;
    }
    HRESULT GetPacketTime(BMDTimeValue* /*time*/, BMDTimeScale /*scale*/) override {
        return E_NOTIMPL;
    }

protected:
    std::function<void()> gone() override {
        sound_ = {};
        return {};
    }

private:
    test::DeckLinkSound sound_;
};

class DisplayMode final : public Object<IDeckLinkDisplayMode> {
public:
    explicit DisplayMode(test::DeckLinkMode mode)
        : Object("IDeckLinkDisplayMode"), mode_(std::move(mode)) {}

    HRESULT GetName(const char** text) override {
        const Call made = call("GetName");
        return made.failure ? *made.failure : handOut(mode_.name, text);
    }
    std::uint32_t GetDisplayMode() override {
        return read("GetDisplayMode", &test::DeckLinkMode::code);
    }
    long GetWidth() override { return read("GetWidth", &test::DeckLinkMode::width); }
    long GetHeight() override { return read("GetHeight", &test::DeckLinkMode::height); }
    HRESULT GetFrameRate(BMDTimeValue* duration, BMDTimeScale* scale) override {
        const Call made = call("GetFrameRate");
        if (made.failure) return *made.failure;
        *duration = mode_.duration;
        *scale = mode_.scale;
        return S_OK;
    }
    std::uint32_t GetFieldDominance() override { return fourCC("prog"); }
    std::uint32_t GetFlags() override { return 0; }

private:
    template <typename Value>
    Value read(const char* method, Value test::DeckLinkMode::*member) {
        const auto held = use(name(method));
        return mode_.*member;
    }

    const test::DeckLinkMode mode_;
};

} // namespace

IDeckLinkVideoInputFrame* newInputFrame(const test::DeckLinkFrame& frame) {
    return new InputFrame(frame);
}

IDeckLinkMutableVideoFrame* newOutputFrame(const test::DeckLinkFrame& frame) {
    return new OutputFrame(frame);
}

IDeckLinkAudioInputPacket* newSoundPacket(const test::DeckLinkSound& sound) {
    return new SoundPacket(sound);
}

IDeckLinkDisplayMode* newDisplayMode(const test::DeckLinkMode& mode) {
    return new DisplayMode(mode);
}

std::optional<test::DeckLinkFrame> shownPicture(IDeckLinkVideoFrame* frame) {
    auto* const made = dynamic_cast<OutputFrame*>(frame);
    if (made == nullptr) return std::nullopt;
    return made->copy();
}

} // namespace standin

#include "decklink/CardObjects.h"

#include "decklink/Pictures.h"

namespace standin {

using namespace quol::decklink;

namespace {

class CardIterator final : public Object<IDeckLinkIterator> {
public:
    explicit CardIterator(std::vector<CardPtr> cards)
        : Object("IDeckLinkIterator"), cards_(std::move(cards)) {}

    HRESULT Next(IDeckLink** card) override {
        CardPtr next;
        {
            const Call made = call("Next");
            if (made.failure) return *made.failure;
            if (next_ == cards_.size()) {
                *card = nullptr;
                return 1; // success of a kind: there are no more
            }
            next = cards_[next_++];
        }
        *card = static_cast<IDeckLink*>(newCardInterface(next, IDeckLink::iid));
        return S_OK;
    }

private:
    const std::vector<CardPtr> cards_;
    std::size_t next_ = 0;
};

class ModeIterator final : public Object<IDeckLinkDisplayModeIterator> {
public:
    explicit ModeIterator(std::vector<test::DeckLinkMode> modes)
        : Object("IDeckLinkDisplayModeIterator"), modes_(std::move(modes)) {}

    HRESULT Next(IDeckLinkDisplayMode** mode) override {
        std::optional<test::DeckLinkMode> next;
        {
            const Call made = call("Next");
            if (made.failure) return *made.failure;
            if (next_ == modes_.size()) {
                *mode = nullptr;
                return 1;
            }
            next = modes_[next_++];
        }
        *mode = newDisplayMode(*next);
        return S_OK;
    }

private:
    const std::vector<test::DeckLinkMode> modes_;
    std::size_t next_ = 0;
};

class CardObject final : public Object<IDeckLink> {
public:
    explicit CardObject(CardPtr card) : Object("IDeckLink"), card_(std::move(card)) {}

    HRESULT GetModelName(const char** text) override {
        const Call made = call("GetModelName");
        return made.failure ? *made.failure : handOut(card_->is.model, text);
    }
    HRESULT GetDisplayName(const char** text) override {
        const Call made = call("GetDisplayName");
        return made.failure ? *made.failure : handOut(card_->is.model, text);
    }

protected:
    void* other(REFIID id) override { return newCardInterface(card_, id); }

private:
    const CardPtr card_;
};

class Attributes final : public Object<IDeckLinkProfileAttributes> {
public:
    explicit Attributes(CardPtr card)
        : Object("IDeckLinkProfileAttributes"), card_(std::move(card)) {}

    HRESULT GetFlag(std::uint32_t id, bool* value) override {
        const Call made = call("GetFlag");
        if (made.failure) return *made.failure;
        if (id != BMDDeckLinkSupportsInputFormatDetection) return E_INVALIDARG;
        if (!card_->is.formatDetection) return E_FAIL;
        *value = *card_->is.formatDetection;
        return S_OK;
    }
    HRESULT GetInt(std::uint32_t id, std::int64_t* value) override {
        const Call made = call("GetInt");
        if (made.failure) return *made.failure;
        const bool input = id == BMDDeckLinkVideoInputConnections;
        if (!input && id != BMDDeckLinkVideoOutputConnections) return E_INVALIDARG;
        const auto& lines = input ? card_->is.inputLines : card_->is.outputLines;
        if (!lines) return E_FAIL;
        *value = *lines;
        return S_OK;
    }
    HRESULT GetFloat(std::uint32_t /*id*/, double* /*value*/) override { return E_INVALIDARG; }
    HRESULT GetString(std::uint32_t /*id*/, const char** /*value*/) override {
        return E_INVALIDARG;
    }

protected:
    void* other(REFIID id) override { return newCardInterface(card_, id); }

private:
    const CardPtr card_;
};

class Configuration final : public Object<IDeckLinkConfiguration> {
public:
    explicit Configuration(CardPtr card)
        : Object("IDeckLinkConfiguration"), card_(std::move(card)) {}

    HRESULT SetFlag(std::uint32_t /*id*/, bool /*value*/) override { return E_INVALIDARG; }
    HRESULT GetFlag(std::uint32_t /*id*/, bool* /*value*/) override { return E_INVALIDARG; }
    HRESULT SetInt(std::uint32_t id, std::int64_t value) override {
        const Call made = call("SetInt", *card_, {id, value});
        if (made.failure) return *made.failure;
        std::optional<std::int64_t>* const setting = connection(id);
        if (setting == nullptr) return E_INVALIDARG;
        *setting = value;
        machine().changed();
        return S_OK;
    }
    HRESULT GetInt(std::uint32_t id, std::int64_t* value) override {
        const Call made = call("GetInt");
        if (made.failure) return *made.failure;
        const std::optional<std::int64_t>* const setting = connection(id);
        if (setting == nullptr || !*setting) return E_INVALIDARG;
        *value = **setting;
        return S_OK;
    }
    HRESULT SetFloat(std::uint32_t /*id*/, double /*value*/) override { return E_INVALIDARG; }
    HRESULT GetFloat(std::uint32_t /*id*/, double* /*value*/) override { return E_INVALIDARG; }
    HRESULT SetString(std::uint32_t /*id*/, const char* /*value*/) override { return E_INVALIDARG; }
    HRESULT GetString(std::uint32_t /*id*/, const char** /*value*/) override {
        return E_INVALIDARG;
    }
    HRESULT WriteConfigurationToPreferences() override { return E_NOTIMPL; }

protected:
    void* other(REFIID id) override { return newCardInterface(card_, id); }

private:
    std::optional<std::int64_t>* connection(std::uint32_t id) {
        if (id == BMDDeckLinkVideoInputConnections) return &card_->state.inputConnection;
        if (id == BMDDeckLinkVideoOutputConnections) return &card_->state.outputConnection;
        return nullptr;
    }

    const CardPtr card_;
};

} // namespace

IDeckLinkIterator* newCardIterator(std::vector<CardPtr> cards) {
    return new CardIterator(std::move(cards));
}

void* newCardInterface(const CardPtr& card, const REFIID& id) {
    // The pointer is made of the interface's own type: what comes back is taken for that.
    if (id == IDeckLink::iid) return static_cast<IDeckLink*>(new CardObject(card));
    if (id == IDeckLinkInput::iid && card->is.input) return newInput(card);
    if (id == IDeckLinkOutput::iid && card->is.output) return newOutput(card);
    if (id == IDeckLinkProfileAttributes::iid && card->is.attributes)
        return static_cast<IDeckLinkProfileAttributes*>(new Attributes(card));
    if (id == IDeckLinkConfiguration::iid && card->is.configuration)
        return static_cast<IDeckLinkConfiguration*>(new Configuration(card));
    return nullptr;
}

HRESULT handOutMode(const Card& card, std::uint32_t mode, IDeckLinkDisplayMode** out) {
    const test::DeckLinkMode* const found = card.mode(mode);
    if (found == nullptr) return E_INVALIDARG;
    *out = newDisplayMode(*found);
    return S_OK;
}

IDeckLinkDisplayModeIterator* newModeIterator(const Card& card) {
    return new ModeIterator(card.is.modes);
}

} // namespace standin

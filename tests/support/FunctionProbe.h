// A function of the flat interface as a row of a table: how to call it with nothing but null and
// small buffers, and what has to come of it.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include "quolsdk/quolsdk_c_api.h"

namespace test {

// A result, or what is stored through a pointer, in its own type; nothing for a function without.
using Value = std::variant<std::monostate, int, std::int64_t, double>;

inline std::ostream& operator<<(std::ostream& out, const Value& value) {
    std::visit(
        [&out](const auto& held) {
            if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::monostate>)
                out << "nothing";
            else
                out << held;
        },
        value);
    return out;
}

// What a call is given beside its handle: every text null, every number 0, every source null.
struct Given {
    bool places = false;   // for results and texts; else null pointers
    std::int32_t size = 0; // told of each buffer for a text
    bool records = false;  // format records; else null pointers
};

constexpr int untouched = -7; // stands in every place before a call
using Buffer = std::array<char, 64>;

// What came of a call.
struct Outcome {
    Value result;
    std::vector<Value> stored; // in the places, in the order of the arguments
    std::vector<Buffer> buffers;
};

// Makes the arguments of a call, one after the other, and keeps what they point to.
class ArgumentMaker {
public:
    explicit ArgumentMaker(const Given& given) : given_(given) {}

    template <typename T>
    T make() {
        const bool isSize = std::exchange(isSizeNext_, false);
        if constexpr (std::is_same_v<T, int>) {
            return isSize ? given_.size : 0;
        } else if constexpr (std::is_same_v<T, char*>) {
            isSizeNext_ = true;
            buffers_.emplace_back().fill('x');
            return given_.places ? buffers_.back().data() : nullptr;
        } else if constexpr (std::is_same_v<T, const quolsdk_video_format*>) {
            return given_.records ? &video_ : nullptr;
        } else if constexpr (std::is_same_v<T, const quolsdk_audio_format*>) {
            return given_.records ? &audio_ : nullptr;
        } else if constexpr (std::is_same_v<T, int*> || std::is_same_v<T, std::int64_t*> ||
                             std::is_same_v<T, double*>) {
            using Number = std::remove_pointer_t<T>;
            Value& place = places_.emplace_back(Number{untouched});
            return given_.places ? std::get_if<Number>(&place) : nullptr;
        } else {
            return T{}; // a text, a source, a window; a number with a fraction
        }
    }

    Outcome outcome(Value result) const {
        return {result, {places_.begin(), places_.end()}, {buffers_.begin(), buffers_.end()}};
    }

private:
    const Given given_;
    bool isSizeNext_ = false; // the size belongs to the buffer before it
    std::deque<Buffer> buffers_;
    std::deque<Value> places_;
    const quolsdk_video_format video_ = {0, 64, 36, 25.0, 1};
    const quolsdk_audio_format audio_ = {6, 0, 0, 0};
};

// A row. Unless told otherwise a function gives no result, stores nothing and returns no text.
class Function {
public:
    template <typename Result, typename... Arguments>
    Function(std::string_view name, Result (*function)(quolsdk_handle, Arguments...))
        : name_(name) {
        call_ = [function](quolsdk_handle handle, const Given& given) {
            ArgumentMaker maker(given);
            std::tuple<Arguments...> arguments{maker.make<Arguments>()...}; // in their order
            const auto run = [&] {
                return std::apply([&](auto... each) { return function(handle, each...); },
                                  arguments);
            };
            if constexpr (std::is_void_v<Result>) {
                run();
                return maker.outcome({});
            } else {
                return maker.outcome(run());
            }
        };
        if constexpr (!std::is_void_v<Result>) answer_ = answerOnNull_ = Result{};
    }

    // What a new object answers; a null handle gives 0 of the same type.
    Function answers(Value answer) && {
        answer_ = answer;
        return std::move(*this);
    }
    Function answersOnNull(Value answer) && {
        answerOnNull_ = answer;
        return std::move(*this);
    }
    // What a new object stores through the pointers, in their order.
    Function stores(std::vector<Value> values) && {
        stored_ = std::move(values);
        return std::move(*this);
    }
    // The texts that a new object returns.
    Function returns(std::vector<std::string> texts) && {
        texts_ = std::move(texts);
        return std::move(*this);
    }
    // What the object needs before the call, so that it leaves nothing behind.
    Function behind(std::function<void(quolsdk_handle)> preparation) && {
        preparation_ = std::move(preparation);
        return std::move(*this);
    }

    const std::string& name() const { return name_; }
    Outcome call(quolsdk_handle handle, const Given& given) const { return call_(handle, given); }
    void prepare(quolsdk_handle handle) const {
        if (preparation_) preparation_(handle);
    }
    const Value& answer() const { return answer_; }
    const Value& answerOnNull() const { return answerOnNull_; }
    const std::vector<Value>& stored() const { return stored_; }
    const std::vector<std::string>& texts() const { return texts_; }

private:
    std::string name_;
    std::function<Outcome(quolsdk_handle, const Given&)> call_;
    std::function<void(quolsdk_handle)> preparation_;
    Value answer_;
    Value answerOnNull_;
    std::vector<Value> stored_;
    std::vector<std::string> texts_;
};

// One family: how an object comes and goes, and all other functions.
struct Family {
    std::string name;
    quolsdk_handle (*create)();
    void (*destroy)(quolsdk_handle);
    std::vector<Function> functions;

    friend std::ostream& operator<<(std::ostream& out, const Family& family) {
        return out << family.name;
    }
};

} // namespace test

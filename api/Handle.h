// What every function of the flat interface does with its arguments.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <system_error>
#include <type_traits>

#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"
#include "quolsdk/quolsdk_c_api.h"

namespace quol::api {

// The handle of a source is its LObject view, so that any source fits where one is asked for.
template <typename T>
void* toHandle(T* object) {
    if constexpr (std::is_base_of_v<LObject, T>) return static_cast<LObject*>(object);
    return object;
}

template <typename T>
T* fromHandle(void* handle) {
    if constexpr (std::is_base_of_v<LObject, T>)
        return static_cast<T*>(static_cast<LObject*>(handle));
    return static_cast<T*>(handle);
}

// The handle of a new object that starts a thread of its own, null where there is none to be had: a
// failure like any other, which a host in C could not catch. A lack of memory is raised.
template <typename T>
void* newHandle() {
    try {
        return toHandle(new T);
    } catch (const std::system_error&) {
        return nullptr;
    }
}

// Calls `use` with the object; `otherwise` stands in on a null handle.
template <typename T, typename Use, typename Result>
Result withObject(void* handle, Result otherwise, Use use) {
    return handle != nullptr ? static_cast<Result>(use(*fromHandle<T>(handle))) : otherwise;
}

template <typename T, typename Use>
void withObject(void* handle, Use use) {
    if (handle != nullptr) use(*fromHandle<T>(handle));
}

inline std::string textOf(const char* text) {
    return text != nullptr ? text : "";
}

inline void copyText(const std::string& text, char* buffer, std::int32_t size) {
    if (buffer == nullptr || size < 1) return;
    const std::size_t length = std::min(static_cast<std::size_t>(size) - 1, text.size());
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

template <typename T>
void store(T* pointer, T value) {
    if (pointer != nullptr) *pointer = value;
}

inline videoFormatProps formatOf(const quolsdk_video_format& format) {
    return {format.mode, format.width, format.height, format.fps, format.pixelFormat};
}

inline audioFormatProps formatOf(const quolsdk_audio_format& format) {
    return {format.mode, format.bitsPerSample, format.sampleRate, format.channels};
}

} // namespace quol::api

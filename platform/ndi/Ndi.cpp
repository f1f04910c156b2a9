#include "platform/ndi/Ndi.h"

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "platform/RuntimeLibrary.h"

namespace quol::ndi {

namespace {

bool findOperations(const RuntimeLibrary& library, Runtime& runtime) {
    return library.find("NDIlib_initialize", runtime.initialize) &&
           library.find("NDIlib_destroy", runtime.destroy) &&
           library.find("NDIlib_find_create_v2", runtime.find_create_v2) &&
           library.find("NDIlib_find_wait_for_sources", runtime.find_wait_for_sources) &&
           library.find("NDIlib_find_get_current_sources", runtime.find_get_current_sources) &&
           library.find("NDIlib_find_destroy", runtime.find_destroy) &&
           library.find("NDIlib_recv_create_v3", runtime.recv_create_v3) &&
           library.find("NDIlib_recv_connect", runtime.recv_connect) &&
           library.find("NDIlib_recv_capture_v2", runtime.recv_capture_v2) &&
           library.find("NDIlib_recv_free_video_v2", runtime.recv_free_video_v2) &&
           library.find("NDIlib_recv_free_audio_v2", runtime.recv_free_audio_v2) &&
           library.find("NDIlib_recv_destroy", runtime.recv_destroy) &&
           library.find("NDIlib_send_create", runtime.send_create) &&
           library.find("NDIlib_send_send_video_v2", runtime.send_send_video_v2) &&
           library.find("NDIlib_send_send_audio_v2", runtime.send_send_audio_v2) &&
           library.find("NDIlib_send_destroy", runtime.send_destroy);
}

} // namespace

std::vector<std::string> runtimeCandidates() {
    std::vector<std::string> folders;
    for (const char* variable : {"NDI_RUNTIME_DIR_V6", "NDI_RUNTIME_DIR_V5"}) {
        // Never for a process with more rights than its user has: it would load what he names.
        const char* const folder = secure_getenv(variable);
        if (folder != nullptr && *folder != '\0') folders.push_back(folder + std::string("/"));
    }
    folders.emplace_back();
    std::vector<std::string> candidates;
    for (const std::string& folder : folders) {
        for (const char* name : {"libndi.so.6", "libndi.so.5", "libndi.so"})
            candidates.push_back(folder + name);
    }
    return candidates;
}

std::optional<Runtime> loadRuntime(const std::vector<std::string>& candidates) {
    for (const std::string& candidate : candidates) {
        RuntimeLibrary library(candidate);
        Runtime runtime{};
        if (!library || !findOperations(library, runtime)) continue;
        library.keep();
        return runtime;
    }
    return std::nullopt;
}

const Runtime* runtime() {
    // Written once under the mutex, then only read.
    static std::mutex mutex;
    static Runtime found;
    static std::atomic<bool> loaded = false;

    if (loaded.load(std::memory_order_acquire)) return &found;
    const std::lock_guard lock(mutex);
    if (!loaded.load(std::memory_order_relaxed)) {
        const std::optional<Runtime> candidate = loadRuntime(runtimeCandidates());
        if (!candidate) return nullptr;
        found = *candidate;
        loaded.store(true, std::memory_order_release);
    }
    return &found;
}

} // namespace quol::ndi

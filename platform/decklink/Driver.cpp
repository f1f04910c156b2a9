#include "platform/decklink/Driver.h"

#include <mutex>

#include "platform/RuntimeLibrary.h"

namespace quol::decklink {

CreateIterator loadEntryPoint(const std::vector<std::string>& candidates) {
    for (const std::string& candidate : candidates) {
        RuntimeLibrary library(candidate);
        CreateIterator create = nullptr;
        if (!library.find("CreateDeckLinkIteratorInstance_0004", create)) continue;
        library.keep();
        return create;
    }
    return nullptr;
}

ComRef<IDeckLinkIterator> createIterator() {
    static std::mutex mutex; // over `create`
    static CreateIterator create = nullptr;

    std::unique_lock lock(mutex);
    if (create == nullptr) create = loadEntryPoint({"libDeckLinkAPI.so"});
    const CreateIterator found = create;
    lock.unlock();
    return found == nullptr ? ComRef<IDeckLinkIterator>()
                            : ComRef<IDeckLinkIterator>::adopt(found());
}

} // namespace quol::decklink

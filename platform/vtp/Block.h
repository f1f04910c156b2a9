// Memory for messages: written once by one thread, then shared by those that send or show it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

namespace quol::vtp {

class Block {
public:
    // The scaler reads whole registers, a few bytes beyond the last pixel.
    static constexpr std::size_t slack = 64;

    explicit Block(std::size_t capacity)
        : bytes_(new std::uint8_t[capacity + slack]), capacity_(capacity) {
        std::memset(bytes_.get() + capacity, 0, slack);
    }

    std::uint8_t* data() { return bytes_.get(); }
    const std::uint8_t* data() const { return bytes_.get(); }
    std::size_t size() const { return size_; }
    std::size_t capacity() const { return capacity_; }
    void resize(std::size_t size) { size_ = size; } // at most the capacity

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t capacity_;
    std::size_t size_ = 0;
};

using BlockPtr = std::shared_ptr<Block>;
using SharedBlock = std::shared_ptr<const Block>;

// Keeps the memory of a few blocks that were given back, as memory that was used before is several
// times faster to write than freshly mapped pages. Blocks may outlive the pool. Any thread.
class BlockPool {
public:
    // A block of that size, whatever was last written in it. Null when memory is short.
    BlockPtr get(std::size_t size);

private:
    struct Kept {
        static constexpr std::size_t most = 6;

        // Giving back must not allocate.
        Kept() { blocks.reserve(most); }

        std::mutex mutex;
        std::vector<std::unique_ptr<Block>> blocks; // guarded by mutex, the oldest first
    };

    std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
};

} // namespace quol::vtp

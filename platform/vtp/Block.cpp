#include "platform/vtp/Block.h"

#include <new>

namespace quol::vtp {

namespace {

// Far larger memory than what is asked for is left to those who need it.
bool fits(const Block& block, std::size_t size) {
    return block.capacity() >= size && block.capacity() / 2 <= size + 4096;
}

std::unique_ptr<Block> takeKept(std::vector<std::unique_ptr<Block>>& blocks, std::size_t size) {
    for (std::size_t i = blocks.size(); i-- > 0;) {
        if (!fits(*blocks[i], size)) continue;
        std::unique_ptr<Block> block = std::move(blocks[i]);
        blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(i));
        return block;
    }
    return nullptr;
}

} // namespace

BlockPtr BlockPool::get(std::size_t size) {
    std::unique_ptr<Block> block;
    {
        const std::lock_guard lock(kept_->mutex);
        block = takeKept(kept_->blocks, size);
    }
    try {
        if (!block) block = std::make_unique<Block>(size > 0 ? size : 1);
        block->resize(size);
        const auto giveBack = [kept = std::weak_ptr<Kept>(kept_)](Block* used) {
            std::unique_ptr<Block> owned(used);
            const std::shared_ptr<Kept> pool = kept.lock();
            if (!pool) return;
            std::unique_ptr<Block> oldest; // goes after the lock
            const std::lock_guard lock(pool->mutex);
            if (pool->blocks.size() >= Kept::most) {
                oldest = std::move(pool->blocks.front());
                pool->blocks.erase(pool->blocks.begin());
            }
            pool->blocks.push_back(std::move(owned));
        };
        return BlockPtr(block.release(), giveBack);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace quol::vtp

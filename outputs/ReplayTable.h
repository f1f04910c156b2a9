// A table that grows for hours: one entry behind the other, looked up by time.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace quol {

// Entries are plain records with a finite `time` in seconds. They lie in blocks that never move, so
// that a table of a million entries takes the next one as quickly as an empty one does, and needs
// no more than a block above what is in it.
//
// Times mostly rise, but need not: a recording that was started again counts from 0 once more. The
// table remembers where they fall, and searches each rising run for itself, in the order of the
// entries. What it finds is what looking at every entry would find.
//
// One thread at a time.
template <typename Entry>
class ReplayTable {
public:
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const Entry& operator[](std::size_t index) const {
        return blocks_[index / blockEntries][index % blockEntries];
    }
    const Entry& back() const { return (*this)[size_ - 1]; }

    // Throws std::bad_alloc, with the table as it was.
    void append(const Entry& entry) {
        if (size_ == blocks_.size() * blockEntries) {
            blocks_.reserve(blocks_.size() + 1);
            blocks_.push_back(std::unique_ptr<Entry[]>(new Entry[blockEntries]));
        }
        if (empty() || entry.time < back().time) runs_.push_back(size_);
        blocks_[size_ / blockEntries][size_ % blockEntries] = entry;
        ++size_;
    }

    void clear() {
        blocks_.clear();
        blocks_.shrink_to_fit();
        runs_.clear();
        runs_.shrink_to_fit();
        size_ = 0;
    }

    // Bytes that the entries take, with what is set aside for the next ones.
    std::size_t bytes() const {
        return blocks_.size() * blockEntries * sizeof(Entry) +
               blocks_.capacity() * sizeof(blocks_[0]) + runs_.capacity() * sizeof(runs_[0]);
    }

    // How many rising runs there are.
    std::size_t runs() const { return runs_.size(); }
    std::size_t runBegin(std::size_t run) const { return runs_[run]; }
    std::size_t runEnd(std::size_t run) const {
        return run + 1 < runs_.size() ? runs_[run + 1] : size_;
    }

    // The first entry of [begin, end) for which `holds`, else `end`; it must hold for all entries
    // behind one for which it does.
    template <typename Holds>
    std::size_t firstOf(std::size_t begin, std::size_t end, Holds holds) const {
        while (begin < end) {
            const std::size_t middle = begin + (end - begin) / 2;
            if (holds((*this)[middle])) {
                end = middle;
            } else {
                begin = middle + 1;
            }
        }
        return end;
    }

    static constexpr std::size_t blockEntries = 4096;

private:
    std::vector<std::unique_ptr<Entry[]>> blocks_;
    std::vector<std::size_t> runs_; // where each one begins
    std::size_t size_ = 0;
};

} // namespace quol

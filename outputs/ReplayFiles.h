// The two files of a replay: bytes are put behind each other and read back from anywhere.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quol {

// Where bytes lie in a file.
struct ReplayPiece {
    std::int64_t offset = 0;
    std::int32_t size = 0; // 0: nowhere, they could not be written
};

// Writes to the end of a new file. Nothing stays behind in a buffer: what `append` has returned can
// be read. One thread at a time.
class ReplayWriter {
public:
    // Makes the file, or empties the one that is there. Null when it cannot.
    static std::unique_ptr<ReplayWriter> create(const std::string& path);
    ReplayWriter() = default; // of no file; create() makes those that write
    ~ReplayWriter();
    ReplayWriter(const ReplayWriter&) = delete;
    ReplayWriter& operator=(const ReplayWriter&) = delete;

    // A disk that is full or gone gives a piece of no bytes; the next one is written over what had
    // come through.
    ReplayPiece append(const std::uint8_t* bytes, std::int32_t size);

    // Whether the file was not there before.
    bool isNew() const { return isNew_; }

private:
    int descriptor_ = -1;
    bool isNew_ = false;
    std::int64_t end_ = 0;
};

// Reads while the file grows. Any thread: it has no place of its own in the file.
class ReplayReader {
public:
    // Null when it cannot.
    static std::shared_ptr<ReplayReader> open(const std::string& path);
    ReplayReader() = default; // of no file; open() makes those that read
    ~ReplayReader();
    ReplayReader(const ReplayReader&) = delete;
    ReplayReader& operator=(const ReplayReader&) = delete;

    // All bytes of a piece into `bytes`. False when the file has not all of them any more.
    bool read(const ReplayPiece& piece, std::uint8_t* bytes) const;

    // The same for a picture, with room behind it for a decoder; false also for bytes that are not
    // those of a whole JPEG, as a file that was cut and went on has them.
    bool readPicture(const ReplayPiece& piece, std::vector<std::uint8_t>& bytes) const;

private:
    int descriptor_ = -1;
};

} // namespace quol

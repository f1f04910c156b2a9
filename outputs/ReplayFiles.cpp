#include "outputs/ReplayFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quol {

namespace {

constexpr int firstMarker = 0xD8; // start of image
constexpr int lastMarker = 0xD9;  // end of image

// Not on a pipe, where opening would wait for the other end.
int openFile(const std::string& path, int flags) {
    constexpr mode_t permissions = 0666;
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, permissions);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

} // namespace

std::unique_ptr<ReplayWriter> ReplayWriter::create(const std::string& path) {
    auto writer = std::make_unique<ReplayWriter>();
    writer->descriptor_ = openFile(path, O_WRONLY | O_CREAT | O_EXCL);
    writer->isNew_ = writer->descriptor_ >= 0;
    if (!writer->isNew_) writer->descriptor_ = openFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    return writer->descriptor_ >= 0 ? std::move(writer) : nullptr;
}

ReplayWriter::~ReplayWriter() {
    if (descriptor_ >= 0) close(descriptor_);
}

ReplayPiece ReplayWriter::append(const std::uint8_t* bytes, std::int32_t size) {
    const ReplayPiece piece{end_, std::max(size, 0)};
    std::int32_t written = 0;
    while (written < piece.size) {
        const ssize_t step = pwrite(descriptor_, bytes + written,
                                    static_cast<std::size_t>(piece.size - written), end_ + written);
        if (step < 0 && errno == EINTR) continue;
        if (step <= 0) return {end_, 0};
        written += static_cast<std::int32_t>(step);
    }
    end_ += piece.size;
    return piece;
}

std::shared_ptr<ReplayReader> ReplayReader::open(const std::string& path) {
    auto reader = std::make_shared<ReplayReader>();
    reader->descriptor_ = openFile(path, O_RDONLY);
    return reader->descriptor_ >= 0 ? reader : nullptr;
}

ReplayReader::~ReplayReader() {
    if (descriptor_ >= 0) close(descriptor_);
}

bool ReplayReader::read(const ReplayPiece& piece, std::uint8_t* bytes) const {
    if (piece.size <= 0) return false;
    std::int32_t done = 0;
    while (done < piece.size) {
        const ssize_t step =
            pread(descriptor_, bytes + done, static_cast<std::size_t>(piece.size - done),
                  piece.offset + done);
        if (step < 0 && errno == EINTR) continue;
        if (step <= 0) return false;
        done += static_cast<std::int32_t>(step);
    }
    return true;
}

bool ReplayReader::readPicture(const ReplayPiece& piece, std::vector<std::uint8_t>& bytes) const {
    constexpr std::int32_t smallest = 4; // bytes: the two markers
    if (piece.size < smallest) return false;
    const auto size = static_cast<std::size_t>(piece.size);
    bytes.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);
    if (!read(piece, bytes.data())) return false;
    std::fill(bytes.begin() + piece.size, bytes.end(), std::uint8_t{0});
    return bytes[0] == 0xFF && bytes[1] == firstMarker && bytes[size - 2] == 0xFF &&
           bytes[size - 1] == lastMarker;
}

} // namespace quol

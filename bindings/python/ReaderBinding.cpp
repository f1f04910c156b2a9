// Questions about a media file.
#include <mutex>

#include "Bind.h"
#include "quolsdk/LReader.h"

namespace quolpy {

namespace {

// A reader is for one thread at a time, and Python's threads come as they like.
struct Reader {
    std::mutex mutex;
    LReader reader; // under `mutex`
};

// Binds a question, whose answer is a number or a text.
template <typename Answer>
auto question(Answer (LReader::*method)() const) {
    using Result = std::conditional_t<std::is_same_v<Answer, std::string>, Text, Answer>;
    return [method](Reader& self) -> Result {
        const std::lock_guard lock(self.mutex);
        return (self.reader.*method)();
    };
}

} // namespace

void bindReader(py::module_& module) {
    py::class_<Reader, std::shared_ptr<Reader>>(
        module, "LReader", "What a media file's container says, without playing it.")
        .def(py::init<>())
        .def(
            "open",
            [](Reader& self, const Path& path) {
                const std::lock_guard lock(self.mutex);
                return self.reader.open(path.string());
            },
            unlocked(), py::arg("path"), "Opens a file; False when it is no media file.")
        .def(
            "close",
            [](Reader& self) {
                const std::lock_guard lock(self.mutex);
                self.reader.close();
            },
            unlocked(), "Closes the file.")
        .def("getDurationMs", question(&LReader::getDurationMs), unlocked(), "Milliseconds.")
        .def("getFPS", question(&LReader::getFPS), unlocked(), "Average frame rate.")
        .def("getWidth", question(&LReader::getWidth), unlocked(), "Pixels as coded.")
        .def("getHeight", question(&LReader::getHeight), unlocked(), "Pixels as coded.")
        .def("getFileLen", question(&LReader::getFileLen), unlocked(), "Bytes.")
        .def("getVideoCodec", question(&LReader::getVideoCodec), unlocked(), "Decoder's name.")
        .def("getAudioCodec", question(&LReader::getAudioCodec), unlocked(), "Decoder's name.")
        .def("getContainer", question(&LReader::getContainer), unlocked(), "Format's short name.")
        .def("getBitrate", question(&LReader::getBitrate), unlocked(), "Bits a second.")
        .def("getAudioBitrate", question(&LReader::getAudioBitrate), unlocked(), "Bits a second.")
        .def("getAudioChannels", question(&LReader::getAudioChannels), unlocked(),
             "0 without sound.")
        .def("getAspectRatio", question(&LReader::getAspectRatio), unlocked(),
             "\"16:9\"; \"N/A\" without a picture.")
        .def("getColorSpace", question(&LReader::getColorSpace), unlocked(),
             "FFmpeg's name of the colour space.")
        .def("getChromaSubsampling", question(&LReader::getChromaSubsampling), unlocked(),
             "\"4:2:0\", \"4:2:2\" or \"4:4:4\"; else \"Unknown\".")
        .def("getBitDepth", question(&LReader::getBitDepth), unlocked(),
             "Bits of the first component.")
        .def("getScanType", question(&LReader::getScanType), unlocked(),
             "\"Progressive\" or \"Interlaced\".")
        .def("getInTC", question(&LReader::getInTC), unlocked(), "Start time code.")
        .def("getOutTC", question(&LReader::getOutTC), unlocked(),
             "Start time code plus the duration.");
}

} // namespace quolpy

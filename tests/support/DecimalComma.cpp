#include "support/DecimalComma.h"

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/CapturedStream.h"

namespace test {

DecimalComma::DecimalComma() {
    const std::string folder = temporaryPath("locales");
    std::filesystem::create_directories(folder + "/comma");
    std::ifstream plain("/usr/lib/locale/C.utf8/LC_NUMERIC", std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(plain), {}};
    // A table of offsets: the decimal point is the first entry, and the fourth as a wide one.
    for (const std::size_t entry : {0U, 3U}) {
        std::uint32_t offset = 0;
        if (bytes.size() < 12 + entry * 4) return;
        std::memcpy(&offset, bytes.data() + 8 + entry * 4, 4);
        if (offset >= bytes.size() || bytes[offset] != '.') return;
        bytes[offset] = ',';
    }
    std::ofstream(folder + "/comma/LC_NUMERIC", std::ios::binary) << bytes;
    setenv("LOCPATH", folder.c_str(), 1);
    std::setlocale(LC_NUMERIC, "comma");
    unsetenv("LOCPATH");
}

DecimalComma::~DecimalComma() {
    std::setlocale(LC_NUMERIC, "C");
}

bool DecimalComma::isSet() const {
    return std::strtof("2,5", nullptr) == 2.5F;
}

} // namespace test

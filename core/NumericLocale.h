// Numbers as FFmpeg writes them, in a host of any country.
#pragma once

#include <locale.h>

namespace quol {

// From construction to destruction the calling thread reads and writes decimal points, whatever the
// host's locale says: options and chains of filters have them. The process's locale belongs to the
// host. Without memory for it all stays as it is. For one thread, which makes and destroys it.
class NumericLocaleC {
public:
    NumericLocaleC();
    ~NumericLocaleC();
    NumericLocaleC(const NumericLocaleC&) = delete;
    NumericLocaleC& operator=(const NumericLocaleC&) = delete;

private:
    locale_t numeric_{};
    locale_t previous_{};
};

} // namespace quol

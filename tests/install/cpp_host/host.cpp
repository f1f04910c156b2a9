#include <cstdio>
#include <memory>

#include "quolsdk/LSignal.h"
#include "quolsdk/quolsdk_c_api.h"

int main() {
    const auto signal = std::make_unique<LSignal>();
    std::printf("quolsdk %s with a signal\n", quolsdk_get_version());
    return signal ? 0 : 1;
}

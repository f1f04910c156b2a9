// What FFmpeg's protocols are told, whoever opens an address.
#pragma once

#include <string>

#include "core/Handles.h"

namespace quol {

// Completes the options that `address` is opened with; what is set already stays.
void completeProtocolOptions(const std::string& address, Dictionary& options);

} // namespace quol

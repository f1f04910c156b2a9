// The two halves of the layer mixer's binding.
#pragma once

#include "Bind.h"
#include "MixerLayer.h"

namespace quolpy {

void bindLayer(py::module_& module);

} // namespace quolpy

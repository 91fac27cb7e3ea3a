#pragma once

#include <string>

#include "Frame.h"

namespace tamo::tool {

// Writes an 8-bit RGB or grey PNG; false with a reason on failure.
bool writePng(const std::string& path, const Image& image, std::string& error,
              const RowDone& rowDone = nullptr);

} // namespace tamo::tool

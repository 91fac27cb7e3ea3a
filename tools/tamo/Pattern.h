#pragma once

#include <cstdint>
#include <set>

#include "Frame.h"

namespace tamo::tool {

/*
 * The session's test pattern: eight colour bars (white, yellow, cyan, green,
 * magenta, red, blue, black from left to right), a black and white target
 * in the top-left corner and the frame number in the bottom-left corner, in
 * YCbCr_420_888 or RAW16 (RGGB, 10 bits). A BLOB gets a line of text and
 * the transport header at its end.
 */
class TestPattern {
public:
    /*
     * Draws into the planes of a locked buffer. Pools hand the same buffers
     * out again and they keep what was drawn, so the bars and the target
     * are drawn once per buffer and only the number on every frame.
     */
    void draw(const void* buffer, const Frame& frame, uint32_t number);

private:
    std::set<const void*> painted;
};

} // namespace tamo::tool

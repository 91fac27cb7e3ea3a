/*
 * Host libui: an integer rectangle, left and top inclusive, right and
 * bottom exclusive.
 */
#pragma once

#include <cstdint>
#include <limits>

namespace android {

class Rect {
public:
    int32_t left = 0;
    int32_t top = 0;
    int32_t right = 0;
    int32_t bottom = 0;

    Rect() = default;
    Rect(int32_t w, int32_t h) : right(w), bottom(h) {}
    // Sizes beyond INT32_MAX are clamped to it.
    Rect(uint32_t w, uint32_t h) : right(clamp(w)), bottom(clamp(h)) {}
    Rect(int32_t l, int32_t t, int32_t r, int32_t b) : left(l), top(t), right(r), bottom(b) {}

    int32_t getWidth() const { return right - left; }
    int32_t getHeight() const { return bottom - top; }
    bool isEmpty() const { return left >= right || top >= bottom; }
    bool isValid() const { return left <= right && top <= bottom; }

private:
    static int32_t clamp(uint32_t v)
    {
        return v > uint32_t{std::numeric_limits<int32_t>::max()} ? std::numeric_limits<int32_t>::max()
                                                                 : static_cast<int32_t>(v);
    }
};

} // namespace android

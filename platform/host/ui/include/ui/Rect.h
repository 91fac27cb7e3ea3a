/*
 * Host libui: an integer rectangle, left and top inclusive, right and
 * bottom exclusive. As on the device, a default Rect is the invalid one
 * (right and bottom -1), and a width-height pair of any one integer type is
 * clamped to INT32_MAX.
 */
#pragma once

#include <cstdint>

#include <android/rect.h>

namespace android {

class Rect : public ARect {
public:
    typedef ARect::value_type value_type;

    static const Rect INVALID_RECT;
    static const Rect EMPTY_RECT;

    inline Rect() : Rect(INVALID_RECT) {}

    template <typename T>
    inline Rect(T w, T h)
    {
        if (w > INT32_MAX)
            w = INT32_MAX;
        if (h > INT32_MAX)
            h = INT32_MAX;
        left = top = 0;
        right = static_cast<int32_t>(w);
        bottom = static_cast<int32_t>(h);
    }

    inline Rect(int32_t l, int32_t t, int32_t r, int32_t b)
    {
        left = l;
        top = t;
        right = r;
        bottom = b;
    }

    void makeInvalid();

    inline void clear() { left = top = right = bottom = 0; }

    inline bool isValid() const { return getWidth() >= 0 && getHeight() >= 0; }
    inline bool isEmpty() const { return getWidth() <= 0 || getHeight() <= 0; }

    __attribute__((no_sanitize("signed-integer-overflow"))) inline int32_t getWidth() const
    {
        return right - left;
    }
    __attribute__((no_sanitize("signed-integer-overflow"))) inline int32_t getHeight() const
    {
        return bottom - top;
    }

    inline bool operator==(const Rect& rhs) const
    {
        return left == rhs.left && top == rhs.top && right == rhs.right && bottom == rhs.bottom;
    }
    inline bool operator!=(const Rect& rhs) const { return !operator==(rhs); }
};

} // namespace android

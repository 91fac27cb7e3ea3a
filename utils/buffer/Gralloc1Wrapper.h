#pragma once

namespace tamo {

// Room for a gralloc 1 binding; the allocator carries it as its context.
class Gralloc1Wrapper {
public:
    ~Gralloc1Wrapper();
    bool setupGralloc1Interface();
};

} // namespace tamo

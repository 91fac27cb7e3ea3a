/*
 * Names and types of the platform layer's vendor tags (tag numbers from
 * 0x81000000 up), for the camera metadata library's vendor tag callbacks.
 */
#pragma once

#include <cstdint>
#include <memory>

namespace tamo::platform {

class IPlatformTagDescriptor {
public:
    // The process's descriptor; empty when the platform has none.
    static std::shared_ptr<IPlatformTagDescriptor> getInstance();

    virtual ~IPlatformTagDescriptor() = default;

    // Strings are owned by the descriptor; null for an unknown tag.
    virtual const char* getSectionName(uint32_t tag) const = 0;
    virtual const char* getTagName(uint32_t tag) const = 0;
    // Camera metadata type code, 255 for an unknown tag.
    virtual int getTagType(uint32_t tag) const = 0;
};

} // namespace tamo::platform

/*
 * Host only: the stand-in platform's defaults and the hooks that let tests
 * put their own environment or tag descriptor (or none) in place.
 * Not part of the device's platform library.
 */
#pragma once

#include <cstdint>
#include <memory>

#include <tamo_platform/IPlatformEnviron.h>
#include <tamo_platform/IPlatformTagDescriptor.h>

namespace tamo::platform::host {

// Cameras the default environment describes: ids 0 to kHostCameraCount - 1.
constexpr uint32_t kHostCameraCount = 9;
// First tag number of the default platform vendor tags.
constexpr uint32_t kHostVendorTagBase = 0x81000000;

// Fresh instances of the defaults, for tests that wrap or count them.
std::shared_ptr<IPlatformEnviron> createHostEnviron();
std::shared_ptr<IPlatformTagDescriptor> createHostTagDescriptor();

// What getInstance() gives from now on; null means "none". The previous
// instance is released once its last user lets go of it.
void installEnviron(std::shared_ptr<IPlatformEnviron> environment);
void installTagDescriptor(std::shared_ptr<IPlatformTagDescriptor> descriptor);

// Back to the defaults (made on the next getInstance()).
void resetPlatform();

} // namespace tamo::platform::host

/*
 * The stand-in platform's own vendor tag table, shared by its environment
 * (which lists it) and its tag descriptor (which names and types it).
 */
#pragma once

#include <vector>

#include <tamo_platform/AppVendorTag.h>

namespace tamo::platform::host {

// Section at position p owns the numbers kHostVendorTagBase + (p << 16) + i.
const std::vector<AppVendorTagSection>& hostVendorTagSections();

} // namespace tamo::platform::host

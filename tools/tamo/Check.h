/*
 * tamo meta check: a camera's characteristics against the platform's API
 * level 30 rules, and the hook it takes into `meta make --from-json`.
 */
#pragma once

#include <functional>
#include <string>

#include <system/camera_metadata.h>

#include "Command.h"

namespace tamo::tool {

// Gets a camera's packet and where it came from; returns the exit status.
using PacketUse = std::function<int(const camera_metadata_t* packet, const std::string& source)>;

// Reads a camera as `meta make --from-json` does, unknown keys skipped with
// a warning, and hands it to `use`.
int useJsonCamera(const std::string& path, unsigned int index, const PacketUse& use);

void addMetaCheckCommand(CLI::App& meta, Runner& runner);

} // namespace tamo::tool

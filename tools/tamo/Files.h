#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tamo::tool {

// Failures give a reason that starts with the path.
std::optional<uintmax_t> fileSize(const std::string& path, std::string& error);
// The first `bytes` bytes of the file.
bool readFile(const std::string& path, void* into, size_t bytes, std::string& error);
bool writeFile(const std::string& path, const void* data, size_t bytes, std::string& error);

} // namespace tamo::tool

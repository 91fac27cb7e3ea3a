#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tamo::tool {

// Failures give a reason that starts with the path.
std::optional<uintmax_t> fileSize(const std::string& path, std::string& error);
// The first `bytes` bytes of the file.
bool readFile(const std::string& path, void* into, size_t bytes, std::string& error);

// Writes an output's bytes into the open file; false with a reason when it
// could not (the path is added to it).
using Fill = std::function<bool(FILE* file, std::string& reason)>;

/*
 * Every file the tool writes goes through here. A new file is made beside
 * the target, filled, flushed, synced and closed, and only then renamed
 * over it, so the target is either whole or as it was, and no temporary
 * stays behind. Links are followed to what they name. A target that exists
 * and is not a regular file (a device, a FIFO, /dev/stdout, or "-" for
 * standard output) is written in place and never replaced or removed.
 */
bool writeOutput(const std::string& path, const Fill& fill, std::string& error);
struct Bytes {
    const void* data;
    size_t size;
};
// The pieces one after another.
bool writeFile(const std::string& path, const std::vector<Bytes>& pieces, std::string& error);

// Refuses an output that is one of the inputs, by path or by device and inode.
bool notAnInput(const std::string& output, const std::vector<std::string>& inputs, std::string& error);

// Makes the directory if need be and proves that files can be made in it.
bool writableDirectory(const std::string& path, std::string& error);

} // namespace tamo::tool

#include "Files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace tamo::tool {

namespace {

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

std::string reason(const std::string& path, int error)
{
    return path + ": " + std::strerror(error);
}

} // namespace

std::optional<uintmax_t> fileSize(const std::string& path, std::string& error)
{
    std::error_code code;
    if (!std::filesystem::is_regular_file(path, code)) {
        error = path + ": " + (code ? code.message() : "not a regular file");
        return std::nullopt;
    }
    uintmax_t size = std::filesystem::file_size(path, code);
    if (code) {
        error = path + ": " + code.message();
        return std::nullopt;
    }
    return size;
}

bool readFile(const std::string& path, void* into, size_t bytes, std::string& error)
{
    File file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        error = reason(path, errno);
        return false;
    }
    if (std::fread(into, 1, bytes, file.get()) != bytes) {
        error = path + ": shorter than " + std::to_string(bytes) + " bytes";
        return false;
    }
    return true;
}

bool writeFile(const std::string& path, const void* data, size_t bytes, std::string& error)
{
    File file(std::fopen(path.c_str(), "wb"));
    if (file == nullptr) {
        error = reason(path, errno);
        return false;
    }
    if (std::fwrite(data, 1, bytes, file.get()) != bytes || std::fflush(file.get()) != 0) {
        error = reason(path, errno);
        return false;
    }
    return true;
}

} // namespace tamo::tool

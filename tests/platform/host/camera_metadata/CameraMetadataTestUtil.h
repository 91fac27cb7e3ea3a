#pragma once

#include <system/camera_metadata.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

struct MetadataDeleter {
    void operator()(camera_metadata_t* m) const { free_camera_metadata(m); }
};
using MetadataPtr = std::unique_ptr<camera_metadata_t, MetadataDeleter>;

inline MetadataPtr makeMetadata(size_t entries, size_t data) {
    return MetadataPtr(allocate_camera_metadata(entries, data));
}

// Packet fields by byte offset, as another process sees them.
inline uint32_t u32At(const void* p, size_t offset) {
    uint32_t v;
    memcpy(&v, static_cast<const uint8_t*>(p) + offset, sizeof(v));
    return v;
}
inline void setU32(void* p, size_t offset, uint32_t v) {
    memcpy(static_cast<uint8_t*>(p) + offset, &v, sizeof(v));
}

// A heap copy of exactly `size` bytes after `shift` bytes, so that ASan
// reports any access past the packet.
struct ExactCopy {
    ExactCopy(const void* src, size_t size, size_t shift = 0)
        : bytes(new uint8_t[size + shift]), size(size), shift(shift) {
        memcpy(bytes.get() + shift, src, size);
    }
    camera_metadata_t* get() { return reinterpret_cast<camera_metadata_t*>(bytes.get() + shift); }
    int validate() { return validate_camera_metadata_structure(get(), &size); }
    std::unique_ptr<uint8_t[]> bytes;
    size_t size;
    size_t shift;
};

// Everything written to a file descriptor by fn(fd).
template <typename Fn>
std::string captureFd(Fn fn) {
    FILE* f = tmpfile();
    fn(fileno(f));
    std::string out;
    rewind(f);
    char buf[512];
    for (size_t n; (n = fread(buf, 1, sizeof(buf), f)) > 0;) out.append(buf, n);
    fclose(f);
    return out;
}

#pragma once

#include <system/camera_metadata.h>

#include <cstdint>
#include <cstdio>
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

// A heap copy of exactly `size` bytes placed `shift` bytes into its block,
// so that ASan reports any access past the packet.
struct ExactCopy {
    ExactCopy(const void* src, size_t n, size_t shift = 0)
        : bytes(new uint8_t[n + shift]), size(n), at(bytes.get() + shift) {
        memcpy(at, src, n);
    }
    camera_metadata_t* get() { return reinterpret_cast<camera_metadata_t*>(at); }
    int validate() { return validate_camera_metadata_structure(get(), &size); }
    std::unique_ptr<uint8_t[]> bytes;
    size_t size;
    uint8_t* at;
};

// What fn(fd) writes.
template <typename Fn>
std::string captureFd(Fn fn) {
    FILE* f = tmpfile();
    fn(fileno(f));
    std::string out(static_cast<size_t>(ftell(f)), '\0');
    rewind(f);
    out.resize(fread(&out[0], 1, out.size(), f));
    fclose(f);
    return out;
}

/*
 * Writes the seed inputs of the fuzz targets into <dir>/<target>/: a few
 * well-formed packets and operation sequences that reach each target's
 * main paths, for the fuzzers to mutate from.
 *
 *   make_fuzz_corpus fuzz/corpus
 */
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include <camera_metadata_hidden.h>
#include <system/camera_metadata.h>

namespace {

using Bytes = std::vector<uint8_t>;
using Packet = std::unique_ptr<camera_metadata_t, void (*)(camera_metadata_t*)>;

std::string root;

void write(const std::string& target, const std::string& name, const Bytes& bytes)
{
    const std::string dir = root + "/" + target;
    mkdir(root.c_str(), 0755);
    mkdir(dir.c_str(), 0755);
    FILE* f = std::fopen((dir + "/" + name).c_str(), "wb");
    if (f == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) {
        std::perror(name.c_str());
        std::exit(1);
    }
    std::fclose(f);
}

Bytes& operator<<(Bytes& out, std::initializer_list<int> bytes)
{
    for (int b : bytes)
        out.push_back(static_cast<uint8_t>(b));
    return out;
}

Bytes& u16(Bytes& out, unsigned int v)
{
    return out << std::initializer_list<int>{int(v & 0xFF), int(v >> 8 & 0xFF)};
}

Bytes& u32(Bytes& out, uint32_t v)
{
    return u16(u16(out, v & 0xFFFF), v >> 16);
}

Bytes bytesOf(const camera_metadata_t* m)
{
    auto* p = reinterpret_cast<const uint8_t*>(m);
    return Bytes(p, p + get_camera_metadata_size(m));
}

// Framework vendor tags, so that seeds can carry the ones dumps render
// specially; the types are the framework's.
int vendorType(const vendor_tag_ops_t*, uint32_t tag)
{
    return tag == 0x80020009 ? TYPE_FLOAT : tag == 0x80020000 ? TYPE_INT32 : TYPE_BYTE;
}

// One entry of every type, inline and out of line, some framework tags.
Packet mixed(bool sorted)
{
    Packet m(allocate_camera_metadata(16, 256), free_camera_metadata);
    uint8_t b[20];
    std::iota(b, b + 20, 0);
    const int32_t i[5] = {1, -2, 3, 4, 5};
    const float f[3] = {1.5f, 0, -0.25f};
    const int64_t l[2] = {-5000000000, 2};
    const double d[3] = {0.25, 1, 2};
    const camera_metadata_rational_t r[3] = {{1, 3}, {2, 5}, {7, 1}};
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_REGIONS, i, 5);
    add_camera_metadata_entry(m.get(), ANDROID_COLOR_CORRECTION_MODE, b, 1);
    add_camera_metadata_entry(m.get(), ANDROID_COLOR_CORRECTION_ABERRATION_MODE, b, 20);
    add_camera_metadata_entry(m.get(), ANDROID_COLOR_CORRECTION_GAINS, f, 3);
    add_camera_metadata_entry(m.get(), ANDROID_FLASH_FIRING_TIME, l, 2);
    add_camera_metadata_entry(m.get(), ANDROID_JPEG_GPS_COORDINATES, d, 3);
    add_camera_metadata_entry(m.get(), ANDROID_COLOR_CORRECTION_TRANSFORM, r, 3);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_EXPOSURE_COMPENSATION, i, 0);
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, i, 4);
    add_camera_metadata_entry(m.get(), 0x80010000, "cam5", 4);
    add_camera_metadata_entry(m.get(), 0x80010001, b + 1, 1);
    add_camera_metadata_entry(m.get(), 0x80040000, b, 3);
    add_camera_metadata_entry(m.get(), 0x80020009, f, 1);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_REGIONS, i + 1, 4); // a second one
    if (sorted)
        sort_camera_metadata(m.get());
    return m;
}

void cameraMetadata(const Bytes& mixedPacket, const Bytes& sortedPacket, const Bytes& emptyPacket)
{
    const std::string t = "camera_metadata_fuzzer";
    Bytes a{0x10};
    a.insert(a.end(), mixedPacket.begin(), mixedPacket.end());
    write(t, "mixed", a);
    Bytes shifted{0x13};
    shifted.insert(shifted.end(), mixedPacket.begin(), mixedPacket.end());
    write(t, "mixed-shifted", shifted);
    Bytes b{0x08};
    b.insert(b.end(), sortedPacket.begin(), sortedPacket.end());
    write(t, "sorted", b);
    Bytes c{0x00};
    c.insert(c.end(), emptyPacket.begin(), emptyPacket.end());
    write(t, "empty", c);
}

// Opcodes as the metadata target numbers them.
enum MetadataOp { LOAD, APPEND_RAW, APPEND, UPDATE, GET, DUMP, DUMP_TAG, INIT, CLONE, RESET, LEVEL, CONVERT };

Bytes& load(Bytes& out, int op, int slot, const Bytes& packet)
{
    u16(out << std::initializer_list<int>{op, slot}, static_cast<unsigned int>(packet.size()));
    out.insert(out.end(), packet.begin(), packet.end());
    return out;
}

// An update: the tag chooser's bytes, then count and count * 8 value bytes.
Bytes& update(Bytes& out, int slot, std::initializer_list<int> tag, int count, std::initializer_list<int> values)
{
    out << std::initializer_list<int>{UPDATE, slot};
    out << tag << std::initializer_list<int>{count};
    Bytes v(static_cast<size_t>(count) * 8);
    std::copy(values.begin(), values.end(), v.begin());
    out.insert(out.end(), v.begin(), v.end());
    return out;
}

void metadata(const Bytes& mixedPacket, const Bytes& sortedPacket)
{
    const std::string t = "metadata_fuzzer";
    Bytes a;
    a << std::initializer_list<int>{LEVEL, 0, 3};
    load(a, LOAD, 0, mixedPacket);
    a << std::initializer_list<int>{DUMP, 0};
    a << std::initializer_list<int>{APPEND, 0, 0, 0};            // itself, as an object
    a << std::initializer_list<int>{APPEND, 0, 0, 1};            // itself, as a buffer
    update(a, 0, {3, 2, 0}, 4, {9, 0, 0, 0, 8, 0, 0, 0, 7, 0, 0, 0, 6}); // an entry of the packet
    update(a, 0, {3, 0, 0}, 0, {});                                     // cleared
    a << std::initializer_list<int>{GET, 0, 3, 5, 0};
    a << std::initializer_list<int>{DUMP_TAG, 0, 3, 1, 0};
    a << std::initializer_list<int>{CLONE, 1, 0, 1, 4};
    u16(a, 64);
    a << std::initializer_list<int>{APPEND, 1, 0, 0};
    a << std::initializer_list<int>{DUMP, 1};
    write(t, "grow-and-dump", a);

    Bytes b;
    b << std::initializer_list<int>{RESET, 2, 1};
    load(b, APPEND_RAW, 2, sortedPacket);
    b << std::initializer_list<int>{INIT, 3, 2};
    u16(b, 16);
    update(b, 3, {1, 0, 1}, 1, {1});                           // a framework byte tag
    update(b, 3, {0, 5}, 2, {1, 0, 0, 0, 0, 0, 0, 0, 2});       // int64
    b << std::initializer_list<int>{APPEND, 3, 2, 1};
    b << std::initializer_list<int>{LEVEL, 0, 3};
    b << std::initializer_list<int>{DUMP, 3};
    b << std::initializer_list<int>{DUMP_TAG, 3, 4, 0, 0, 1, 0};
    write(t, "append-update", b);

    Bytes c; // a request with a crop region, converted for a camera, then dumped
    load(c, LOAD, 1, sortedPacket);
    c << std::initializer_list<int>{CLONE, 1, 1, 1, 8};
    u16(c, 64);
    c << std::initializer_list<int>{CONVERT, 1, 5, CONVERT, 1, 5, LEVEL, 0, 3, DUMP, 1};
    write(t, "convert", c);
}

void vendorTag()
{
    Bytes a;
    for (uint32_t tag : {0x80010000u, 0x80020001u, 0x80020050u, 0x80020051u, 0x80030006u, 0x80060001u,
                         0x80070001u, 0x80080000u, 0x80000000u, 0x8001FFFFu, 0x00010000u, 0x81000000u,
                         0x81010002u, 0xFFFFFFFFu, 0x7FFFFFFFu, 0x40050003u})
        u32(a, tag);
    write("vendor_tag_fuzzer", "edges", a);
}

enum ImageOp { UTILS, BUILD, IMPORT, DROP, IMAGE_LEVEL };

void imageBuffer()
{
    const std::string t = "image_buffer_fuzzer";
    // Every format of the list, built, then wrapped under the next format.
    for (int format = 0; format < 18; format += 3) {
        Bytes a;
        a << std::initializer_list<int>{IMAGE_LEVEL, 0, 0, 2};
        for (int k = 0; k < 3; k++) {
            a << std::initializer_list<int>{BUILD, k, format + k};
            u32(u16(u16(a, 64 + k), 48), 0x3);
            a << std::initializer_list<int>{IMPORT, k, format + k + 1};
            u16(u16(a, 32), 31) << std::initializer_list<int>{k % 3};
            a << std::initializer_list<int>{UTILS, k, format + k};
            u32(u32(a, 4000), 3000);
        }
        a << std::initializer_list<int>{DROP, 1, 0};
        write(t, "formats-" + std::to_string(format), a);
    }
}

enum StreamOp { NEW_COLLECTOR, DROP_COLLECTOR, DROP_HELD, SB_BUILD, BUILD_SET, GET_IMAGE, ANSWER, RETURN,
                STATUS, DROP_BUFFER, DROP_SET, READ, SB_LEVEL };

void streamBuffer()
{
    const std::string t = "stream_buffer_fuzzer";
    Bytes a;
    a << std::initializer_list<int>{SB_LEVEL, 2, NEW_COLLECTOR, 0, 1, NEW_COLLECTOR, 1, 0};
    for (int i = 0; i < 4; i++) // requested, collector 0 or 1, a record on some
        a << std::initializer_list<int>{SB_BUILD, i, 0x02 | (i % 2) << 3 | (i % 3 == 0) << 5, i % 3, i == 1 ? 5 : 0};
    a << std::initializer_list<int>{SB_BUILD, 4, 0x01 | 3 << 3, 0, 0}; // an image, no collector
    a << std::initializer_list<int>{BUILD_SET, 0, 0, 0};
    u16(a, 0x0007);
    a << std::initializer_list<int>{BUILD_SET, 1, 1, 0, 1};
    u16(a, 0x800E);
    for (int i = 0; i < 5; i++)
        a << std::initializer_list<int>{GET_IMAGE, i, STATUS, i, i % 2, READ, i};
    a << std::initializer_list<int>{ANSWER, 0, GET_IMAGE, 3};
    a << std::initializer_list<int>{RETURN, 3, RETURN, 1, RETURN, 0, DROP_SET, 1, RETURN, 2, RETURN, 2, RETURN, 4};
    a << std::initializer_list<int>{DROP_COLLECTOR, 1, RETURN, 1, DROP_BUFFER, 0, DROP_HELD, 0, RETURN, 0xF0};
    write(t, "sets-and-returns", a);

    Bytes b;
    b << std::initializer_list<int>{NEW_COLLECTOR, 2, 1};
    b << std::initializer_list<int>{SB_BUILD, 0, 0x02 | 2 << 3, 1, 7, SB_BUILD, 1, 0x02 | 2 << 3, 2, 7};
    b << std::initializer_list<int>{SB_BUILD, 2, 0x03, 0, 0, SB_BUILD, 3, 0x04 | 0x01, 0, 0};
    b << std::initializer_list<int>{BUILD_SET, 3, 1, 7, 2};
    u16(b, 0x0003);
    b << std::initializer_list<int>{RETURN, 0, DROP_COLLECTOR, 2, RETURN, 1, DROP_BUFFER, 1, DROP_SET, 3};
    write(t, "filtered-set-dead-collector", b);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus dir>\n", argv[0]);
        return 2;
    }
    root = argv[1];
    static vendor_tag_ops_t ops = {};
    ops.get_tag_type = vendorType;
    set_camera_metadata_vendor_ops(&ops);

    Packet empty(allocate_camera_metadata(0, 0), free_camera_metadata);
    const Bytes mixedPacket = bytesOf(mixed(false).get());
    const Bytes sortedPacket = bytesOf(mixed(true).get());
    cameraMetadata(mixedPacket, sortedPacket, bytesOf(empty.get()));
    metadata(mixedPacket, sortedPacket);
    imageBuffer();
    streamBuffer();
    vendorTag();
    return 0;
}

// Image format arithmetic for any format and size, and gralloc buffers
// built, mapped, written, saved and loaded for any format and for modest
// sizes, also wrapping another buffer's handle under a different (lying)
// description, or a slot without a handle.
//
// Input: a sequence of operations, each an opcode byte, a slot byte, a
// format and the operation's arguments.
#include <unistd.h>

#include <string>

#include <TamoLogControl.h>
#include <tamo/ImageBuffer.h>

#include "FuzzSupport.h"

using namespace tamo;
using tamo::fuzz::Reader;

namespace {

constexpr unsigned int kUnsupported = 0x4001, kBlob = 0x21, kMaxSide = 80;
constexpr uint32_t kFormats[] = {0x10,   0x11,   0x14,   0x20,   0x21,   0x22,   0x23,   0x25,
                                 0x26,   0x20203859, 0x20363159, 0x32315659, 0x4001, 0x4006,
                                 0x400B, 0x4011, 0x1, 0x0};

enum Op : uint8_t { UTILS, BUILD, IMPORT, DROP, LEVEL, OP_COUNT };

// Dumps go to a scratch directory of the fuzzer's own, never to a shared path.
std::string dumpDir, dumpPath;

bool allocatable(uint32_t format)
{
    return format != kUnsupported && ImageBufferUtils::getAllocationFormat(format) == format;
}

void utils(uint32_t format, uint32_t width, uint32_t height)
{
    const unsigned int planes = ImageBufferUtils::getNumberOfPlanes(format);
    const unsigned int allocFormat = ImageBufferUtils::getAllocationFormat(format);
    const unsigned int allocWidth = ImageBufferUtils::getAllocationWidth(format, width, height);
    const unsigned int allocHeight = ImageBufferUtils::getAllocationHeight(format, width, height);
    FUZZ_CHECK(planes <= 3 && (allocFormat == format || allocFormat == kUnsupported));
    if (!allocatable(format))
        FUZZ_CHECK(allocWidth == 0 && allocHeight == 0);
    else if (format == kBlob)
        FUZZ_CHECK(allocWidth == width * height * 3 && allocHeight == 1);
    else
        FUZZ_CHECK(allocWidth == width && allocHeight == height);
    FUZZ_CHECK(!allocatable(format) || (planes >= 1 && !ImageBufferUtils::getFormatString(format).empty()));
}

// Maps the buffer, writes every byte of every plane it has, and answers
// how many planes that was. Planes lie back to back without overlap.
unsigned int writePlanes(ImageBuffer& buffer)
{
    if (!buffer.lock("fuzz"))
        return 0;
    unsigned int n = 0;
    uint8_t* end = nullptr;
    for (; n < 4; n++) {
        auto* va = static_cast<uint8_t*>(buffer.getVa(n));
        if (va == nullptr)
            break;
        const size_t bytes = static_cast<size_t>(buffer.getStride(n)) * buffer.getScanlines(n);
        FUZZ_CHECK(bytes != 0 && (end == nullptr || va >= end));
        std::memset(va, static_cast<int>(n), bytes);
        end = va + bytes;
    }
    FUZZ_CHECK(n < 4);
    FUZZ_CHECK(buffer.unlock("fuzz") == 0);
    FUZZ_CHECK(buffer.getVa(0) == nullptr);
    return n;
}

void run(Reader& in)
{
    g_logLv = 0;
    struct {
        std::shared_ptr<ImageBuffer> buffer;
        std::shared_ptr<ImageBuffer> wrapper; // over buffer's handle; declared last, so dropped first
    } slots[3];
    while (!in.empty()) {
        const uint8_t op = in.u8() % OP_COUNT;
        auto& slot = slots[in.u8() % 3];
        const uint8_t pick = in.u8();
        const uint32_t format = pick < 0xE0 ? kFormats[pick % std::size(kFormats)] : in.u32();
        switch (op) {
        case UTILS:
            utils(format, in.u32(), in.u32());
            break;
        case BUILD: {
            const unsigned int width = in.u16() % kMaxSide, height = in.u16() % kMaxSide;
            ImageBufferBuilder builder;
            builder.setImageFormat(format).setSize(width, height).setProducerUsage(in.u32());
            slot.wrapper = nullptr;
            slot.buffer = builder.build();
            FUZZ_CHECK((slot.buffer != nullptr) == (width != 0 && height != 0 && allocatable(format)));
            if (slot.buffer == nullptr)
                break;
            FUZZ_CHECK(writePlanes(*slot.buffer) == ImageBufferUtils::getNumberOfPlanes(format));
            FUZZ_CHECK(slot.buffer->saveToFile(dumpPath) && slot.buffer->loadFromFile(dumpPath));
            slot.buffer->dump();
            break;
        }
        case IMPORT: {
            const unsigned int width = 1 + in.u16() % kMaxSide, height = 1 + in.u16() % kMaxSide;
            const uint8_t source = in.u8() % 3;
            static native_handle const* none = nullptr;
            ImageBufferBuilder builder;
            builder.setImageFormat(format).setSize(width, height);
            if (source == 0 && slot.buffer != nullptr)
                builder.setBufferHandle(slot.buffer->getBufferHandle());
            else if (source == 1)
                builder.setBufferHandle(&none);
            else
                builder.setAcquireFence(nullptr);
            slot.wrapper = builder.build();
            FUZZ_CHECK((slot.wrapper != nullptr) == allocatable(format));
            if (slot.wrapper == nullptr)
                break;
            FUZZ_CHECK(builder.build() == nullptr); // one import per builder
            const unsigned int mapped = writePlanes(*slot.wrapper);
            FUZZ_CHECK(mapped == 0 || (source == 0 && slot.buffer != nullptr));
            const bool whole = mapped != 0 && mapped >= ImageBufferUtils::getNumberOfPlanes(format);
            FUZZ_CHECK(slot.wrapper->saveToFile(dumpPath) == whole);
            FUZZ_CHECK(slot.wrapper->loadFromFile(dumpPath) == whole);
            slot.wrapper->dump();
            break;
        }
        case DROP:
            slot.wrapper = nullptr;
            slot.buffer = nullptr;
            break;
        case LEVEL:
            g_logLv = in.u8() % 4;
            break;
        }
    }
}

void setup()
{
    char shm[] = "/dev/shm/tamo-image-fuzz-XXXXXX", tmp[] = "/tmp/tamo-image-fuzz-XXXXXX";
    const char* made = mkdtemp(shm);
    made = made != nullptr ? made : mkdtemp(tmp);
    FUZZ_CHECK(made != nullptr);
    dumpDir = made;
    dumpPath = dumpDir + "/dump.raw";
    std::atexit([] {
        std::remove(dumpPath.c_str());
        rmdir(dumpDir.c_str());
    });
}

} // namespace

FUZZ_TARGET(setup, run)

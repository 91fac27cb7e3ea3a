// Shared by the fuzz targets: their entry points, reading an input front to
// back, exact-size heap copies for AddressSanitizer, and invariant checks.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#define FUZZ_CHECK(cond)                                                                        \
    do {                                                                                        \
        if (!(cond)) {                                                                          \
            std::fprintf(stderr, "%s:%d: invariant failed: %s\n", __FILE__, __LINE__, #cond);   \
            std::abort();                                                                       \
        }                                                                                       \
    } while (0)

// libFuzzer's entry points: setup() once, then run(Reader&) for each input.
#define FUZZ_TARGET(setup, run)                                                          \
    extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)                         \
    {                                                                                    \
        tamo::fuzz::quietStderr(argc, argv);                                             \
        setup();                                                                         \
        return 0;                                                                        \
    }                                                                                    \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)              \
    {                                                                                    \
        tamo::fuzz::Reader in(data, size);                                               \
        run(in);                                                                         \
        return 0;                                                                        \
    }

namespace tamo::fuzz {

// Reads an input in order; past the end every value is 0 and every byte run
// empty, so any input is a complete program of operations.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data(data), size(size) {}

    bool empty() const { return pos >= size; }
    size_t remaining() const { return size - pos; }
    const uint8_t* next() const { return data + pos; }

    uint8_t u8() { return pos < size ? data[pos++] : 0; }
    uint16_t u16() { return static_cast<uint16_t>(u8() | u8() << 8); }
    uint32_t u32() { return static_cast<uint32_t>(u16() | static_cast<uint32_t>(u16()) << 16); }

    // Up to n bytes, fewer at the end of the input.
    std::vector<uint8_t> bytes(size_t n)
    {
        n = n < remaining() ? n : remaining();
        std::vector<uint8_t> out(data + pos, data + pos + n);
        pos += n;
        return out;
    }

private:
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
};

// A heap block of exactly these bytes (malloc'd, so 16-byte aligned): a
// read one past the end is an AddressSanitizer report. Zeros without bytes.
struct ExactCopy {
    explicit ExactCopy(size_t n, const uint8_t* bytes = nullptr)
        : block(static_cast<uint8_t*>(std::calloc(n == 0 ? 1 : n, 1)), std::free), size(n)
    {
        if (n != 0 && bytes != nullptr)
            std::memcpy(block.get(), bytes, n);
    }
    explicit ExactCopy(const std::vector<uint8_t>& bytes) : ExactCopy(bytes.size(), bytes.data()) {}

    uint8_t* get() const { return block.get(); }

    std::unique_ptr<uint8_t, void (*)(void*)> block;
    size_t size;
};

// The library logs to standard error, and the dump paths log a line per
// value. libFuzzer's -close_fd_mask=2 sends fd 2 to /dev/null while it keeps
// its own output and the sanitizer reports on a duplicate; this adds the
// flag to the command line unless the caller gave one (=0 shows the lines).
inline void quietStderr(int* argc, char*** argv)
{
    for (int i = 1; i < *argc; i++)
        if (std::strncmp((*argv)[i], "-close_fd_mask=", 15) == 0)
            return;
    static std::vector<char*> args;
    static char flag[] = "-close_fd_mask=2";
    args.assign(*argv, *argv + *argc);
    args.insert(args.begin() + 1, flag);
    args.push_back(nullptr);
    *argv = args.data();
    *argc += 1;
}

} // namespace tamo::fuzz

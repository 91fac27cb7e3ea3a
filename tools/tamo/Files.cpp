#include "Files.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

std::string parentOf(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Descriptor links (/dev/stdout, /dev/fd/N) lead into /proc, where no file
// can be made beside them.
bool inProc(const std::string& directory)
{
    std::unique_ptr<char, decltype(&std::free)> real(realpath(directory.c_str(), nullptr), &std::free);
    const std::string text = real ? real.get() : "";
    return text == "/proc" || text.rfind("/proc/", 0) == 0;
}

struct Target {
    std::string path;
    bool inPlace = false;
    mode_t mode = 0; // for the file that replaces it
};

bool resolve(const std::string& output, Target& target, std::string& error)
{
    if (output == "-") {
        target = {output, true, 0};
        return true;
    }
    std::string at = output;
    for (int links = 0; links < 40; links++) {
        struct stat status {};
        if (lstat(at.c_str(), &status) != 0) {
            if (errno != ENOENT) {
                error = reason(output, errno);
                return false;
            }
            // Following a dangling link would create a file where it points.
            if (at != output) {
                error = output + ": a symbolic link to nothing, not followed";
                return false;
            }
            const mode_t mask = umask(0);
            umask(mask);
            target = {at, false, static_cast<mode_t>(0666 & ~mask)};
            return true;
        }
        if (inProc(parentOf(at))) {
            target = {at, true, 0};
            return true;
        }
        if (!S_ISLNK(status.st_mode)) {
            target = {at, !S_ISREG(status.st_mode), static_cast<mode_t>(status.st_mode & 07777)};
            return true;
        }
        std::string link(PATH_MAX, '\0');
        const ssize_t length = readlink(at.c_str(), link.data(), link.size());
        if (length <= 0) {
            error = reason(output, errno);
            return false;
        }
        link.resize(static_cast<size_t>(length));
        at = link[0] == '/' ? link : parentOf(at) + "/" + link;
    }
    error = reason(output, ELOOP);
    return false;
}

// The temporary being filled, for a signal that ends the process to take
// away with it.
char g_pending[PATH_MAX];
volatile std::sig_atomic_t g_hasPending = 0;

void dropPending(int signal)
{
    if (g_hasPending)
        unlink(g_pending);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// A new file beside a target, removed unless it is renamed over it.
class TempFile {
public:
    explicit TempFile(const std::string& target)
    {
        static const bool handled = [] {
            for (int signal : {SIGINT, SIGTERM, SIGHUP})
                if (std::signal(signal, dropPending) == SIG_IGN)
                    std::signal(signal, SIG_IGN);
            return true;
        }();
        (void)handled;
        const size_t slash = target.find_last_of('/') + 1; // 0 when there is none
        const std::string name = target.substr(0, slash) + "." + target.substr(slash) + "~XXXXXX";
        if (name.size() >= sizeof g_pending) {
            errno = ENAMETOOLONG;
            return;
        }
        std::memcpy(g_pending, name.c_str(), name.size() + 1);
        fd = mkostemp(g_pending, O_CLOEXEC);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        g_hasPending = fd >= 0;
    }

    ~TempFile()
    {
        if (g_hasPending)
            unlink(g_pending);
        g_hasPending = 0;
    }

    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    bool renameOver(const std::string& target)
    {
        if (std::rename(g_pending, target.c_str()) != 0)
            return false;
        g_hasPending = 0;
        return true;
    }

    int fd = -1; // closed by whoever fills it
};

// Fills the file and closes it; the reason is the first failure's.
bool fillAndClose(int fd, const Fill& fill, bool sync, std::string& why)
{
    FILE* file = fdopen(fd, "wb");
    if (file == nullptr) {
        why = std::strerror(errno);
        close(fd);
        return false;
    }
    bool ok = fill(file, why);
    if (ok && (std::fflush(file) != 0 || (sync && fsync(fd) != 0))) {
        ok = false;
        why = std::strerror(errno);
    }
    if (std::fclose(file) != 0 && ok) {
        ok = false;
        why = std::strerror(errno);
    }
    if (!ok && why.empty())
        why = "not written";
    return ok;
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

bool writeOutput(const std::string& path, const Fill& fill, std::string& error)
{
    Target target;
    if (!resolve(path, target, error))
        return false;
    std::string why;
    if (target.inPlace) {
        const int fd = path == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                   : open(target.path.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) {
            error = reason(path, errno);
            return false;
        }
        if (!fillAndClose(fd, fill, false, why)) {
            error = path + ": " + why;
            return false;
        }
        return true;
    }

    TempFile temp(target.path);
    if (temp.fd < 0 || fchmod(temp.fd, target.mode) != 0) {
        error = reason(path, errno);
        if (temp.fd >= 0)
            close(temp.fd);
        return false;
    }
    if (!fillAndClose(temp.fd, fill, true, why)) {
        error = path + ": " + why;
        return false;
    }
    if (!temp.renameOver(target.path)) {
        error = reason(path, errno);
        return false;
    }
    return true;
}

bool writeFile(const std::string& path, const std::vector<Bytes>& pieces, std::string& error)
{
    return writeOutput(
        path,
        [&pieces](FILE* file, std::string& why) {
            for (const Bytes& piece : pieces) {
                if (std::fwrite(piece.data, 1, piece.size, file) != piece.size) {
                    why = std::strerror(errno);
                    return false;
                }
            }
            return true;
        },
        error);
}

bool notAnInput(const std::string& output, const std::vector<std::string>& inputs, std::string& error)
{
    struct stat out {};
    const bool exists = output == "-" ? fstat(STDOUT_FILENO, &out) == 0 : stat(output.c_str(), &out) == 0;
    for (const std::string& input : inputs) {
        struct stat in {};
        if (input == output ||
            (exists && stat(input.c_str(), &in) == 0 && in.st_dev == out.st_dev && in.st_ino == out.st_ino)) {
            error = output + ": the same file as the input " + input + ", not written";
            return false;
        }
    }
    return true;
}

bool writableDirectory(const std::string& path, std::string& error)
{
    std::error_code code;
    std::filesystem::create_directories(path, code);
    if (!code && !std::filesystem::is_directory(path, code))
        code = std::make_error_code(std::errc::not_a_directory);
    if (code) {
        error = path + ": " + code.message();
        return false;
    }
    TempFile probe(path + "/tamo");
    if (probe.fd < 0) {
        error = path + ": no file can be made here: " + std::strerror(errno);
        return false;
    }
    close(probe.fd);
    return true;
}

} // namespace tamo::tool

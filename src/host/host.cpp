#include "host/host.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// Host names longer than this are refused rather than truncated.
constexpr std::size_t HOST_PATH_MAX = 4096;

struct HostName {
    char text[HOST_PATH_MAX];
    bool ok;
    explicit HostName(const char *name) { ok = host_path(name, text, sizeof text); }
};

void write_all(int fd, const char *text, std::size_t length)
{
    while (length > 0) {
        ssize_t n = ::write(fd, text, length);
        if (n <= 0)
            return;
        text += n;
        length -= static_cast<std::size_t>(n);
    }
}

}  // namespace

void host_install_interrupt(void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
}

void host_abandon_file(std::FILE *stream, const char *host_name)
{
    if (stream)
        ::close(fileno(stream));
    if (host_name && host_name[0])
        ::unlink(host_name);
}

void host_exit_now(int status) { ::_exit(status); }

bool host_path(const char *name, char *out, std::size_t size)
{
    std::size_t n = std::strlen(name);
    if (n >= size) {
        if (size)
            out[0] = 0;
        return false;
    }
    for (std::size_t i = 0; i < n; ++i)
        out[i] = name[i] == '\\' ? '/' : name[i];
    out[n] = 0;
    return true;
}

std::FILE *host_open(const char *name, const char *mode)
{
    HostName path(name);
    if (!path.ok || !path.text[0])
        return nullptr;
    std::FILE *stream = std::fopen(path.text, mode);
    if (stream && mode[0] == 'r' && host_input_opened)
        host_input_opened(stream, name);
    return stream;
}

int host_remove(const char *name)
{
    HostName path(name);
    return path.ok ? std::remove(path.text) : -1;
}

HostKind host_kind(const char *name)
{
    HostName path(name);
    struct stat st;
    if (!path.ok || !path.text[0] || ::stat(path.text, &st) != 0)
        return HOST_MISSING;
    if (S_ISDIR(st.st_mode))
        return HOST_DIRECTORY;
    if (S_ISREG(st.st_mode))
        return HOST_FILE;
    return HOST_OTHER;
}

bool host_directory_id(const char *name, HostDirId *id)
{
    HostName path(name);
    struct stat st;
    if (!path.ok || !path.text[0] || ::stat(path.text, &st) != 0)
        return false;
    id->device = static_cast<std::uint64_t>(st.st_dev);
    id->inode = static_cast<std::uint64_t>(st.st_ino);
    return true;
}

bool host_stream_id(std::FILE *stream, HostDirId *id)
{
    struct stat st;
    if (!stream || ::fstat(fileno(stream), &st) != 0)
        return false;
    id->device = static_cast<std::uint64_t>(st.st_dev);
    id->inode = static_cast<std::uint64_t>(st.st_ino);
    return true;
}

namespace {

bool copy_name(char *out, std::size_t size, const char *text, std::size_t length)
{
    if (length >= size)
        return false;
    std::memcpy(out, text, length);
    out[length] = 0;
    return true;
}

// The temporary's name: the target's name with a suffix that mkstemp
// fills in, or a short name in the same directory when that would make
// the last component longer than the system allows.
bool temporary_template(const char *target, char *out, std::size_t size)
{
    const char *slash = std::strrchr(target, '/');
    std::size_t base = std::strlen(slash ? slash + 1 : target);
    if (base + 12 <= 255) {
        std::size_t n = std::strlen(target);
        return copy_name(out, size, target, n) && copy_name(out + n, size - n, ".zpc-XXXXXX", 11);
    }
    std::size_t dir = slash ? static_cast<std::size_t>(slash - target) + 1 : 0;
    return copy_name(out, size, target, dir) && copy_name(out + dir, size - dir, ".zpc-XXXXXX", 11);
}

}  // namespace

void (*host_input_opened)(std::FILE *stream, const char *name) = nullptr;

bool host_begin_output(HostOutput *out, const char *name, bool binary)
{
    out->stream = nullptr;
    out->temporary[0] = 0;
    out->target_exists = false;
    if (!host_path(name, out->target, sizeof out->target) || !out->target[0])
        return false;
    struct stat st;
    if (::lstat(out->target, &st) == 0 && S_ISLNK(st.st_mode)) {
        // The file the link leads to is replaced, not the link.
        char resolved[PATH_MAX];
        if (::realpath(out->target, resolved) && !copy_name(out->target, sizeof out->target, resolved, std::strlen(resolved)))
            return false;
    }
    const char *mode = binary ? "w+b" : "w+";
    mode_t permissions;
    if (::stat(out->target, &st) == 0) {
        out->target_exists = true;
        out->target_id.device = static_cast<std::uint64_t>(st.st_dev);
        out->target_id.inode = static_cast<std::uint64_t>(st.st_ino);
        if (S_ISDIR(st.st_mode) || ::access(out->target, W_OK) != 0)
            return false;
        if (!S_ISREG(st.st_mode)) {
            // Nothing to empty and nothing to rename: written as it is.
            int fd = ::open(out->target, O_WRONLY);
            if (fd < 0)
                return false;
            out->stream = ::fdopen(fd, binary ? "wb" : "w");
            if (!out->stream)
                ::close(fd);
            return out->stream != nullptr;
        }
        permissions = st.st_mode & 07777;
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        permissions = 0666 & ~mask;
    }
    if (!temporary_template(out->target, out->temporary, sizeof out->temporary)) {
        out->temporary[0] = 0;
        return false;
    }
    // mkstemp never takes a name that exists already.
    int fd = ::mkstemp(out->temporary);
    if (fd < 0) {
        out->temporary[0] = 0;
        return false;
    }
    if (::fchmod(fd, permissions) != 0) {
        // The file keeps mkstemp's owner-only permissions.
    }
    out->stream = ::fdopen(fd, mode);
    if (!out->stream) {
        ::close(fd);
        ::unlink(out->temporary);
        out->temporary[0] = 0;
        return false;
    }
    return true;
}

bool host_finish_output(HostOutput *out)
{
    bool ok = true;
    if (out->stream) {
        ok = std::fflush(out->stream) == 0 && !std::ferror(out->stream);
        ok = std::fclose(out->stream) == 0 && ok;
        out->stream = nullptr;
    }
    if (!out->temporary[0])
        return ok;
    if (ok && ::rename(out->temporary, out->target) == 0) {
        out->temporary[0] = 0;
        return true;
    }
    ::unlink(out->temporary);
    out->temporary[0] = 0;
    return false;
}

void host_discard_output(HostOutput *out)
{
    if (out->stream)
        std::fclose(out->stream);
    out->stream = nullptr;
    if (out->temporary[0])
        ::unlink(out->temporary);
    out->temporary[0] = 0;
}

std::FILE *host_memory_stream(char **data, std::size_t *length) { return ::open_memstream(data, length); }

bool host_list_directory(const char *dir, const char *pattern,
                         void (*each)(const HostDirEntry &entry, void *context),
                         void *context)
{
    HostName path(dir[0] ? dir : ".");
    if (!path.ok)
        return false;
    DIR *d = ::opendir(path.text);
    if (!d)
        return false;
    // Listed in name order so that every run sees the same order.
    std::vector<std::string> names;
    while (struct dirent *e = ::readdir(d)) {
        if (!std::strcmp(e->d_name, ".") || !std::strcmp(e->d_name, ".."))
            continue;
        if (pattern && ::fnmatch(pattern, e->d_name, 0) != 0)
            continue;
        names.emplace_back(e->d_name);
    }
    ::closedir(d);
    std::sort(names.begin(), names.end());
    std::string full;
    for (const std::string &name : names) {
        full.assign(path.text);
        if (!full.empty() && full.back() != '/')
            full += '/';
        full += name;
        struct stat st;
        HostDirEntry entry;
        entry.name = name.c_str();
        entry.is_directory = ::stat(full.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
        entry.is_hidden = name[0] == '.';
        each(entry, context);
    }
    return true;
}

const char *host_getenv(const char *name) { return std::getenv(name); }

bool host_current_directory(char *out, std::size_t size)
{
    if (!getcwd(out, size)) {
        if (size)
            out[0] = 0;
        return false;
    }
    return true;
}

void host_local_time(std::tm *out)
{
    std::time_t now = std::time(nullptr);
    localtime_r(&now, out);
}

void host_write_stdout(const char *text, std::size_t length) { write_all(1, text, length); }
void host_write_stderr(const char *text, std::size_t length) { write_all(2, text, length); }
void host_write_stderr(const char *text) { write_all(2, text, std::strlen(text)); }

#include "host/host.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cerrno>
#include <cstring>
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
    return std::fopen(path.text, mode);
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

std::FILE *host_open_for_output(const char *name, bool binary, bool *created)
{
    HostName path(name);
    *created = false;
    if (!path.ok || !path.text[0])
        return nullptr;
    int fd = ::open(path.text, O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (fd >= 0)
        *created = true;
    else if (errno == EEXIST)
        fd = ::open(path.text, O_WRONLY);
    if (fd < 0)
        return nullptr;
    std::FILE *stream = ::fdopen(fd, binary ? "wb" : "w");
    if (!stream)
        ::close(fd);
    return stream;
}

void host_truncate(std::FILE *stream)
{
    std::fflush(stream);
    if (::ftruncate(fileno(stream), 0) != 0) {
        // A device or a pipe has nothing to empty.
    }
    std::rewind(stream);
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

// The small layer between zpc and the operating system. Nothing else in the
// compiler calls the system directly. The compiler writes '/' between a
// directory and a name; a name given by the user may use '\' as well,
// which becomes '/' here, at the moment the system is asked.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

// Console interrupt: `handler` runs on SIGINT.
void host_install_interrupt(void (*handler)(int));

// Closes an open stream's descriptor and deletes its file by host name.
// Only async-signal-safe calls: the interrupt handler uses it.
void host_abandon_file(std::FILE *stream, const char *host_name);
[[noreturn]] void host_exit_now(int status);

// Copies `name` into `out` with every '\' turned into '/'. Returns false
// (and leaves `out` empty) when it does not fit in `size` bytes.
bool host_path(const char *name, char *out, std::size_t size);

std::FILE *host_open(const char *name, const char *mode);
int host_remove(const char *name);

enum HostKind { HOST_MISSING, HOST_DIRECTORY, HOST_FILE, HOST_OTHER };
HostKind host_kind(const char *name);

// Identity of a directory (device and inode), for noticing directory
// cycles made by symbolic links. False when it cannot be had.
struct HostDirId {
    std::uint64_t device;
    std::uint64_t inode;
};
bool host_directory_id(const char *name, HostDirId *id);
// The same identity for the file an open stream reads or writes.
bool host_stream_id(std::FILE *stream, HostDirId *id);

// An output file written under a temporary name in the target's own
// directory and renamed over the target only when the run settles it, so
// that a file the run still reads is never emptied, and an interrupted or
// refused run leaves the target as it was. A target that is no regular
// file (a device, a pipe) is written directly and `temporary` stays empty.
// The names are host names, kept in the record because the interrupt
// handler may neither format nor allocate.
struct HostOutput {
    std::FILE *stream;
    char temporary[4096];
    char target[4096];
    HostDirId target_id;
    bool target_exists;  // target_id is that of the file found at the start
};
// Sets `out` up for `name` and opens its stream ("w+" so that what was
// written can be read back). False when the target cannot be written: a
// directory, a file without write permission, or a directory in which no
// file can be made.
bool host_begin_output(HostOutput *out, const char *name, bool binary);
// Closes the stream, if still open, and renames the temporary over the
// target. False (and the temporary gone) when writing or renaming failed.
bool host_finish_output(HostOutput *out);
// Closes the stream, if still open, and deletes the temporary; the target
// stays as it was.
void host_discard_output(HostOutput *out);
// Called by host_open() for every file opened for reading, when set.
extern void (*host_input_opened)(std::FILE *stream, const char *name);
// A stream that collects what is written to it in memory; `data` and
// `length` follow it after each flush. Free `data` with std::free after
// closing the stream.
std::FILE *host_memory_stream(char **data, std::size_t *length);

struct HostDirEntry {
    const char *name;
    bool is_directory;
    bool is_hidden;  // a name beginning with '.' counts as hidden
};
// Lists the entries of `dir` ("" = the working directory) whose names match
// `pattern` (shell wildcards; null matches all), sorted by name, "." and
// ".." left out. Calls `each` once per entry. False when the directory
// cannot be read.
bool host_list_directory(const char *dir, const char *pattern,
                         void (*each)(const HostDirEntry &entry, void *context),
                         void *context);

const char *host_getenv(const char *name);
// The working directory into `out` (no final '/'); false when it cannot be
// had or does not fit.
bool host_current_directory(char *out, std::size_t size);
void host_local_time(std::tm *out);

// Unbuffered writes to handles 1 and 2.
void host_write_stdout(const char *text, std::size_t length);
void host_write_stderr(const char *text, std::size_t length);
void host_write_stderr(const char *text);

#include "preproc/source.h"

#include <cstring>

#include "driver/diagnostics.h"
#include "driver/options.h"
#include "host/host.h"
#include "runtime/alloc.h"

SourceFile *file_list = nullptr;
SourceFile *current_file = nullptr;
std::FILE *output_stream = nullptr;

bool line_override_active = false;
std::int32_t line_override = 0;
const char *file_name_override = nullptr;

namespace {

// Joined names longer than this are not tried.
constexpr std::size_t JOINED_PATH_MAX = 510;
constexpr int SOURCE_BUFFER_SIZE = 512;

struct IncludeFrame {
    IncludeFrame *link;
    SourceFile *file;
    std::FILE *stream;
};

SourceFile **file_list_end = &file_list;
IncludeFrame *include_stack = nullptr;
std::FILE *current_stream = nullptr;

// The output file as the system names it, kept for the interrupt handler,
// which must not format or allocate. Empty when zpc created no file.
char output_host_name[4096];

std::FILE *open_stream(const char *name)
{
    std::FILE *stream = host_open(name, "r");
    if (stream)
        std::setvbuf(stream, nullptr, _IOFBF, SOURCE_BUFFER_SIZE);
    return stream;
}

void write_cant_create(const char *input, const char *name)
{
    report_without_position(input, true);
    host_write_stderr("can't create ");
    host_write_stderr(name);
    host_write_stderr("\n");
}

}  // namespace

bool open_outputs(const char *input)
{
    if (error_file_name) {
        std::FILE *stream = host_open(error_file_name, "w");
        if (!stream) {
            write_cant_create(input, error_file_name);
            return false;
        }
        error_stream = stream;
    } else {
        error_stream = stderr;
    }
    if (output_file_name && !make_dependencies) {
        std::FILE *stream = host_open(output_file_name, preprocess_only ? "w" : "wb");
        if (!stream) {
            write_cant_create(input, output_file_name);
            return false;
        }
        output_stream = stream;
        host_path(output_file_name, output_host_name, sizeof output_host_name);
        return true;
    }
    if (!preprocess_only) {
        report_without_position(input, true);
        host_write_stderr("missing output file name\n");
        return false;
    }
    output_stream = stdout;
    if (make_dependencies && output_file_name) {
        std::fprintf(output_stream, "%s:", output_file_name);
        make_dependencies = static_cast<std::int32_t>(std::strlen(output_file_name)) + 1;
    }
    return true;
}

void close_output()
{
    if (output_stream && output_stream != stdout)
        std::fclose(output_stream);
    else if (output_stream)
        std::fflush(output_stream);
    output_stream = nullptr;
    output_host_name[0] = 0;
}

void abandon_output()
{
    if (output_file_name && output_stream && output_stream != stdout)
        host_abandon_file(output_stream, output_host_name);
}

void note_dependency(const char *name)
{
    for (SourceFile *f = file_list; f; f = f->next)
        if (!std::strcmp(f->name, name))
            return;
    const char *shown = name;
    if (debug_no_path)
        for (const char *p = name; *p; ++p)
            if (*p == '\\' || *p == '/')
                shown = p + 1;
    std::int32_t length = static_cast<std::int32_t>(std::strlen(shown));
    make_dependencies += length + 1;
    if (make_dependencies > 78) {
        std::fputs(" \\\n", output_stream);
        make_dependencies = length + 1;
    }
    if (std::strchr(shown, ' ')) {
        std::fprintf(output_stream, " \"%s\"", shown);
        make_dependencies += 2;
    } else {
        std::fprintf(output_stream, " %s", shown);
    }
}

bool open_source(const char *name, bool search)
{
    const char *opened_name = name;
    char joined[JOINED_PATH_MAX + 1];
    std::FILE *stream = open_stream(name);
    if (!stream && search && name[0] != '\\' && name[0] != '/' && include_search_list) {
        std::size_t name_length = std::strlen(name);
        std::int32_t count = path_list_count(include_search_list);
        for (std::int32_t i = 0; i < count && !stream; ++i) {
            const char *dir = path_list_entry(include_search_list, i);
            std::size_t dir_length = std::strlen(dir);
            if (dir_length + 1 + name_length > JOINED_PATH_MAX) {
                report("path too long: %.*s...", 40, dir);
                continue;
            }
            std::memcpy(joined, dir, dir_length);
            joined[dir_length] = '\\';
            std::memcpy(joined + dir_length + 1, name, name_length + 1);
            stream = open_stream(joined);
            if (stream)
                opened_name = joined;
        }
    }
    if (!stream) {
        report("can't open %s", 0, name);
        return false;
    }
    if (current_file) {
        IncludeFrame *frame = static_cast<IncludeFrame *>(allocate(sizeof(IncludeFrame), include_stack));
        frame->file = current_file;
        frame->stream = current_stream;
        include_stack = frame;
    }
    if (make_dependencies)
        note_dependency(opened_name);
    std::size_t length = std::strlen(opened_name);
    SourceFile *file = static_cast<SourceFile *>(allocate(sizeof(SourceFile) + length));
    file->next = nullptr;
    file->debug_decls = nullptr;
    file->line = 0;
    file->debug_file_no = 0;
    file->debug_file_aux = 0;
    std::memcpy(file->name, opened_name, length + 1);
    *file_list_end = file;
    file_list_end = &file->next;
    current_file = file;
    current_stream = stream;
    return true;
}

std::int32_t current_line()
{
    if (line_override_active)
        return line_override;
    return current_file ? static_cast<std::int32_t>(current_file->line) : 0;
}

const char *current_file_name()
{
    if (file_name_override)
        return file_name_override;
    return current_file ? current_file->name : "";
}

void source_reset()
{
    if (current_stream)
        std::fclose(current_stream);
    current_stream = nullptr;
    while (include_stack) {
        if (include_stack->stream)
            std::fclose(include_stack->stream);
        include_stack = static_cast<IncludeFrame *>(release(include_stack, include_stack->link));
    }
    while (file_list) {
        SourceFile *next = file_list->next;
        release(file_list);
        file_list = next;
    }
    file_list_end = &file_list;
    current_file = nullptr;
    line_override_active = false;
    line_override = 0;
    file_name_override = nullptr;
    if (output_stream && output_stream != stdout)
        std::fclose(output_stream);
    output_stream = nullptr;
    output_host_name[0] = 0;
}

#include "lexer/source.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "base/diagnostics.h"
#include "base/options.h"
#include "host/host.h"
#include "lexer/pptoken.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

SourceFile *file_list = nullptr;
std::FILE *output_stream = nullptr;
unsigned char output_buffer[OUTPUT_BUFFER_SIZE];
std::size_t output_buffered = 0;
void (*file_end_hook)(SourceFile *file) = nullptr;

namespace {
std::uint64_t output_flushed = 0;  // bytes handed to the stream before the buffer's
}

void flush_output()
{
    if (output_buffered && output_stream)
        std::fwrite(output_buffer, 1, output_buffered, output_stream);
    output_flushed += output_buffered;
    output_buffered = 0;
}

std::uint64_t output_offset() { return output_flushed + output_buffered; }

void patch_output(std::uint64_t at, const void *bytes, std::size_t n)
{
    if (at >= output_flushed) {
        std::memcpy(output_buffer + (at - output_flushed), bytes, n);
        return;
    }
    flush_output();
    if (!output_stream || std::fseek(output_stream, static_cast<long>(at), SEEK_SET) != 0)
        return;
    std::fwrite(bytes, 1, n, output_stream);
    std::fseek(output_stream, 0, SEEK_END);
}

bool comment_open = false;
bool end_of_input = false;

namespace {

constexpr std::size_t LINE_BUFFER_SIZE = 20480;
constexpr std::size_t LOGICAL_LINE_MAX = 16384;

char line_buffer[LINE_BUFFER_SIZE];
std::size_t previous_line_end = 0;  // just behind the last logical line's NUL
const char *last_logical_line = nullptr;
LineStarts line_starts;

// Scratch texts: blocks chained through their first word.
void *scratch_blocks = nullptr;

void free_scratch() { free_text_chain(&scratch_blocks); }

// Joined names longer than this are not tried.
constexpr std::size_t JOINED_PATH_MAX = 510;
constexpr int SOURCE_BUFFER_SIZE = 512;

// Each open source is read through a block of its own: lines are cut out
// of it with memchr rather than a character at a time.
struct ReadBuffer {
    std::size_t pos;
    std::size_t end;
    bool at_end;
    char data[16384];
};

struct IncludeFrame {
    IncludeFrame *link;
    SourceFile *file;
    std::FILE *stream;
    ReadBuffer *buffer;
};

SourceFile **file_list_end = &file_list;
IncludeFrame *include_stack = nullptr;
std::FILE *current_stream = nullptr;
ReadBuffer *current_buffer = nullptr;

ReadBuffer *new_read_buffer()
{
    ReadBuffer *b = static_cast<ReadBuffer *>(allocate(sizeof(ReadBuffer)));
    b->pos = b->end = 0;
    b->at_end = false;
    return b;
}

void close_current_stream()
{
    std::fclose(current_stream);
    current_stream = nullptr;
    release(current_buffer);
    current_buffer = nullptr;
}

std::FILE *open_stream(const char *name)
{
    // Opening a directory succeeds here and only reading it fails; it is
    // no source, so it does not open.
    if (host_kind(name) == HOST_DIRECTORY)
        return nullptr;
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

// The output and error files are written under temporary names and put in
// place when the run is settled, once every file it read is known:
// `zpc -o inc.h b.c` with b.c including inc.h must neither empty inc.h
// before it is read nor replace it afterwards.
HostOutput output_file{};
HostOutput error_file{};
bool outputs_open = false;
const char *output_clash = nullptr;  // the input the target turned out to be
const char *error_clash = nullptr;

void check_clash(const HostOutput &out, const char **clash, std::FILE *input, const char *name)
{
    HostDirId id;
    if (*clash || !out.target_exists || !host_stream_id(input, &id))
        return;
    if (id.device == out.target_id.device && id.inode == out.target_id.inode)
        *clash = keep_text(name);
}

void note_input(std::FILE *stream, const char *name)
{
    if (output_file_name && (output_file.stream || output_file.temporary[0]))
        check_clash(output_file, &output_clash, stream, name);
    if (error_file_name && (error_file.stream || error_file.temporary[0]))
        check_clash(error_file, &error_clash, stream, name);
}

// What was written to the error file's temporary goes to standard error:
// the file itself will not be written.
void error_file_to_stderr()
{
    std::FILE *stream = error_file.stream;
    if (!stream)
        return;
    std::fflush(stream);
    if (std::fseek(stream, 0, SEEK_SET) != 0)
        return;
    char block[4096];
    for (std::size_t n; (n = std::fread(block, 1, sizeof block, stream)) > 0;)
        host_write_stderr(block, n);
}

void drop_outputs()
{
    if (error_stream == error_file.stream && error_file.stream)
        error_stream = stderr;
    if (output_stream == output_file.stream && output_file.stream)
        output_stream = nullptr;
    host_discard_output(&output_file);
    host_discard_output(&error_file);
    outputs_open = false;
}

// A run that exits on its own ("no memory") before settling its outputs
// leaves its targets as they were; its messages reach standard error.
void drop_unsettled_outputs()
{
    if (!outputs_open)
        return;
    error_file_to_stderr();
    drop_outputs();
}

}  // namespace

bool open_outputs(const char *input, bool output_required)
{
    static bool exit_hook = false;
    if (!exit_hook) {
        std::atexit(drop_unsettled_outputs);
        // A run that exits on its own still writes what it had gathered
        // to standard output, as a stream would at exit.
        std::atexit(flush_output);
        exit_hook = true;
    }
    output_clash = error_clash = nullptr;
    error_stream = stderr;
    if (error_file_name) {
        if (!host_begin_output(&error_file, error_file_name, false)) {
            write_cant_create(input, error_file_name);
            return false;
        }
        outputs_open = true;
        error_stream = error_file.stream;
    }
    host_input_opened = note_input;
    if (output_file_name && !make_dependencies) {
        if (!host_begin_output(&output_file, output_file_name, !preprocess_only)) {
            drop_outputs();
            write_cant_create(input, output_file_name);
            return false;
        }
        outputs_open = true;
        output_stream = output_file.stream;
        // The intermediate file runs to megabytes: fewer, larger writes.
        std::setvbuf(output_stream, nullptr, _IOFBF, 65536);
        return true;
    }
    if (!preprocess_only && output_required) {
        drop_outputs();
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

bool outputs_refused(const char *input)
{
    if (!output_clash && !error_clash)
        return false;
    // Nothing is written: the targets stay as they were, and the messages
    // meant for the error file go to standard error.
    if (error_file_name)
        error_file_to_stderr();
    output_buffered = 0;
    output_flushed = 0;
    drop_outputs();
    for (const char *name : {output_clash ? output_file_name : nullptr, error_clash ? error_file_name : nullptr}) {
        if (!name)
            continue;
        report_without_position(input, true);
        TextBuffer text;
        text.append("can't write over input file ");
        text.append(name);
        text.append('\n');
        host_write_stderr(text.data, text.length);
    }
    error_file_name = nullptr;
    output_clash = error_clash = nullptr;
    return true;
}

bool settle_output(const char *input)
{
    if (outputs_refused(input))
        return false;
    if (!output_file.stream && !output_file.temporary[0])
        return true;
    flush_output();
    if (output_stream == output_file.stream)
        output_stream = nullptr;
    if (host_finish_output(&output_file))
        return true;
    write_cant_create(input, output_file_name);
    return false;
}

bool settle_error_file(const char *input, bool keep)
{
    outputs_open = false;
    if (!error_file.stream && !error_file.temporary[0])
        return true;
    if (error_stream == error_file.stream)
        error_stream = nullptr;
    if (!keep) {
        host_discard_output(&error_file);
        host_remove(error_file_name);
        return true;
    }
    if (host_finish_output(&error_file))
        return true;
    write_cant_create(input, error_file_name);
    return false;
}

void close_output()
{
    flush_output();
    if (output_stream)
        std::fflush(output_stream);
}

void abandon_output()
{
    output_buffered = 0;
    // An interrupted run leaves no output behind: a target from an earlier
    // run would otherwise look finished to make. A target already seen as
    // an input of this run is kept, and so is one that is no regular file
    // (written directly, so it has no temporary).
    bool remove_target = output_file.temporary[0] && output_file.target_exists && !output_clash;
    host_abandon_file(output_file.stream, output_file.temporary);
    if (remove_target)
        host_abandon_file(nullptr, output_file.target);
    host_abandon_file(error_file.stream, error_file.temporary);
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
            joined[dir_length] = '/';
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
        frame->buffer = current_buffer;
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
    file->debug_first_label = 0;
    std::memcpy(file->name, opened_name, length + 1);
    *file_list_end = file;
    file_list_end = &file->next;
    current_file = file;
    current_stream = stream;
    current_buffer = new_read_buffer();
    return true;
}

char *scratch_text(const char *text, std::size_t length) { return chain_text(&scratch_blocks, text, length); }

const LineStarts &line_start_table() { return line_starts; }

namespace {

// Refills the buffer; false at the end of the file.
bool refill(std::FILE *stream, ReadBuffer *b)
{
    if (b->at_end)
        return false;
    b->pos = 0;
    b->end = std::fread(b->data, 1, sizeof b->data, stream);
    if (b->end == 0)
        b->at_end = true;
    return b->end > 0;
}

// Reads one physical line of at most `max` characters into `out`, as a
// text-mode read does: "\r\n" counts as a newline, which is kept. Returns
// the number of characters stored, or -1 at the end of the file. A NUL
// would end the logical line early; it reads as a blank, and *nul_at
// becomes the offset of the first one (it stays -1 when there is none).
long read_physical_line(std::FILE *stream, ReadBuffer *b, char *out, std::size_t max, long *nul_at)
{
    std::size_t n = 0;
    while (n < max) {
        if (b->pos == b->end && !refill(stream, b))
            return n == 0 ? -1 : static_cast<long>(n);
        const char *from = b->data + b->pos;
        std::size_t room = std::min(b->end - b->pos, max - n);
        const char *newline = static_cast<const char *>(std::memchr(from, '\n', room));
        std::size_t take = newline ? static_cast<std::size_t>(newline - from) + 1 : room;
        const char *cr = static_cast<const char *>(std::memchr(from, '\r', take));
        if (cr)
            take = static_cast<std::size_t>(cr - from);
        char *to = out + n;
        std::memcpy(to, from, take);
        for (char *z = to; (z = static_cast<char *>(std::memchr(z, 0, static_cast<std::size_t>(to + take - z))));) {
            if (*nul_at < 0)
                *nul_at = z - out;
            *z++ = ' ';
        }
        n += take;
        b->pos += take;
        if (cr) {
            // The carriage return, and a newline right after it, make one newline.
            ++b->pos;
            if ((b->pos < b->end || refill(stream, b)) && b->data[b->pos] == '\n') {
                ++b->pos;
                out[n++] = '\n';
                return static_cast<long>(n);
            }
            out[n++] = '\r';
        } else if (newline) {
            return static_cast<long>(n);
        }
    }
    return static_cast<long>(n);
}

// Ends the current file and resumes the one that included it. False when
// the main source has ended.
bool end_current_file()
{
    close_current_stream();
    if (comment_open) {
        report("unclosed comment at end of file");
        comment_open = false;
    }
    if (file_end_hook)
        file_end_hook(current_file);
    if (!include_stack)
        return false;
    IncludeFrame *frame = include_stack;
    current_file = frame->file;
    current_stream = frame->stream;
    current_buffer = frame->buffer;
    include_stack = static_cast<IncludeFrame *>(release(frame, frame->link));
    return true;
}

// Replaces the trigraphs of text[0..length) in place; returns the new length.
std::size_t replace_trigraphs(char *text, std::size_t length)
{
    static const char from[] = "(/)'<!>-=";
    static const char to[] = "[\\]^{|}~#";
    char *q = static_cast<char *>(std::memchr(text, '?', length));
    if (!q)
        return length;
    std::size_t r = static_cast<std::size_t>(q - text), w = r;
    while (r < length) {
        if (text[r] == '?' && r + 2 < length && text[r + 1] == '?') {
            if (const char *hit = std::strchr(from, text[r + 2]); hit && text[r + 2]) {
                text[w++] = to[hit - from];
                r += 3;
                continue;
            }
        }
        text[w++] = text[r++];
    }
    return w;
}

}  // namespace

char *read_logical_line(bool continuation)
{
    std::size_t start = continuation ? previous_line_end : 0;
    if (!continuation)
        free_scratch();
    if (end_of_input || !current_stream)
        return nullptr;
    // A continuation needs room for one character, its newline and the
    // NUL; when the lines joined so far have filled the buffer nothing is
    // read, so the line waits whole for the next fresh read.
    if (start + 3 > LINE_BUFFER_SIZE) {
        report("line too long");
        return nullptr;
    }
    line_starts.count = 0;
    std::size_t end = start;  // where the next physical line goes
    bool any = false;
    bool too_long = false;
    for (;;) {
        // Room for the characters, then the newline and the NUL. `end` never
        // passes LINE_BUFFER_SIZE - 2, so the difference cannot wrap.
        std::size_t max = end + 2 < LINE_BUFFER_SIZE ? LINE_BUFFER_SIZE - end - 2 : 0;
        long n = 0;
        if (max == 0) {
            too_long = true;
        } else {
            long nul_at = -1;
            n = read_physical_line(current_stream, current_buffer, line_buffer + end, max, &nul_at);
            if (n < 0) {
                if (end_current_file())
                    continue;
                end_of_input = true;
                if (!any)
                    return nullptr;
                line_buffer[end++] = '\n';
                break;
            }
            any = true;
            ++current_file->line;
            if (line_override_active)
                ++line_override;
            // Once a line: a NUL changes the text (a string literal's
            // among others), so it is not passed over in silence. Skipped
            // groups may hold anything.
            if (nul_at >= 0 && !scan_in_skipped_region)
                report_at(static_cast<std::uint32_t>(current_line()), static_cast<std::uint16_t>(nul_at),
                          "null character in source");
            if (line_starts.count < LINE_STARTS_MAX)
                line_starts.offset[line_starts.count++] = static_cast<std::uint32_t>(end - start);
            if (static_cast<std::size_t>(n) == max && line_buffer[end + max - 1] != '\n')
                too_long = true;
        }
        std::size_t length = static_cast<std::size_t>(n);
        if (length == 0 || line_buffer[end + length - 1] != '\n')
            line_buffer[end + length++] = '\n';
        length = replace_trigraphs(line_buffer + end, length);
        end += length;
        // A splice joins the next physical line; only a backslash of this
        // physical line counts, so a spliced-in backslash does not splice again.
        if (!too_long && length >= 2 && line_buffer[end - 2] == '\\') {
            end -= 2;
            continue;
        }
        break;
    }
    line_buffer[end] = 0;
    previous_line_end = end + 1;
    if (too_long)
        report("line too long");
    else if (end - start > LOGICAL_LINE_MAX)
        report("logical line too long");
    last_logical_line = line_buffer + start;
    return line_buffer + start;
}

const char *current_logical_line() { return last_logical_line; }

void source_reset()
{
    if (current_stream)
        close_current_stream();
    while (include_stack) {
        if (include_stack->stream)
            std::fclose(include_stack->stream);
        release(include_stack->buffer);
        include_stack = static_cast<IncludeFrame *>(release(include_stack, include_stack->link));
    }
    while (file_list) {
        SourceFile *next = file_list->next;
        release(file_list);
        file_list = next;
    }
    file_list_end = &file_list;
    free_scratch();
    previous_line_end = 0;
    last_logical_line = nullptr;
    line_starts.count = 0;
    comment_open = false;
    end_of_input = false;
    position_reset();
    flush_output();
    // A run abandoned before its outputs were settled (a unit test).
    drop_outputs();
    if (output_stream && output_stream != stdout)
        std::fclose(output_stream);
    output_stream = nullptr;
    output_flushed = 0;
    output_clash = error_clash = nullptr;
    host_input_opened = nullptr;
}

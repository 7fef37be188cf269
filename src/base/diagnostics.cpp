#include "base/diagnostics.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/options.h"
#include "base/position.h"
#include "base/token.h"
#include "host/host.h"
#include "runtime/textbuf.h"

std::FILE *error_stream = nullptr;
std::int32_t error_count = 0;

namespace {

// Where the last message written while a file was open stood; a repeat at
// the same place after an error is dropped.
std::int32_t last_line = 0;
std::uint16_t last_column = 0;

const char *kind_word(bool is_error) { return is_error ? "error" : "warning"; }
const char *eclipse_kind(bool is_error) { return is_error ? "" : " warning:"; }

void append_printf(TextBuffer &out, const char *format, ...) __attribute__((format(printf, 2, 3)));
void append_printf(TextBuffer &out, const char *format, ...)
{
    char piece[256];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(piece, sizeof piece, format, args);
    va_end(args);
    if (n < 0)
        return;
    if (static_cast<std::size_t>(n) < sizeof piece) {
        out.append(piece, static_cast<std::size_t>(n));
        return;
    }
    // Long pieces (file names) are formatted again into room of their own.
    char *big = static_cast<char *>(allocate(static_cast<std::size_t>(n) + 1));
    va_start(args, format);
    std::vsnprintf(big, static_cast<std::size_t>(n) + 1, format, args);
    va_end(args);
    out.append(big, static_cast<std::size_t>(n));
    release(big);
}

void append_prefix_without_position(TextBuffer &out, const char *file_name, bool is_error)
{
    if (!file_name)
        file_name = "";
    if (eclipse_messages)
        append_printf(out, "%s:1:1:%s ", file_name, eclipse_kind(is_error));
    else
        append_printf(out, "#%s %s %s:0 ", kind_word(is_error), program_name, file_name);
}

void write_stream(std::FILE *stream, const TextBuffer &text)
{
    if (stream == stderr) {
        std::fflush(stderr);
        host_write_stderr(text.data, text.length);
    } else {
        std::fwrite(text.data, 1, text.length, stream);
    }
}

}  // namespace

void format_message(TextBuffer &out, const char *format, const ReportArg *args, int count)
{
    int next = 0;
    auto take = [&]() -> ReportArg { return next < count ? args[next++] : ReportArg(); };
    const char *p = format;
    while (*p) {
        const char *percent = std::strchr(p, '%');
        if (!percent) {
            out.append(p);
            return;
        }
        out.append(p, static_cast<std::size_t>(percent - p));
        p = percent + 1;
        // The conversion is rebuilt with the host's own length letter.
        char spec[32];
        std::size_t n = 0;
        spec[n++] = '%';
        while (*p && std::strchr("-+ #0", *p) && n < 8)
            spec[n++] = *p++;
        int width = 0, precision = 0;
        bool star_width = false, star_precision = false;
        if (*p == '*') {
            star_width = true;
            width = static_cast<int>(take().number);
            spec[n++] = '*';
            ++p;
        } else {
            while (*p >= '0' && *p <= '9' && n < 16)
                spec[n++] = *p++;
        }
        if (*p == '.') {
            spec[n++] = *p++;
            if (*p == '*') {
                star_precision = true;
                precision = static_cast<int>(take().number);
                spec[n++] = '*';
                ++p;
            } else {
                while (*p >= '0' && *p <= '9' && n < 24)
                    spec[n++] = *p++;
            }
        }
        bool half = false;
        while (*p == 'h' || *p == 'l') {
            half = *p == 'h';
            ++p;
        }
        char conversion = *p;
        if (!conversion)
            return;
        ++p;
        if (conversion == '%') {
            out.append('%');
            continue;
        }
        ReportArg arg = take();
        long value = 0;
        const char *text = nullptr;
        switch (conversion) {
        case 'd':
        case 'i':
            value = half ? static_cast<short>(arg.number) : static_cast<std::int32_t>(arg.number);
            spec[n++] = 'l';
            spec[n++] = 'd';
            break;
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            value = half ? static_cast<unsigned short>(arg.number) : static_cast<std::uint32_t>(arg.number);
            spec[n++] = 'l';
            spec[n++] = conversion;
            break;
        case 'c':
            value = static_cast<unsigned char>(arg.number);
            spec[n++] = 'c';
            break;
        case 's':
            text = arg.is_text && arg.text ? arg.text : "";
            spec[n++] = 's';
            break;
        default:
            // Not a conversion this compiler writes: shown as it stands.
            out.append(percent, static_cast<std::size_t>(p - percent));
            continue;
        }
        spec[n] = 0;
        if (conversion == 's') {
            if (star_width && star_precision)
                append_printf(out, spec, width, precision, text);
            else if (star_width || star_precision)
                append_printf(out, spec, star_width ? width : precision, text);
            else
                append_printf(out, spec, text);
        } else if (conversion == 'c') {
            int c = static_cast<int>(value);
            if (star_width)
                append_printf(out, spec, width, c);
            else
                append_printf(out, spec, c);
        } else {
            if (star_width && star_precision)
                append_printf(out, spec, width, precision, value);
            else if (star_width || star_precision)
                append_printf(out, spec, star_width ? width : precision, value);
            else
                append_printf(out, spec, value);
        }
    }
}

void report_without_position(const char *file_name, bool is_error)
{
    TextBuffer out;
    append_prefix_without_position(out, file_name, is_error);
    host_write_stderr(out.data, out.length);
}

void report(const char *message, ReportArg arg1, ReportArg arg2)
{
    bool is_error = true;
    const char *text = message;
    if (message[0] == 'W' && message[1] == 'W') {
        is_error = false;
        text += 2;
    } else if (message[0] == 'W' && message[1] >= '1' && message[1] <= '9') {
        int level = message[1] - '0';
        if (check_level == 0)
            return;
        if (check_level != -1) {
            if (check_level > level)
                return;
            is_error = false;
        }
        text += 2;
    }

    std::FILE *stream = error_stream ? error_stream : stderr;
    TextBuffer out;
    if (source_is_open()) {
        const Token *token = current_token;
        bool has_column = token && token->code != 0;
        std::int32_t line = has_column ? static_cast<std::int32_t>(token->line) : current_line();
        const char *file = current_file_name();
        if (!has_column) {
            if (token && error_count != 0 && line == last_line)
                return;
            if (eclipse_messages)
                append_printf(out, "%s:%ld:1:%s ", file, static_cast<long>(line), eclipse_kind(is_error));
            else
                append_printf(out, "#%s %s %s:%ld ", kind_word(is_error), program_name, file, static_cast<long>(line));
        } else {
            int column = token->column;
            if (error_count != 0 && line == last_line && column == last_column)
                return;
            if (eclipse_messages) {
                append_printf(out, "%s:%ld:%d:%s ", file, static_cast<long>(line), column, eclipse_kind(is_error));
            } else {
                append_printf(out, "#%s %s %s:%ld(%d", kind_word(is_error), program_name, file,
                              static_cast<long>(line), column);
                if (token->length > 1)
                    append_printf(out, "+%d) ", static_cast<int>(token->length));
                else
                    out.append(") ");
            }
            last_column = static_cast<std::uint16_t>(column);
        }
        last_line = line;
    } else {
        // Without a position the prefix goes with its text, so that an error
        // file holds whole messages.
        append_prefix_without_position(out, input_name, is_error);
    }

    ReportArg args[2] = {arg1, arg2};
    if (arg1.is_zero())
        format_message(out, text, args + 1, 1);
    else
        format_message(out, text, args, 2);
    out.append('\n');
    write_stream(stream, out);
    if (is_error)
        ++error_count;
}

void diagnostics_reset()
{
    error_stream = nullptr;
    error_count = 0;
    last_line = 0;
    last_column = 0;
}

void report_span(std::uint32_t line, std::uint16_t column, std::uint32_t length, const char *message, ReportArg arg1,
                 ReportArg arg2)
{
    Token *saved = current_token;
    Token at{};
    at.code = 1;  // any code but 0: the position has a column
    at.line = line;
    at.column = column;
    at.length = static_cast<decltype(at.length)>(length);
    current_token = &at;
    report(message, arg1, arg2);
    current_token = saved;
}

void report_at(std::uint32_t line, std::uint16_t column, const char *message, ReportArg arg1, ReportArg arg2)
{
    report_span(line, column, 0, message, arg1, arg2);
}

int (*abort_hook)() = nullptr;

void abort_run()
{
    std::exit(abort_hook ? abort_hook() : 1);
}

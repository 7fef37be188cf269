// Every error and warning of the compiler goes through report().
//
// The first two characters of a message may be a level prefix that is never
// printed: "W1".."W9" for a leveled warning (shown from that level up under
// -w#, an error under -ck, dropped otherwise), "WW" for a warning shown at
// every level. Anything else is an error. Only errors are counted.
#pragma once
#include <cstdint>
#include <cstdio>

extern std::FILE *error_stream;
extern std::int32_t error_count;

// One argument of a message: a number or a text, so that the message text
// decides how it is printed.
struct ReportArg {
    bool is_text;
    std::int64_t number;
    const char *text;
    constexpr ReportArg() : is_text(false), number(0), text(nullptr) {}
    constexpr ReportArg(int v) : is_text(false), number(v), text(nullptr) {}
    constexpr ReportArg(long v) : is_text(false), number(v), text(nullptr) {}
    constexpr ReportArg(unsigned v) : is_text(false), number(v), text(nullptr) {}
    constexpr ReportArg(unsigned long v) : is_text(false), number(static_cast<std::int64_t>(v)), text(nullptr) {}
    constexpr ReportArg(const char *t) : is_text(true), number(t ? 1 : 0), text(t) {}
    constexpr bool is_zero() const { return is_text ? text == nullptr : number == 0; }
};

// When arg1 is zero the message is formatted with arg2 alone.
void report(const char *message, ReportArg arg1 = ReportArg(), ReportArg arg2 = ReportArg());

// A message at a recorded position (a statement's first token, a name's
// first use) instead of the current token's; no token length is shown.
void report_at(std::uint32_t line, std::uint16_t column, const char *message, ReportArg arg1 = ReportArg(),
               ReportArg arg2 = ReportArg());

// The same with the length of the text it points at (a name), shown as
// the span of the position.
void report_span(std::uint32_t line, std::uint16_t column, std::uint32_t length, const char *message,
                 ReportArg arg1 = ReportArg(), ReportArg arg2 = ReportArg());

// The position part of a message that has no source position, on
// standard error.
void report_without_position(const char *file_name, bool is_error);

struct TextBuffer;
// Appends `format` formatted with the arguments to `out`. Conversions: flags,
// width and precision (also '*'), the length letters h and l, and
// d i u x X o c s %. Numbers are 32-bit values, as on the original host.
void format_message(TextBuffer &out, const char *format, const ReportArg *args, int count);

// Ends the run at once after a fatal error, with the status the abort hook
// returns (1 when none is installed). The driver installs the hook that
// settles the output and error files.
[[noreturn]] void abort_run();
extern int (*abort_hook)();

void diagnostics_reset();

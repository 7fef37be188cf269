// zpc-run: loads one or more intermediate files, links them and runs main
// on a model of the target. The exit status is main's result (or exit()'s
// argument); a load error or a run-time fault prints its reason on standard
// error and gives status 2. -l stops after linking; -v reports the
// operations counted on standard error.
#include <cstdio>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "run/machine.h"

namespace {

const char usage[] =
    "usage: zpc-run [-x STEPS] [-s STACK] [-t] [-v] [-l] FILE...\n"
    "  -x STEPS  stop with a fault after STEPS operations (default 1000000000)\n"
    "  -s STACK  bytes of the model's stack (default 16384, at most 61440)\n"
    "  -t        trace each statement record on standard error\n"
    "  -v        after the run, print the operations counted on standard error\n"
    "  -l        load and link the files only, without running main; status 0\n"
    "            when they link\n";

bool parse_number(const char *text, unsigned long long max, unsigned long long &out)
{
    if (!*text)
        return false;
    char *end;
    errno = 0;
    out = std::strtoull(text, &end, 0);
    return !*end && errno == 0 && out <= max && text[0] != '-';
}

}  // namespace

int main(int argc, char **argv)
{
    run::RunOptions options;
    std::vector<std::string> files;
    bool verbose = false, link_only = false;
    for (int i = 1; i < argc; ++i) {
        const char *a = argv[i];
        unsigned long long v;
        if (!std::strcmp(a, "-t")) {
            options.trace = true;
        } else if (!std::strcmp(a, "-v")) {
            verbose = true;
        } else if (!std::strcmp(a, "-l")) {
            link_only = true;
        } else if (!std::strcmp(a, "-x") || !std::strcmp(a, "-s")) {
            bool stack = a[1] == 's';
            if (i + 1 >= argc || !parse_number(argv[i + 1], stack ? 0xF000 : ~0ull, v) || (stack && v < 64)) {
                std::fprintf(stderr, "zpc-run: %s needs a number%s\n%s", a, stack ? " from 64 to 61440" : "", usage);
                return 2;
            }
            ++i;
            if (stack)
                options.stack_size = static_cast<std::uint32_t>(v) & ~1u;
            else
                options.step_limit = v;
        } else if (a[0] == '-' && a[1]) {
            std::fprintf(stderr, "zpc-run: unknown option %s\n%s", a, usage);
            return 2;
        } else {
            files.push_back(a);
        }
    }
    if (files.empty()) {
        std::fputs(usage, stderr);
        return 2;
    }
    run::Program program;
    if (!run::load_program(program, files, options))
        return 2;
    if (link_only)
        return 0;
    std::uint64_t steps = 0;
    options.steps_counted = &steps;
    int status = run::run_program(program, options);
    if (verbose)
        std::fprintf(stderr, "zpc-run: %llu operations\n", static_cast<unsigned long long>(steps));
    return status;
}

// One run of zpc over one translation unit, from the command line to the
// exit status.
#pragma once

// What a run does once the sources are open. zpc parses the unit; the
// developer tools plug in their own step here and may write to standard
// output without -o.
struct RunHooks {
    void (*unit)();
    bool output_to_stdout;
};

// zpc's own step: the unit read as C, the intermediate file written.
void translate_unit();

// The whole run; returns the exit status. argv is modified in place.
int zpc_run(int argc, char **argv, const RunHooks *hooks = nullptr);

// Ends the run at once after a fatal error: the output file is closed and
// kept, the error file handled as after any error, exit status 1.
[[noreturn]] void abort_run();

// Ends a run: closes the error file, and either names it on standard error
// (when `status` is not 0) or deletes it. Returns the exit status.
int finish_run(int status);

// Every subsystem back to its state before the first run, so that one
// process can compile many units.
void zpc_reset();

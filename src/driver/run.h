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

// Ends a run: closes the error file, and either names it on standard error
// (when `status` is not 0) or deletes it. Returns the exit status.
int finish_run(int status);

// The lower stages reach the higher ones they serve through hooks: the
// abort hook of diagnostics, the tokenizer's line stage, the #if reader
// of the directive stage and the declaration pragmas' reader. Installed
// at the start of every run and by zpc_reset().
void install_stage_hooks();

// Every subsystem back to its state before the first run, so that one
// process can compile many units.
void zpc_reset();

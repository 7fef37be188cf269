// One run of zpc over one translation unit, from the command line to the
// exit status.
#pragma once

// The whole run; returns the exit status. argv is modified in place.
int zpc_run(int argc, char **argv);

// Ends a run: closes the error file, and either names it on standard error
// (when `status` is not 0) or deletes it. Returns the exit status.
int finish_run(int status);

// Every subsystem back to its state before the first run, so that one
// process can compile many units.
void zpc_reset();

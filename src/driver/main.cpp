#include "driver/run.h"

int main(int argc, char **argv) { return zpc_run(argc, argv); }

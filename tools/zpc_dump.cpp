// zpc-dump: prints an intermediate file as readable records, one a line (the
// format is described in dump/intermediate_dump.cpp). On a decoding failure
// it prints the records decoded so far, then the reason on standard error,
// and exits with status 1.
#include <cstdio>
#include <string>
#include <vector>

#include "dump/intermediate_dump.h"

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: zpc-dump FILE\n", stderr);
        return 1;
    }
    std::FILE *file = std::fopen(argv[1], "rb");
    if (!file) {
        std::fprintf(stderr, "can't open %s\n", argv[1]);
        return 1;
    }
    std::vector<unsigned char> data;
    unsigned char chunk[1 << 16];
    std::size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        data.insert(data.end(), chunk, chunk + n);
    bool read_error = std::ferror(file);
    std::fclose(file);
    if (read_error) {
        std::fprintf(stderr, "can't read %s\n", argv[1]);
        return 1;
    }

    std::string out;
    DumpResult result = dump_intermediate(data.data(), data.size(), out);
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fflush(stdout);
    if (!result.ok) {
        std::fprintf(stderr, "%s\n", result.error.c_str());
        return 1;
    }
    return 0;
}

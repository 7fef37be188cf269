// Helpers shared by the unit tests: a writable argument vector, a scratch
// directory under /tmp, and whole-file reads and writes.
#pragma once
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include <unistd.h>

// argv built from owned strings; the option variables point into them.
struct Args {
    std::vector<std::string> text;
    std::vector<char *> pointers;
    int argc = 0;
    char **argv = nullptr;

    Args(std::initializer_list<std::string> items) : Args(std::vector<std::string>(items)) {}
    explicit Args(std::vector<std::string> items) : text(std::move(items))
    {
        for (std::string &s : text)
            pointers.push_back(s.data());
        pointers.push_back(nullptr);
        argc = static_cast<int>(text.size());
        argv = pointers.data();
    }
    Args(const Args &) = delete;
    std::vector<std::string> operands() const { return {argv, argv + argc}; }
};

struct TempDir {
    std::string path;
    TempDir()
    {
        char name[] = "/tmp/zpc-unit-XXXXXX";
        if (mkdtemp(name))
            path = name;
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string operator/(const std::string &name) const { return path + "/" + name; }
};

inline void write_file(const std::string &name, const std::string &text)
{
    std::FILE *f = std::fopen(name.c_str(), "w");
    std::fputs(text.c_str(), f);
    std::fclose(f);
}

inline std::string read_stream(std::FILE *stream)
{
    std::fflush(stream);
    std::rewind(stream);
    std::string text;
    for (int c; (c = std::fgetc(stream)) != EOF;)
        text += static_cast<char>(c);
    return text;
}

inline bool file_exists(const std::string &name) { return std::filesystem::exists(name); }

// Helpers shared by the unit tests: a writable argument vector, a scratch
// directory under /tmp, whole-file reads and writes, and a fixture that
// gives each test a fresh compiler.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include <unistd.h>

#include "base/diagnostics.h"
#include "base/options.h"
#include "driver/run.h"
#include "lexer/source.h"
#include "lexer/tokenizer.h"
#include "parse/declare.h"
#include "runtime/options.h"

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
    std::FILE *f = std::fopen(name.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
}

inline std::string read_stream(std::FILE *stream)
{
    if (stream == output_stream)
        flush_output();
    std::fflush(stream);
    std::rewind(stream);
    std::string text;
    for (int c; (c = std::fgetc(stream)) != EOF;)
        text += static_cast<char>(c);
    return text;
}

inline std::string read_file(const std::string &name)
{
    std::string text;
    if (std::FILE *f = std::fopen(name.c_str(), "rb")) {
        for (int c; (c = std::fgetc(f)) != EOF;)
            text += static_cast<char>(c);
        std::fclose(f);
    }
    return text;
}

// The texts of the messages in `messages`, one per line, without the
// "#error zpc FILE:LINE(COLUMN)" part in front of each.
inline std::string message_texts(const std::string &messages)
{
    std::string out;
    for (std::size_t at = 0; at < messages.size();) {
        std::size_t end = messages.find('\n', at);
        std::string line = messages.substr(at, end - at);
        std::size_t space = line.find(' ', line.find(' ') + 1);
        out += line.substr(line.find(' ', space + 1) + 1) + "\n";
        if (end == std::string::npos)
            break;
        at = end + 1;
    }
    return out;
}

inline bool file_exists(const std::string &name) { return std::filesystem::exists(name); }

// Every subsystem reset before and after the test, messages caught in a
// temporary stream, and a source file of the test's own.
class CompilerTest : public ::testing::Test {
protected:
    TempDir dir;
    std::string path = dir / "unit.c";

    void SetUp() override
    {
        zpc_reset();
        options_reset();
        set_program_name("zpc");
        error_stream = std::tmpfile();
    }
    void TearDown() override
    {
        std::fclose(error_stream);
        error_stream = nullptr;
        zpc_reset();
    }
    // A new compiler for the next case; options set before it stay unset.
    void fresh()
    {
        std::FILE *old = error_stream;
        zpc_reset();
        options_reset();
        set_program_name("zpc");
        std::fclose(old);
        error_stream = std::tmpfile();
    }
    void open_text(const std::string &text)
    {
        write_file(path, text);
        ASSERT_TRUE(open_source(path.c_str(), false));
    }
    // `text` read as a unit of external declarations, functions included;
    // what they write goes to a scratch output the next reset closes.
    void read_unit(const std::string &text)
    {
        if (!output_stream)
            output_stream = std::tmpfile();
        open_text(text);
        while (next_token()->code != TK_END) {
            push_back_token();
            external_declaration();
        }
    }
    // What was reported so far; messages() also starts a fresh stream.
    std::string messages_so_far() { return read_stream(error_stream); }
    std::string messages()
    {
        std::string text = read_stream(error_stream);
        std::fclose(error_stream);
        error_stream = std::tmpfile();
        return text;
    }
};

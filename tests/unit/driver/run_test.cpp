// The driver: option implications, the include variable's name, a whole
// run, the interrupt, and runs that give the same bytes. Opening the
// outputs and the error file are pinned end to end by outputs.case.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <cstdlib>
#include <list>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

#include "../support.h"
#include "base/diagnostics.h"
#include "base/options.h"
#include "driver/run.h"
#include "lexer/source.h"

namespace {

using Strings = std::vector<std::string>;

// The names in a directory, sorted.
Strings entries(const std::string &path)
{
    Strings names;
    for (const auto &e : std::filesystem::directory_iterator(path))
        names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

class DriverTest : public ::testing::Test {
protected:
    TempDir dir;
    std::list<Args> kept;  // the option variables point into these

    void SetUp() override { zpc_reset(); }
    void TearDown() override { zpc_reset(); }
    void parse(std::initializer_list<std::string> items)
    {
        Args &args = kept.emplace_back(items);
        options_reset();
        options_library_reset();
        parse_options(&args.argc, &args.argv, ZPC_TITLE, "file", option_table);
        apply_early_implications();
    }
    void implied(std::initializer_list<std::string> items)
    {
        parse(items);
        apply_late_implications();
    }
};

TEST_F(DriverTest, Implications)
{
    implied({"zpc", "-xx", "f.c"});
    EXPECT_EQ(debug_info + line_info, 2);
    implied({"zpc", "-xd", "-an", "f.c"});
    EXPECT_EQ(debug_info + line_info + no_share_locals, 3);
    EXPECT_EQ(debug_data, 0);
    implied({"zpc", "-xd", "f.c"});
    EXPECT_EQ(debug_info, 1);
    implied({"zpc", "-xf", "-xp", "f.c"});
    EXPECT_EQ(debug_no_path, 0);
    implied({"zpc", "-xp", "-bc", "f.c"});
    EXPECT_EQ(debug_no_path + even_align_constants, 2);
    EXPECT_EQ(debug_info + line_info + no_share_locals, 0);
    implied({"zpc", "-b", "-bc", "f.c"});
    EXPECT_EQ(even_align_constants, 0);
    implied({"zpc", "-sa", "f.c"});
    EXPECT_EQ(no_enum_optimization + no_const_replacement + no_const_propagation, 3);
    implied({"zpc", "-nc", "f.c"});
    EXPECT_EQ(no_const_propagation - no_enum_optimization, 1);

    implied({"zpc", "-ck", "-w3", "f.c"});
    EXPECT_EQ(check_level, -1);
    EXPECT_EQ(need_prototypes, 1);
    for (auto [option, level] : {std::pair{"-w3", 3}, {"-w8", 0}, {"-w9", 1}, {"-w0x17", 7}}) {
        implied({"zpc", option, "f.c"});
        EXPECT_EQ(check_level, level) << option;
        EXPECT_EQ(need_prototypes, 0);
    }

    implied({"zpc", "-md", "f.c"});
    EXPECT_EQ(preprocess_only, 1);
    implied({"zpc", "-asp", "-md", "-e", "f.c"});
    EXPECT_EQ(analyser_output + debug_info + no_share_locals, 3);
    EXPECT_EQ(make_dependencies + preprocess_only, 0);
}

TEST_F(DriverTest, IncludeVariableName)
{
    char name[16];
    for (auto [path, expected] : {std::pair{"zpc", "ZPC"}, {"C:\\bin\\Zpc.EXE", "ZPC"}, {"/opt/zpcx12.v2", "ZPCX12"}}) {
        options_library_reset();
        set_program_name(path);
        include_variable_name(name, sizeof name);
        EXPECT_STREQ(name, expected) << path;
    }
}

TEST_F(DriverTest, RunOpensSourcesAndHandlesTheInterrupt)
{
    static std::string out;
    out = dir / "out.o";
    const std::string source = dir / "m.c";
    for (const char *name : {"m.c", "a.h", "b.h"})
        write_file(dir / name, "int x;\n");
    Args args{"zpc", "-o", out, source};
    RunHooks hooks{[] {
                       if (file_exists(out))  // the target is made only at the end
                           _exit(3);
                       std::raise(SIGINT);
                       _exit(4);
                   },
                   false};
    EXPECT_EXIT(zpc_run(args.argc, args.argv, &hooks), ::testing::ExitedWithCode(2), "");
    EXPECT_EQ(entries(dir.path), (Strings{"a.h", "b.h", "m.c"})) << "nothing left behind";

    // The input's directory comes after -i and the variable's entries; the
    // headers are found along the search list, the last given opened first.
    setenv("ZPC", "envdir", 1);
    Args again{"zpc", "-ia", "-o", out, "-h", "a.h", "-h", "b.h", source};
    EXPECT_EQ(zpc_run(again.argc, again.argv), 0);
    unsetenv("ZPC");
    EXPECT_TRUE(file_exists(out));
    EXPECT_EQ(std::string(input_name), dir.path + "/m.c");
    EXPECT_EQ((Strings{include_list.slots[127], include_list.slots[126], include_list.slots[125]}),
              (Strings{"a", "envdir", dir.path}));
    Strings opened;
    for (SourceFile *f = file_list; f; f = f->next)
        opened.emplace_back(f->name);
    EXPECT_EQ(opened, (Strings{input_name, dir.path + "/b.h", dir.path + "/a.h"}));
}

// Ctrl-C while the run waits on a header that is a pipe: status 2, no
// temporary stays behind, and the output file is gone, whether the run
// would have made it or an earlier run left it; the error file is left as
// it was. An output file that the run has already read as a header is an
// input, and stays.
TEST_F(DriverTest, AnInterruptRemovesTheOutputButNoInput)
{
    const std::string fifo = dir / "h.h", out = dir / "out.o", err = dir / "err.txt";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    struct Run {
        bool existed;     // out.o and err.txt are there before the run
        bool included;    // m.c reads out.o before it waits on the pipe
        Strings left;
    };
    const Run runs[] = {
        {false, false, {"h.h", "m.c"}},
        {true, false, {"err.txt", "h.h", "m.c"}},
        {true, true, {"err.txt", "h.h", "m.c", "out.o"}},
    };
    for (const Run &run : runs) {
        std::filesystem::remove(out);
        std::filesystem::remove(err);
        write_file(dir / "m.c", run.included ? "#include \"out.o\"\n#include \"h.h\"\nint x;\n" : "#include \"h.h\"\nint x;\n");
        if (run.existed) {
            write_file(out, "int old;\n");
            write_file(err, "old errors");
        }
        std::fflush(nullptr);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            Args args{"zpc", "+e" + err, "-o", out, dir / "m.c"};
            zpc_run(args.argc, args.argv);
            _exit(5);  // opening the pipe returned: no interrupt came
        }
        // The run has reached the pipe once a writer can open it without
        // waiting; holding it open, the run then waits to read from it.
        int writer = -1;
        for (int i = 0; i < 1000 && writer < 0; ++i) {
            writer = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
            if (writer < 0)
                usleep(5000);
        }
        EXPECT_GE(writer, 0);
        kill(child, SIGINT);
        int status = 0;
        waitpid(child, &status, 0);
        if (writer >= 0)
            close(writer);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << status;
        EXPECT_EQ(entries(dir.path), run.left) << run.existed << run.included;
        if (run.existed) {
            EXPECT_EQ(read_file(err), "old errors");
        }
        if (run.included) {
            EXPECT_EQ(read_file(out), "int old;\n");
        }
    }
}

TEST_F(DriverTest, TheSameUnitGivesTheSameBytesInEveryRunAndDirectory)
{
    // Labels, literal labels, instance numbers and the pools start again
    // for every unit; nothing of the run's directory or time enters the
    // file. Each run compiles the unit by a relative name from a directory
    // of its own.
    const char *unit = "static int s; int g; double d(double x) { return x * 1.5; }\n"
                       "int f(int a) { char *p; p = \"text\"; switch (a) { case 1: case 2: case 3: case 4:\n"
                       "case 5: case 6: s = 1; break; default: g = 2; } while (a--) if (a & 1) continue;\n"
                       "return p[a] + s; }\n";
    std::vector<std::string> files;
    for (const char *sub : {"one", "two/deeper", "one"}) {
        std::string where = dir / sub;
        std::filesystem::create_directories(where);
        write_file(where + "/u.c", unit);
        std::string cwd = std::filesystem::current_path();
        std::filesystem::current_path(where);
        Args args{"zpc", "-l", "-o", "u.o", "u.c"};
        EXPECT_EQ(zpc_run(args.argc, args.argv), 0);
        files.push_back(read_file("u.o"));
        std::filesystem::current_path(cwd);
        if (error_stream && error_stream != stderr)
            std::fclose(error_stream);
        zpc_reset();
    }
    ASSERT_GT(files[0].size(), 100u);
    EXPECT_EQ(files[0], files[1]);
    EXPECT_EQ(files[0], files[2]);
}

}  // namespace

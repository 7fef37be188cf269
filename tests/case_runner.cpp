// Runs the end-to-end cases of one case file and compares what the program
// wrote and returned with what the case expects.
//
// A case file holds one or more cases:
//
//   === what the case shows
//   $ zpc -o x.o a.c              command line (words; '...' quotes a word)
//   --- file a.c                  a file made before the run; its lines follow
//   --- file a.c noeol            the same, without a newline after the last line
//   --- dir inc/sub               a directory made before the run
//   --- env ZPC=inc;lib           an environment variable for the run
//   --- status 1                  expected exit status (0 when not given)
//   --- stdout / --- stderr       expected output, the lines that follow
//                                 ("noeol" after them as after file)
//   --- output x.o                expected content of a file after the run
//   --- absent x.o                a file that must not exist after the run
//   --- dump x.o                  expected zpc-dump text of an intermediate file
//                                 after the run (zpc-dump must succeed)
//
// Blank lines at the end of a section are dropped.
// Lines before the first "===", and lines starting with "#" between the
// "===" line and a case's first section, are comments; inside a section
// every line is content. Output not described is expected to be empty.
// Every run starts in a fresh directory with the include variable unset.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct FileSpec {
    std::string name;
    std::string content;
    bool is_dir = false;
};

struct Case {
    std::string title;
    int line = 0;
    std::vector<std::string> args;
    std::vector<FileSpec> files;
    std::vector<std::string> env;
    int status = 0;
    std::string out, err;
    std::vector<FileSpec> outputs;  // expected files
    std::vector<FileSpec> dumps;    // expected zpc-dump texts
    std::vector<std::string> absent;
};

std::vector<std::string> split_words(const std::string &text)
{
    std::vector<std::string> words;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && text[i] == ' ')
            ++i;
        if (i >= text.size())
            break;
        std::string word;
        bool any = false;
        while (i < text.size() && text[i] != ' ') {
            if (text[i] == '\'') {
                std::size_t close = text.find('\'', i + 1);
                if (close == std::string::npos)
                    close = text.size();
                word += text.substr(i + 1, close - i - 1);
                i = close + 1;
            } else {
                word += text[i++];
            }
            any = true;
        }
        if (any)
            words.push_back(word);
    }
    return words;
}

bool parse_cases(const char *path, std::vector<Case> &cases)
{
    std::ifstream in(path);
    if (!in) {
        std::cerr << "cannot read " << path << "\n";
        return false;
    }
    std::string line;
    std::string *body = nullptr;  // where content lines go
    bool drop_last_newline = false;
    int number = 0;
    auto finish_body = [&]() {
        // Blank lines that separate a section from the next one are no content.
        while (body && body->size() >= 2 && body->compare(body->size() - 2, 2, "\n\n") == 0)
            body->pop_back();
        if (body && body->size() == 1 && (*body)[0] == '\n')
            body->clear();
        if (body && drop_last_newline && !body->empty() && body->back() == '\n')
            body->pop_back();
        body = nullptr;
        drop_last_newline = false;
    };
    while (std::getline(in, line)) {
        ++number;
        if (line.rfind("=== ", 0) == 0) {
            finish_body();
            cases.emplace_back();
            cases.back().title = line.substr(4);
            cases.back().line = number;
            continue;
        }
        if (cases.empty())
            continue;
        Case &c = cases.back();
        if (line.rfind("--- ", 0) == 0) {
            finish_body();
            std::vector<std::string> w = split_words(line.substr(4));
            const std::string kind = w.empty() ? "" : w[0];
            std::string arg = w.size() > 1 ? w[1] : "";
            if (kind == "file" || kind == "output" || kind == "dump") {
                auto &list = kind == "file" ? c.files : kind == "dump" ? c.dumps : c.outputs;
                list.push_back({arg, "", false});
                body = &list.back().content;
                drop_last_newline = w.size() > 2 && w[2] == "noeol";
            } else if (kind == "dir") {
                c.files.push_back({arg, "", true});
            } else if (kind == "env") {
                c.env.push_back(line.substr(line.find("env ") + 4));
            } else if (kind == "status") {
                c.status = std::atoi(arg.c_str());
            } else if (kind == "stdout" || kind == "stderr") {
                body = kind == "stdout" ? &c.out : &c.err;
                drop_last_newline = arg == "noeol";
            } else if (kind == "absent") {
                c.absent.push_back(arg);
            } else {
                std::cerr << path << ":" << number << ": unknown section '" << kind << "'\n";
                return false;
            }
            continue;
        }
        if (body) {
            *body += line;
            *body += '\n';
        } else if (line.rfind("$ ", 0) == 0) {
            c.args = split_words(line.substr(2));
        } else if (!line.empty() && line[0] != '#') {
            std::cerr << path << ":" << number << ": text outside a section\n";
            return false;
        }
    }
    finish_body();
    return true;
}

std::string read_file(const std::string &path, bool *exists = nullptr)
{
    std::ifstream in(path, std::ios::binary);
    if (exists)
        *exists = static_cast<bool>(in);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void make_parents(const std::string &path)
{
    for (std::size_t i = 1; i < path.size(); ++i)
        if (path[i] == '/')
            ::mkdir(path.substr(0, i).c_str(), 0755);
}

void remove_tree(const std::string &dir)
{
    std::string command = "rm -rf '" + dir + "'";
    if (std::system(command.c_str()) != 0)
        std::cerr << "could not remove " << dir << "\n";
}

std::string show(const std::string &text)
{
    std::string shown;
    for (char ch : text) {
        if (ch == '\n')
            shown += "$\n";
        else
            shown += ch;
    }
    return shown;
}

bool run_case(const std::string &bin_dir, const Case &c, const char *file)
{
    char dir_template[] = "/tmp/zpc-case-XXXXXX";
    if (!::mkdtemp(dir_template)) {
        std::cerr << "mkdtemp failed\n";
        return false;
    }
    std::string dir = dir_template;
    for (const FileSpec &f : c.files) {
        std::string path = dir + "/" + f.name;
        make_parents(path);
        if (f.is_dir) {
            ::mkdir(path.c_str(), 0755);
        } else {
            std::ofstream out(path, std::ios::binary);
            out << f.content;
        }
    }
    std::string out_path = dir + "/.stdout", err_path = dir + "/.stderr";
    if (c.args.empty()) {
        std::cerr << file << ":" << c.line << ": case without a command\n";
        return false;
    }
    std::string program = bin_dir + "/" + c.args[0];
    pid_t pid = ::fork();
    if (pid == 0) {
        if (::chdir(dir.c_str()) != 0)
            ::_exit(126);
        ::unsetenv("ZPC");
        for (const std::string &e : c.env) {
            std::size_t eq = e.find('=');
            ::setenv(e.substr(0, eq).c_str(), eq == std::string::npos ? "" : e.substr(eq + 1).c_str(), 1);
        }
        int o = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int e = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(o, 1);
        ::dup2(e, 2);
        std::vector<char *> argv;
        std::vector<std::string> args = c.args;
        args[0] = program;
        for (std::string &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        ::alarm(20);
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    int wstatus = 0;
    ::waitpid(pid, &wstatus, 0);
    std::vector<std::string> problems;
    if (!WIFEXITED(wstatus))
        problems.push_back("did not exit normally (signal " + std::to_string(WTERMSIG(wstatus)) + ")");
    else if (WEXITSTATUS(wstatus) != c.status)
        problems.push_back("exit status " + std::to_string(WEXITSTATUS(wstatus)) + ", expected " +
                           std::to_string(c.status));
    std::string out = read_file(out_path), err = read_file(err_path);
    if (out != c.out)
        problems.push_back("stdout:\n" + show(out) + "expected:\n" + show(c.out));
    if (err != c.err)
        problems.push_back("stderr:\n" + show(err) + "expected:\n" + show(c.err));
    for (const FileSpec &f : c.outputs) {
        bool exists = false;
        std::string got = read_file(dir + "/" + f.name, &exists);
        if (!exists)
            problems.push_back(f.name + " was not written");
        else if (got != f.content)
            problems.push_back(f.name + ":\n" + show(got) + "expected:\n" + show(f.content));
    }
    for (const FileSpec &f : c.dumps) {
        std::string command = "cd '" + dir + "' && '" + bin_dir + "/zpc-dump' '" + f.name + "' 2>&1";
        std::string got;
        int dump_status = -1;
        if (FILE *pipe = ::popen(command.c_str(), "r")) {
            char buffer[4096];
            std::size_t n;
            while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
                got.append(buffer, n);
            dump_status = ::pclose(pipe);
        }
        if (dump_status != 0)
            problems.push_back("zpc-dump " + f.name + " failed:\n" + show(got));
        else if (got != f.content)
            problems.push_back("zpc-dump " + f.name + ":\n" + show(got) + "expected:\n" + show(f.content));
    }
    for (const std::string &name : c.absent) {
        struct stat st;
        if (::stat((dir + "/" + name).c_str(), &st) == 0)
            problems.push_back(name + " exists after the run");
    }
    remove_tree(dir);
    if (problems.empty())
        return true;
    std::cerr << file << ":" << c.line << ": FAILED: " << c.title << "\n";
    for (const std::string &p : problems)
        std::cerr << "  " << p << "\n";
    return false;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: case_runner BIN_DIR CASE_FILE\n";
        return 2;
    }
    char bin_dir[4096];
    if (!::realpath(argv[1], bin_dir)) {
        std::cerr << "no directory " << argv[1] << "\n";
        return 2;
    }
    std::vector<Case> cases;
    if (!parse_cases(argv[2], cases))
        return 2;
    int failed = 0;
    for (const Case &c : cases)
        if (!run_case(bin_dir, c, argv[2]))
            ++failed;
    std::cout << cases.size() - static_cast<std::size_t>(failed) << " of " << cases.size() << " cases passed\n";
    return failed ? 1 : 0;
}

// Path lists from the environment, the include search list with its
// directory trees, and path files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../support.h"
#include "runtime/alloc.h"
#include "runtime/pathlist.h"

namespace {

using Strings = std::vector<std::string>;
namespace fs = std::filesystem;

Strings entries(const PathList *list)
{
    Strings out;
    for (std::int32_t i = 0; i < path_list_count(list); ++i)
        out.emplace_back(path_list_entry(list, i));
    return out;
}

// The search list made from `paths`; `capacity` is the initial one and
// receives the final one.
Strings search(const Strings &paths, std::int32_t capacity = 128, std::int32_t *final_capacity = nullptr)
{
    PathList list;
    path_list_init(&list, 16);
    for (const std::string &p : paths)
        path_list_add(&list, keep_text(p.c_str()));
    PathList *found = build_search_list(&list, &capacity);
    Strings out = entries(found);
    EXPECT_EQ(found->capacity, capacity);
    if (final_capacity)
        *final_capacity = capacity;
    free_search_list(found);
    path_list_free(&list);
    return out;
}

TEST(PathVariable, SplitsAtSemicolons)
{
    PathList list, two;
    path_list_init(&list, 8);
    for (const char *value : {"a;;b\\", ";c\\\\;", ""}) {
        setenv("ZPC_UNIT_PATH", value, 1);
        read_path_variable(&list, "ZPC_UNIT_PATH");
    }
    unsetenv("ZPC_UNIT_PATH");
    read_path_variable(&list, "ZPC_UNIT_PATH");
    EXPECT_EQ(entries(&list), (Strings{"a", "", "b", "", "c\\"}));

    // As many elements as free slots fit; one more is fatal.
    path_list_init(&two, 2);
    setenv("ZPC_UNIT_PATH", "x;y;", 1);
    read_path_variable(&two, "ZPC_UNIT_PATH");
    EXPECT_EQ(entries(&two), (Strings{"x", "y"}));
    two.free_slots = 2;
    setenv("ZPC_UNIT_PATH", "x;y;z", 1);
    EXPECT_EXIT(read_path_variable(&two, "ZPC_UNIT_PATH"), ::testing::ExitedWithCode(1), "^too many pathnames\n$");
    unsetenv("ZPC_UNIT_PATH");
    path_list_free(&list);
    path_list_free(&two);
}

TEST(SearchList, DirectoryTreesDepthFirst)
{
    TempDir t;
    for (const char *d : {"root/b", "root/a/x", "root/a/.git/y", "root/.hidden", "other", "wide/d1", "wide/d2",
                          "wide/d3", "wide/d4", "loop/sub"})
        fs::create_directories(t / d);
    write_file(t / "root/file.txt", "");
    const std::string root = t / "root", wide = t / "wide";
    EXPECT_EQ(search({root + "/", t / "missing", root + "\\a", root, t / "other\\"}),
              (Strings{root, root + "/a", root + "/a/x", root + "/b", t / "other"}));

    // Growing past the initial capacity keeps the order.
    std::int32_t capacity = 0;
    EXPECT_EQ(search({wide}, 2, &capacity),
              (Strings{wide, wide + "/d1", wide + "/d2", wide + "/d3", wide + "/d4"}));
    EXPECT_GE(capacity, 5);

    // A link back to an ancestor must not walk forever.
    fs::create_directory_symlink(t / "loop", t / "loop/sub/back");
    Strings looped = search({t / "loop"});
    ASSERT_FALSE(looped.empty());
    EXPECT_EQ(looped[0], t / "loop");
    EXPECT_LT(looped.size(), 5u);
}

TEST(SearchList, PathFiles)
{
    TempDir t;
    for (const char *d : {"one/deep", "dir 2", "three"})
        fs::create_directories(t / d);
    const std::string paths = t / "paths.txt";
    write_file(paths, t / "one/" + " '" + t / "dir 2" + "' # " + t / "three\n" + paths + " " + t / "gone\n\n\"" +
                          t / "three\"\n");
    write_file(t / "empty.txt", "  # nothing here\n\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(search({paths}), (Strings{t / "one", t / "one/deep", t / "dir 2", t / "three"}));
    // Files that cannot be opened or hold no word add nothing, silently.
    EXPECT_TRUE(search({t / "empty.txt"}).empty());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    // Other failures are shown on standard output and the file adds nothing.
    write_file(t / "quote.txt", t / "one" + "\nx 'abc\n");
    write_file(t / "long.txt", t / "one" + "\n" + std::string(10239, 'w') + "\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(search({t / "quote.txt", t / "long.txt"}).empty());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "unmatched ' in: x 'abc\n\nline 2 too long in file " + t / "long.txt" + "\n");
}

TEST(WordFile, WordsLineNumbersAndErrors)
{
    TempDir t;
    int count = 0;
    char **words = nullptr;
    const std::string name = t / "words", missing = t / "missing";
    // "last" stands on line 300, whose number needs both bytes.
    write_file(name, "one\ttwo  # three\n\n  'x y' \"#q\"" + std::string(297, '\n') + "last\n");
    ASSERT_EQ(read_word_file(name.c_str(), &count, &words), nullptr);
    Strings got;
    for (int i = 0; i < count; ++i) {
        const unsigned char *after = reinterpret_cast<unsigned char *>(words[i]) + std::strlen(words[i]) + 1;
        got.push_back(words[i] + std::string("@") + std::to_string(after[0] * 256 + after[1]));
    }
    free_words(count, words);
    EXPECT_EQ(got, (Strings{"one@1", "two@1", "x y@3", "#q@3", "last@300"}));

    // The longest line that fits holds 10238 characters.
    write_file(name, std::string(10238, 'a') + "\n");
    ASSERT_EQ(read_word_file(name.c_str(), &count, &words), nullptr);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(std::strlen(words[0]), 10238u);
    free_words(count, words);
    write_file(name, "\n" + std::string(10239, 'a'));
    EXPECT_EQ(std::string(read_word_file(name.c_str(), &count, &words)), "line 2 too long in file " + name);

    write_file(name, "# only\n   \n");
    EXPECT_EQ(std::string(read_word_file(name.c_str(), &count, &words)), "no command found in " + name);
    write_file(name, "a \"b c\n");
    EXPECT_EQ(std::string(read_word_file(name.c_str(), &count, &words)), "unmatched \" in: a \"b c\n");
    EXPECT_EQ(std::string(read_word_file(missing.c_str(), &count, &words)), "can't open file " + missing);
}

}  // namespace

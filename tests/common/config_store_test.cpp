#include "common/config_store.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "common/error_code.h"
#include "support/files.h"

namespace fs = std::filesystem;

namespace harbex::system {
namespace {

using test::read_text;
using test::ReplacedTool;
using test::write_text;

class ConfigStore : public testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/config_store_XXXXXX";
        directory_ = ::mkdtemp(name);
    }
    void TearDown() override { fs::remove_all(directory_); }

    fs::path directory_;
};

TEST_F(ConfigStore, ValuesComeBackAsTheyWereSet) {
    const std::string file = directory_ / "my settings.conf";
    for (const std::string value :
         {"plain", "two words", "\"quoted\" and 'quoted'", "$(touch /tmp/leak) `id` $HOME", "-f", "--help", "-",
          "a=b", "%s%n", "semi;colon #hash", "\xC3\xA9\xE4\xB8\xAD", "back\\slash", "[section]"}) {
        EXPECT_EQ(setcfg_wrapper(file, "Join Corvane", "KEY", value), NO_ERROR) << value;
        std::string read = "old";
        EXPECT_EQ(getcfg_wrapper(file, "Join Corvane", "KEY", "default", read), NO_ERROR) << value;
        EXPECT_EQ(read, value);
    }
    EXPECT_FALSE(fs::exists("/tmp/leak"));

    const std::string before = read_text(file);
    EXPECT_EQ(setcfg_wrapper(file, "Join Corvane", "KEY", "two\nlines"), ERR_CMD_FAILED);
    EXPECT_EQ(setcfg_wrapper(directory_, "Join Corvane", "KEY", "into a directory"), ERR_CMD_FAILED);
    EXPECT_EQ(read_text(file), before);
}

TEST_F(ConfigStore, MissingAndEmptyBecomeTheDefault) {
    const std::string file = directory_ / "settings.conf";
    write_text(file, "[section]\nkey = value\nempty =\n");
    const struct {
        const char *name, *file, *section, *key, *default_value, *value;
    } cases[] = {
        {"there", file.c_str(), "section", "key", "default", "value"},
        {"empty", file.c_str(), "section", "empty", "default", "default"},
        {"no key", file.c_str(), "section", "none", "default", "default"},
        {"no section", file.c_str(), "none", "key", "two words", "two words"},
        {"no file", "/tmp/no such file", "section", "key", "-d", "-d"},
        {"no key, no default", file.c_str(), "section", "none", "", ""},
        {"no file, no default", "/tmp/no such file", "section", "key", "", ""},
    };
    for (const auto& c : cases) {
        std::string value = "old";
        EXPECT_EQ(getcfg_wrapper(c.file, c.section, c.key, c.default_value, value), NO_ERROR) << c.name;
        EXPECT_EQ(value, c.value) << c.name;
    }
    std::string file_then_value = file;
    EXPECT_EQ(getcfg_wrapper(file_then_value, "section", "key", "", file_then_value), NO_ERROR);
    EXPECT_EQ(file_then_value, "value");
}

TEST_F(ConfigStore, WhatTheToolPrints) {
    const struct {
        const char *name, *script, *default_value;
        int result;
        const char* value;
    } cases[] = {
        {"one line", "printf 'abc\\n'", "x", NO_ERROR, "abc"},
        {"no line's end", "printf 'abc'", "x", NO_ERROR, "abc"},
        {"two lines", "printf 'a\\nb\\n'", "x", NO_ERROR, "ab"},
        {"carriage return stays", "printf '\\n a\\r\\n'", "x", NO_ERROR, " a\r"},
        {"only line ends", "printf '\\n\\n'", "x", NO_ERROR, "x"},
        {"standard error", "echo noise >&2; echo abc", "x", NO_ERROR, "abc"},
        {"fails without a default", "echo abc; exit 1", "", ERR_CMD_FAILED, ""},
        {"fails with a default", "echo abc; exit 1", "x", NO_ERROR, "x"},
        {"killed", "kill -9 $$", "", ERR_CMD_FAILED, ""},
    };
    for (const auto& c : cases) {
        const ReplacedTool getcfg("/sbin/getcfg", c.script);
        std::string value = "old";
        EXPECT_EQ(getcfg_wrapper("file", "section", "key", c.default_value, value), c.result) << c.name;
        EXPECT_EQ(value, c.value) << c.name;
    }
}

TEST_F(ConfigStore, ArgumentsOfTheTools) {
    const std::string record = directory_ / "arguments";
    const std::string script = "printf '<%s>' \"$0\" \"$@\" > " + record;
    const ReplacedTool getcfg("/sbin/getcfg", script);
    const ReplacedTool setcfg("/sbin/setcfg", script + "; exit 3");
    std::string value;
    EXPECT_EQ(getcfg_wrapper("a file", "a section", "a 'key'", "", value), NO_ERROR);
    EXPECT_EQ(read_text(record), "</sbin/getcfg><a section><a 'key'><-f><a file><-d><>");
    EXPECT_EQ(setcfg_wrapper("a file", "a section", "$key", ""), ERR_CMD_FAILED);
    EXPECT_EQ(read_text(record), "</sbin/setcfg><a section><$key><><-f><a file>");
}

TEST_F(ConfigStore, WriteFileKeepsALongerFilesTail) {
    const std::string path = directory_ / "file";
    EXPECT_EQ(write_file("0123456789", path.c_str(), 0640), 1);
    EXPECT_EQ(write_file("abc", path.c_str(), 0600), 1);
    EXPECT_EQ(read_text(path), "abc3456789");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640)) << "the mode is that of a new file only";
    EXPECT_EQ(write_file(std::string("n\0l", 3), path.c_str(), 0600), 1);
    EXPECT_EQ(read_text(path), std::string("n\0l3456789", 10));
    EXPECT_EQ(write_file("", (directory_ / "empty").c_str(), 0600), 1);
    EXPECT_EQ(fs::file_size(directory_ / "empty"), 0U);
    EXPECT_EQ(write_file("abc", directory_.c_str(), 0600), 0);
    EXPECT_EQ(write_file("abc", (directory_ / "missing" / "file").c_str(), 0600), 0);
}

TEST_F(ConfigStore, ShortWriteDeletesTheFile) {
    const std::string path = directory_ / "file";
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit fifty_bytes = {50, 50};
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &fifty_bytes);
        const bool good =
            write_file(std::string(50, 'x'), path.c_str(), 0600) == 1 && ::access(path.c_str(), F_OK) == 0 &&
            write_file(std::string(51, 'x'), path.c_str(), 0600) == 0 && ::access(path.c_str(), F_OK) != 0;
        ::_exit(good ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(ConfigStore, MoveFile) {
    const std::string from = directory_ / "from";
    const std::string to = directory_ / "to";
    const std::string large = std::string(10000, 'l') + "end";
    const struct {
        const char* name;
        std::string source, to_before, to_after;
    } cases[] = {
        {"new", "content", "", "content"},
        {"several chunks", large, "", large},
        {"over a longer file", "abc", "0123456789", "abc3456789"},
        {"empty", "", "0123", "0123"},
    };
    for (const auto& c : cases) {
        fs::remove(to);
        write_text(from, c.source);
        if (!c.to_before.empty()) write_text(to, c.to_before);
        EXPECT_EQ(move_file(from.c_str(), to.c_str(), 0600), 1) << c.name;
        EXPECT_EQ(read_text(to), c.to_after) << c.name;
        EXPECT_FALSE(fs::exists(from)) << c.name;
    }

    EXPECT_EQ(move_file(from.c_str(), to.c_str(), 0600), 0) << "no source";
    write_text(from, "kept");
    EXPECT_EQ(move_file(from.c_str(), directory_.c_str(), 0600), 0) << "onto a directory";
    EXPECT_EQ(read_text(from), "kept");
    EXPECT_EQ(move_file(directory_.c_str(), to.c_str(), 0600), 0) << "a directory: opened, not copied, not deleted";
    EXPECT_EQ(move_file(from.c_str(), "/dev/full", 0600), 1) << "the copy fails, the deletion does not";
    EXPECT_FALSE(fs::exists(from));
}

TEST_F(ConfigStore, DecodeUrlEncoded) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"", ""},         {"plain", "plain"}, {"a%20b%2Fc%2f", "a b/c/"},        {"1+1", "1+1"},
        {"100%", "100%"}, {"%zz%4", "%zz%4"}, {"a%00b", std::string("a\0b", 3)}, {"%E4%B8%AD", "\xE4\xB8\xAD"},
    };
    for (const auto& c : cases) {
        std::string out = "old";
        EXPECT_EQ(decode_urlEncoded(c.in, out), NO_ERROR) << c.in;
        EXPECT_EQ(out, c.out);
    }
}

TEST_F(ConfigStore, KindsOfFiles) {
    const auto make = [this](const char* name, unsigned mode) {
        write_text(directory_ / name, "");
        fs::permissions(directory_ / name, fs::perms(mode));
    };
    make("plain", 0644);
    make("owner runs", 0100);
    make("others run", 0655);
    fs::create_directory(directory_ / "directory");
    fs::permissions(directory_ / "directory", fs::perms(0755));
    fs::create_symlink(directory_ / "plain", directory_ / "link");
    fs::create_symlink(directory_ / "nowhere", directory_ / "dangling");
    const struct {
        const char* name;
        int regular, executable;
    } cases[] = {
        {"plain", 1, 0},     {"owner runs", 1, 1}, {"others run", 1, 0},
        {"directory", 0, 1}, {"link", 0, 1},  // a link's own mode is 0777
        {"dangling", 0, 1},  {"missing", 0, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(regular_file((directory_ / c.name).c_str()), c.regular) << c.name;
        EXPECT_EQ(executable_file((directory_ / c.name).c_str()), c.executable) << c.name;
    }
}

}  // namespace
}  // namespace harbex::system

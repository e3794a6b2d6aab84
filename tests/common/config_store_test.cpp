#include "common/config_store.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "common/error_code.h"
#include "common/in_folder.h"
#include "support/files.h"
#include "support/run_program.h"

namespace fs = std::filesystem;

namespace harbex::system {
namespace {

using test::read_text;
using test::ReplacedTool;
using test::write_text;

using ConfigStore = test::InFolder;

TEST_F(ConfigStore, ValuesComeBackAsTheyWereSet) {
    const std::string file = folder_ / "my settings.conf";
    for (const std::string value :
         {"plain", "two words", "\"quoted\" and 'quoted'", "$(touch /tmp/leak) `id` $HOME", "-f", "--help", "-",
          "a=b", "%s%n", "semi;colon #hash", "\xC3\xA9\xE4\xB8\xAD", "back\\slash", "[section]"}) {
        EXPECT_EQ(setcfg_wrapper(file, "Join Corvane", "KEY", value), NO_ERROR) << value;
        std::string read = "old";
        EXPECT_EQ(getcfg_wrapper(file, "Join Corvane", "KEY", "default", read), NO_ERROR) << value;
        EXPECT_EQ(read, value);
    }
    EXPECT_FALSE(fs::exists("/tmp/leak"));
    std::string missing;
    EXPECT_EQ(getcfg_wrapper("/tmp/no such file", "section", "key", "-d", missing), NO_ERROR);
    EXPECT_EQ(missing, "-d");

    const std::string before = "[Join Corvane]\nKEY = [section]\n";
    EXPECT_EQ(setcfg_wrapper(file, "Join Corvane", "KEY", "two\nlines"), ERR_CMD_FAILED);
    EXPECT_EQ(setcfg_wrapper(folder_, "Join Corvane", "KEY", "into a directory"), ERR_CMD_FAILED);
    EXPECT_EQ(read_text(file), before);
}

TEST_F(ConfigStore, WhatTheToolPrints) {
    const struct {
        const char *name, *script, *default_value;
        int result;
        const char* value;
    } cases[] = {
        {"two lines", "printf 'a\\nb\\n'", "x", NO_ERROR, "ab"},
        {"carriage return stays", "printf '\\n a\\r\\n'", "x", NO_ERROR, " a\r"},
        {"only line ends", "printf '\\n\\n'", "x", NO_ERROR, "x"},
        {"fails without a default", "echo abc; exit 1", "", ERR_CMD_FAILED, ""},
        {"fails with a default", "echo abc; exit 1", "x", NO_ERROR, "x"},
    };
    for (const auto& c : cases) {
        const ReplacedTool getcfg("/sbin/getcfg", c.script);
        std::string value = "old";
        EXPECT_EQ(getcfg_wrapper("file", "section", "key", c.default_value, value), c.result) << c.name;
        EXPECT_EQ(value, c.value) << c.name;
    }
}

TEST_F(ConfigStore, WriteFileKeepsALongerFilesTail) {
    const std::string path = folder_ / "file";
    EXPECT_EQ(write_file("0123456789", path.c_str(), 0640), 1);
    EXPECT_EQ(write_file("abc", path.c_str(), 0600), 1);
    EXPECT_EQ(read_text(path), "abc3456789");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640)) << "the mode is that of a new file only";
    EXPECT_EQ(write_file("abc", folder_.c_str(), 0600), 0);
    EXPECT_EQ(write_file("abc", (folder_ / "missing" / "file").c_str(), 0600), 0);
}

TEST_F(ConfigStore, ShortWriteDeletesTheFile) {
    const std::string path = folder_ / "file";
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
    EXPECT_EQ(test::wait_for(child), 0);
}

TEST_F(ConfigStore, DecodeUrlEncoded) {
    const struct {
        std::string in, out;
    } cases[] = {{"", ""}, {"1+1%", "1+1%"}, {"a%00%2Fb%2f", std::string("a\0/b/", 5)}};
    for (const auto& c : cases) {
        std::string out = "old";
        EXPECT_EQ(decode_urlEncoded(c.in, out), NO_ERROR) << c.in;
        EXPECT_EQ(out, c.out);
    }
}

}  // namespace
}  // namespace harbex::system

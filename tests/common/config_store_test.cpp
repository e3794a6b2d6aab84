#include "common/config_store.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "common/error_code.h"
#include "common/in_folder.h"

namespace harbex::system {
namespace {

using test::read_text;

using ConfigStore = test::InFolder;

TEST_F(ConfigStore, ValuesComeBackAsTheyWereSet) {
    const std::string file = folder_ / "my settings.conf";
    for (const char* value : {"$(touch /tmp/leak) `id` $HOME", "-f", "a=b;c #d", "[section]"}) {
        EXPECT_EQ(setcfg_wrapper(file, "Join Corvane", "KEY", value), NO_ERROR) << value;
        std::string read = "old";
        EXPECT_EQ(getcfg_wrapper(file, "Join Corvane", "KEY", "default", read), NO_ERROR) << value;
        EXPECT_EQ(read, value);
    }
    EXPECT_EQ(setcfg_wrapper(file, "Join Corvane", "KEY", "two\nlines"), ERR_CMD_FAILED);
    EXPECT_EQ(read_text(file), "[Join Corvane]\nKEY = [section]\n");
}

TEST_F(ConfigStore, WhatTheToolPrints) {
    const struct {
        const char *script, *default_value;
        int result;
        const char* value;
    } cases[] = {
        {"printf 'a\\n\\n b\\r\\n'", "x", NO_ERROR, "a b\r"},
        {"printf '\\n\\n'", "x", NO_ERROR, "x"},
        {"echo abc; exit 1", "", ERR_CMD_FAILED, ""},
        {"echo abc; exit 1", "x", NO_ERROR, "x"},
    };
    for (const auto& c : cases) {
        const test::ReplacedTool getcfg("/sbin/getcfg", c.script);
        std::string value = "old";
        EXPECT_EQ(getcfg_wrapper("file", "section", "key", c.default_value, value), c.result) << c.script;
        EXPECT_EQ(value, c.value) << c.script;
    }
}

TEST_F(ConfigStore, WritingAndMovingKeepALongerFilesTail) {
    const std::string from = folder_ / "from", to = folder_ / "to";
    EXPECT_EQ(write_file("0123456789", to.c_str(), 0640), 1);
    EXPECT_EQ(write_file("abc", to.c_str(), 0600), 1);
    EXPECT_EQ(read_text(to), "abc3456789");
    EXPECT_EQ(fs::status(to).permissions(), fs::perms(0640)) << "the mode is that of a new file only";
    ASSERT_EQ(write_file(std::string(9000, 'n'), from.c_str(), 0600), 1);
    EXPECT_EQ(move_file(from.c_str(), to.c_str(), 0600), 1);
    EXPECT_TRUE(read_text(to) == std::string(9000, 'n')) << read_text(to).size();
    EXPECT_FALSE(fs::exists(from));
}

TEST_F(ConfigStore, ShortWriteDeletesTheFile) {
    const std::string path = folder_ / "file";
    EXPECT_EQ(0, test::run_apart([&] {
                  const rlimit fifty_bytes = {50, 50};
                  ::signal(SIGXFSZ, SIG_IGN);
                  ::setrlimit(RLIMIT_FSIZE, &fifty_bytes);
                  const bool whole = write_file(std::string(50, 'x'), path.c_str(), 0600) == 1 && fs::exists(path);
                  const bool cut = write_file(std::string(51, 'x'), path.c_str(), 0600) == 1 || fs::exists(path);
                  return whole && !cut ? 0 : 1;
              }));
}

TEST_F(ConfigStore, FilesAreJudgedThemselvesNotWhatTheyLinkTo) {
    const std::string plain = folder_ / "plain", program = folder_ / "program", link = folder_ / "link";
    ASSERT_EQ(write_file("", plain.c_str(), 0600) + write_file("", program.c_str(), 0100), 2);
    fs::create_symlink("plain", link);
    EXPECT_EQ(regular_file(plain.c_str()), 1);
    EXPECT_EQ(regular_file(link.c_str()), 0);
    EXPECT_EQ(executable_file(plain.c_str()), 0);
    EXPECT_EQ(executable_file(program.c_str()), 1);
    EXPECT_EQ(executable_file(link.c_str()), 1);
}

TEST_F(ConfigStore, DecodeUrlEncoded) {
    std::string out = "old";
    EXPECT_EQ(decode_urlEncoded("1+1%a%00%2Fb%2f", out), NO_ERROR);
    EXPECT_EQ(out, std::string("1+1%a\0/b/", 9));
}

}  // namespace
}  // namespace harbex::system

// What the tools take for a setting, and what a write does to the text around it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "nas_config.h"
#include "settings_tools.h"

namespace harbex::test {
namespace {

using SettingsText = WithSettings;

std::string trimmed(std::string text) {
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    return text.erase(text.find_last_not_of(" \t") + 1);
}

TEST_F(SettingsText, WrittenText) {
    const struct {
        const char *name, *before, *section, *key, *value, *after;
    } cases[] = {
        {"empty file", "", "Join Corvane", "org_id", "7f", "[Join Corvane]\norg_id = 7f\n"},
        {"replace", "b = 0\n# top\n[s]\na=1\n; about b\nb   =   2   \n", "s", "b", "33",
         "b = 0\n# top\n[s]\na=1\n; about b\nb   =   33   \n"},
        {"many blanks", "  [ Join Corvane ]  \n\t Server Name \t = \t NAS \t\n", "Join Corvane", "Server Name",
         "my NAS", "  [ Join Corvane ]  \n\t Server Name \t = \t my NAS \t\n"},
        {"case of the key", "[s]\nA = 1\na = 2\n", "s", "a", "3", "[s]\nA = 1\na = 3\n"},
        {"no text over several lines", "[s]\na = <<<END\nb = 2\nEND\n", "s", "b", "3",
         "[s]\na = <<<END\nb = 3\nEND\n"},
        {"a section in two pieces", "[s]\na = 1\n[t]\na = 2\n[s]\nb = 3\n", "s", "b", "4",
         "[s]\na = 1\n[t]\na = 2\n[s]\nb = 4\n"},
        {"blanks around the value do not count", "[s]\na = 1\n", "s", "a", " two words\t ", "[s]\na = two words\n"},
        {"full to empty", "[s]\na = x\nb = 2\n", "s", "a", "", "[s]\na = \nb = 2\n"},
        {"add: behind the last key", "[s]\na = 1\n\n; about t\n[t]\n# end", "s", "b", "2",
         "[s]\na = 1\nb = 2\n\n; about t\n[t]\n# end"},
        {"add before the first section", "; licence\n\n[s]\na = 1\n", "", "b", "2",
         "b = 2\n; licence\n\n[s]\na = 1\n"},
        {"new section behind a last comment", "[s]\na = 1\n# end", "t", "b", "2",
         "[s]\na = 1\n# end\n\n[t]\nb = 2\n"},
        {"the one that counts of two", "[s]\na = 1\na = 2\n", "s", "a", "3", "[s]\na = 1\na = 3\n"},
        {"carriage returns", "[s]\r\na = 1\r\n", "s", "b", "2", "[s]\r\na = 1\r\nb = 2\r\n"},
        {"byte order mark", "\xEF\xBB\xBF[s]\na = 1\n", "", "b", "2",
         "\xEF\xBB\xBF"
         "b = 2\n[s]\na = 1\n"},
    };
    for (const auto& c : cases) {
        write_text(file_, c.before);
        const Finished run = setcfg(c.section, c.key, c.value, file_);
        EXPECT_EQ(run.status, 0) << c.name << ": " << run.err;
        EXPECT_EQ(run.out + run.err, "") << c.name;
        EXPECT_EQ(read_text(file_), c.after) << c.name;
        EXPECT_EQ(getcfg(c.section, c.key, file_).out, trimmed(c.value) + "\n") << c.name;
    }
}

TEST_F(SettingsText, RefusedIsUntouched) {
    const std::string plain = "# c\n[s]\na = 1\n";
    const struct {
        const char* name;
        std::string before;
        const char *section, *key, *value;
    } cases[] = {
        {"line feed in the value", plain, "s", "a", "1\nb = 2"},
        {"blank behind the key", plain, "s", "a ", "1"},
        {"equals sign in the key", plain, "s", "a=b", "1"},
        {"key like a comment", plain, "s", ";a", "1"},
        {"empty key", plain, "s", "", "1"},
        {"a last line that swallows the header", "[s]\na = 1\n[ \n", "t", "a", "1"},
        {"NUL bytes", plain + std::string("\0[t]\n", 5), "t", "a", "1"},
    };
    for (const auto& c : cases) {
        write_text(file_, c.before);
        expect_failure(setcfg(c.section, c.key, c.value, file_), c.name);
        EXPECT_EQ(read_text(file_), c.before) << c.name;
        EXPECT_EQ(entries(), 1) << c.name;
    }
    const std::filesystem::path fresh = folder_ / "fresh.conf";
    expect_failure(setcfg("s", "a", "1\n2", fresh), "no file is made for it");
    EXPECT_FALSE(std::filesystem::exists(fresh));
}

// The reader that programs link to.
TEST_F(SettingsText, ProfileString) {
    write_text(file_, "top = level\n[System]\nServer Name = HarbexNAS\nEmpty =\n");
    const std::string missing = folder_ / "missing";
    const struct {
        const char *name, *section, *key;
        int size;
        const std::string& file;
        const char* expected;
    } cases[] = {
        {"cut", "System", "Server Name", 9, file_.native(), "HarbexNA"},
        {"room for the end only", "System", "Server Name", 1, file_.native(), ""},
        {"present and empty", "System", "Empty", 64, file_.native(), ""},
        {"no section means the first lines", nullptr, "top", 64, file_.native(), "level"},
        {"key missing", "System", "server name", 64, file_.native(), "default"},
        {"no key", "System", nullptr, 64, file_.native(), "default"},
        {"file missing", "System", "Server Name", 64, missing, "default"},
    };
    for (const auto& c : cases) {
        char buffer[65];
        memset(buffer, '~', sizeof buffer);
        EXPECT_EQ(Get_Private_Profile_String(c.section, c.key, "default", buffer, c.size, c.file.c_str()),
                  static_cast<int>(strlen(c.expected)))
            << c.name;
        EXPECT_STREQ(buffer, c.expected) << c.name;
        EXPECT_EQ(buffer[c.size], '~') << c.name;
    }
}

}  // namespace
}  // namespace harbex::test

// What the tools take for a setting, and what a write does to the text around it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "nas_config.h"
#include "settings_tools.h"

namespace harbex::test {
namespace {

using SettingsText = InFolder;

TEST_F(SettingsText, Lookup) {
    const struct {
        const char* name;
        const char* text;
        const char* section;
        const char* key;
        const char* expected;
    } cases[] = {
        {"many blanks", "  [ Debug ]  \n\t Enable \t = \t true \t\n", "Debug", "Enable", "true"},
        {"blanks inside", "[Join Corvane]\nServer Name = my first NAS\n", "Join Corvane", "Server Name",
         "my first NAS"},
        {"before the first section", "a = 1\n[s]\na = 2\n", "", "a", "1"},
        {"case of the key", "[s]\nVIRTUAL_IP = 1\nvirtual_ip = 2\n", "s", "virtual_ip", "2"},
        {"marks inside", "[s]\na = b=c ; d # e\n", "s", "a", "b=c ; d # e"},
        {"no text over several lines", "[s]\na = <<<END\nb = 2\nEND\n", "s", "a", "<<<END"},
        {"carriage returns", "[s]\r\na = 1\r\nb = 2\r\n", "s", "a", "1"},
        {"byte order mark", "\xEF\xBB\xBF[s]\na = 1\n", "s", "a", "1"},
        {"twice: the last", "[s]\na = 1\na = 2\n", "s", "a", "2"},
        {"a section in two pieces", "[s]\na = 1\n[t]\na = 2\n[s]\nb = 3\n", "s", "b", "3"},
    };
    for (const auto& c : cases) {
        write_text(file_, c.text);
        const Finished run = getcfg(c.section, c.key, file_);
        EXPECT_EQ(run.status, 0) << c.name;
        EXPECT_EQ(run.out, std::string(c.expected) + "\n") << c.name;
        EXPECT_EQ(run.err, "") << c.name;
    }
}

std::string trimmed(std::string text) {
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    return text.erase(text.find_last_not_of(" \t") + 1);
}

TEST_F(SettingsText, WrittenText) {
    const struct {
        const char* name;
        const char* before;
        const char* section;
        const char* key;
        const char* value;
        const char* after;
    } cases[] = {
        {"empty file", "", "Join Corvane", "org_id", "7f", "[Join Corvane]\norg_id = 7f\n"},
        {"replace", "# top\n[s]\na=1\n; about b\nb   =   2   \n", "s", "b", "33",
         "# top\n[s]\na=1\n; about b\nb   =   33   \n"},
        {"blanks around the value do not count", "[s]\na = 1\n", "s", "a", " two words\t ", "[s]\na = two words\n"},
        {"full to empty", "[s]\na = x\nb = 2\n", "s", "a", "", "[s]\na = \nb = 2\n"},
        {"add: behind the last key", "[s]\na = 1\n\n; about t\n[t]\n# end", "s", "b", "2",
         "[s]\na = 1\nb = 2\n\n; about t\n[t]\n# end"},
        {"add before the first section", "; licence\n\n[s]\na = 1\n", "", "b", "2",
         "b = 2\n; licence\n\n[s]\na = 1\n"},
        {"new section behind a last comment", "[s]\na = 1\n# end", "t", "b", "2",
         "[s]\na = 1\n# end\n\n[t]\nb = 2\n"},
        {"the one that counts of two", "[s]\na = 1\na = 2\n", "s", "a", "3", "[s]\na = 1\na = 3\n"},
        {"the same key elsewhere", "a = 0\n[s]\na = 1\n[t]\na = 2\n", "s", "a", "9",
         "a = 0\n[s]\na = 9\n[t]\na = 2\n"},
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
        const char* section;
        const char* key;
        const char* value;
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
        const char* name;
        const char* section;
        const char* key;
        int size;
        const std::string& file;
        const char* expected;
    } cases[] = {
        {"found", "System", "Server Name", 64, file_.native(), "HarbexNAS"},
        {"cut", "System", "Server Name", 9, file_.native(), "HarbexNA"},
        {"room for the end only", "System", "Server Name", 1, file_.native(), ""},
        {"present and empty", "System", "Empty", 64, file_.native(), ""},
        {"no section means the first lines", nullptr, "top", 64, file_.native(), "level"},
        {"key missing", "System", "server name", 64, file_.native(), "default"},
        {"default cut", "System", "none", 4, file_.native(), "def"},
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

// The reader that programs link to.
#include <gtest/gtest.h>

#include "nas_config.h"
#include "settings_tools.h"

namespace harbex::test {
namespace {

using ProfileString = InFolder;

TEST_F(ProfileString, FoundMissingAndCut) {
    write_text(file_, "top = level\n[System]\nServer Name = HarbexNAS\nEmpty =\n");
    const std::string missing = folder_ / "missing";
    const std::string directory = folder_;
    const char* const f = file_.c_str();
    const struct {
        const char* name;
        const char* section;
        const char* key;
        const char* def;
        int size;
        const char* file;
        const char* expected;
    } cases[] = {
        {"found", "System", "Server Name", "d", 64, f, "HarbexNAS"},
        {"just fits", "System", "Server Name", "d", 10, f, "HarbexNAS"},
        {"cut", "System", "Server Name", "d", 9, f, "HarbexNA"},
        {"room for the end only", "System", "Server Name", "d", 1, f, ""},
        {"present and empty", "System", "Empty", "d", 64, f, ""},
        {"before the first section", "", "top", "d", 64, f, "level"},
        {"no section means that one", nullptr, "top", "d", 64, f, "level"},
        {"key missing", "System", "server name", "default", 64, f, "default"},
        {"section missing", "system", "Server Name", "default", 64, f, "default"},
        {"default cut", "System", "none", "default", 4, f, "def"},
        {"no default", "System", "none", nullptr, 64, f, ""},
        {"no key", "System", nullptr, "d", 64, f, "d"},
        {"file missing", "System", "Server Name", "d", 64, missing.c_str(), "d"},
        {"a directory", "System", "Server Name", "d", 64, directory.c_str(), "d"},
        {"no file", "System", "Server Name", "d", 64, nullptr, "d"},
    };
    for (const auto& c : cases) {
        char buffer[65];
        memset(buffer, '~', sizeof buffer);
        const int count = Get_Private_Profile_String(c.section, c.key, c.def, buffer, c.size, c.file);
        EXPECT_STREQ(buffer, c.expected) << c.name;
        EXPECT_EQ(count, static_cast<int>(strlen(c.expected))) << c.name;
        EXPECT_EQ(buffer[c.size], '~') << c.name;
    }
    char untouched = '~';
    EXPECT_EQ(Get_Private_Profile_String("System", "Server Name", "d", &untouched, 0, f), 0);
    EXPECT_EQ(Get_Private_Profile_String("System", "Server Name", "d", nullptr, 10, f), 0);
    EXPECT_EQ(untouched, '~');
}

}  // namespace
}  // namespace harbex::test

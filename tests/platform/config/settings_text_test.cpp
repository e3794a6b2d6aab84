// What the tools take for a setting, and what a write does to the text around it.
#include <gtest/gtest.h>

#include <algorithm>

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
        {"plain", "[Debug]\nEnable = true\n", "Debug", "Enable", "true"},
        {"no blanks", "[Debug]\nEnable=true\n", "Debug", "Enable", "true"},
        {"many blanks", "  [ Debug ]  \n\t Enable \t = \t true \t\n", "Debug", "Enable", "true"},
        {"blanks inside", "[Join Corvane]\nServer Name = my first NAS\n", "Join Corvane", "Server Name",
         "my first NAS"},
        {"before the first section", "a = 1\n[s]\na = 2\n", "", "a", "1"},
        {"other section's key", "[s]\na = 1\n[t]\nb = 2\n", "s", "b", "DEFAULT"},
        {"case of the key", "[s]\nVIRTUAL_IP = 1\nvirtual_ip = 2\n", "s", "virtual_ip", "2"},
        {"case of the section", "[S]\na = 1\n", "s", "a", "DEFAULT"},
        {"quotes stay", "[s]\na = \"b\"\n", "s", "a", "\"b\""},
        {"marks inside", "[s]\na = b=c ; d # e\n", "s", "a", "b=c ; d # e"},
        {"no text over several lines", "[s]\na = <<<END\nb = 2\nEND\n", "s", "a", "<<<END"},
        {"behind such a line", "[s]\na = <<<END\nb = 2\nEND\n", "s", "b", "2"},
        {"empty value", "[s]\na =\n", "s", "a", ""},
        {"no value", "[s]\na\n", "s", "a", "DEFAULT"},
        {"comments", "[s]\n;a = 1\n  # a = 2\n", "s", "a", "DEFAULT"},
        {"bracket in a comment", "[s]\n# [t]\na = 1\n", "s", "a", "1"},
        {"carriage returns", "[s]\r\na = 1\r\nb = 2\r\n", "s", "a", "1"},
        {"byte order mark", "\xEF\xBB\xBF[s]\na = 1\n", "s", "a", "1"},
        {"no end of line", "[s]\na = 1", "s", "a", "1"},
        {"twice: the last", "[s]\na = 1\na = 2\n", "s", "a", "2"},
        {"a section in two pieces", "[s]\na = 1\n[t]\na = 2\n[s]\nb = 3\n", "s", "b", "3"},
        {"text behind a header", "[s] a = 0\nb = 1\n", "s", "b", "1"},
        {"broken header", "[s\na = 1\n[t]\nb = 2\n", "t", "b", "2"},
        {"empty file", "", "s", "a", "DEFAULT"},
        {"bytes of no text", "\x01\xFF\n[s\xE4]\n\xFF = \xFE\n", "s\xE4", "\xFF", "\xFE"},
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
        {"empty file, no section", "", "", "a", "1", "a = 1\n"},
        {"replace", "# top\n[s]\na=1\n; about b\nb   =   2   \n", "s", "b", "33",
         "# top\n[s]\na=1\n; about b\nb   =   33   \n"},
        {"empty to full and blank", "[s]\na = \n", "s", "a", "x", "[s]\na = x\n"},
        {"blanks around the value do not count", "[s]\na = 1\n", "s", "a", " two words\t ", "[s]\na = two words\n"},
        {"nothing but blanks", "[s]\na = 1\n", "s", "a", "  ", "[s]\na = \n"},
        {"full to empty", "[s]\na = x\nb = 2\n", "s", "a", "", "[s]\na = \nb = 2\n"},
        {"empty, added", "[s]\n", "s", "a", "", "[s]\na = \n"},
        {"add: behind the last key", "[s]\na = 1\n\n; about t\n[t]\n# end", "s", "b", "2",
         "[s]\na = 1\nb = 2\n\n; about t\n[t]\n# end"},
        {"add to a bare section", "[s]\n[t]\na = 1\n", "s", "b", "2", "[s]\nb = 2\n[t]\na = 1\n"},
        {"add before the first section", "; licence\n\n[s]\na = 1\n", "", "b", "2",
         "b = 2\n; licence\n\n[s]\na = 1\n"},
        {"add to those before the first section", "a = 1\n[s]\n", "", "b", "2", "a = 1\nb = 2\n[s]\n"},
        {"new section behind a last comment", "[s]\na = 1\n# end", "t", "b", "2",
         "[s]\na = 1\n# end\n\n[t]\nb = 2\n"},
        {"what is no setting stays", "junk\n[s]\n\n\n= 3\na = 1\nmore junk\n", "s", "a", "2",
         "junk\n[s]\n\n\n= 3\na = 2\nmore junk\n"},
        {"the one that counts of two", "[s]\na = 1\na = 2\n", "s", "a", "3", "[s]\na = 1\na = 3\n"},
        {"a commented twin", "[s]\n# a = 0\na = 1\n", "s", "a", "2", "[s]\n# a = 0\na = 2\n"},
        {"the same key elsewhere", "a = 0\n[s]\na = 1\n[t]\na = 2\n", "s", "a", "9",
         "a = 0\n[s]\na = 9\n[t]\na = 2\n"},
        {"another case", "[s]\nKEY = 1\n", "s", "key", "2", "[s]\nKEY = 1\nkey = 2\n"},
        {"carriage returns", "[s]\r\na = 1\r\n", "s", "b", "2", "[s]\r\na = 1\r\nb = 2\r\n"},
        {"carriage returns, new section", "[s]\r\na = 1\r\n", "t", "b", "2", "[s]\r\na = 1\r\n\r\n[t]\r\nb = 2\r\n"},
        {"byte order mark", "\xEF\xBB\xBF[s]\na = 1\n", "", "b", "2",
         "\xEF\xBB\xBF"
         "b = 2\n[s]\na = 1\n"},
        {"no end of line", "[s]\na = 1", "s", "b", "2", "[s]\na = 1\nb = 2\n"},
        {"behind a comment of many lines", "# 1\r\n# 2\r\n\r\n# 3\r\n[s]\r\na = 1\r\n", "s", "a", "2",
         "# 1\r\n# 2\r\n\r\n# 3\r\n[s]\r\na = 2\r\n"},
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

TEST_F(SettingsText, AnyOneLineTextIsAValue) {
    const std::string values[] = {"a=b=c",
                                  "; no comment",
                                  "# none either",
                                  "[t]",
                                  "<<<END",
                                  "\"quoted\"",
                                  "\"",
                                  "-f",
                                  "--help",
                                  "",
                                  "$(reboot)",
                                  "a\tb",
                                  "\xFF\x01",
                                  "a\\nb\\",
                                  "'",
                                  std::string(100'000, 'x')};
    write_text(file_, "[s]\nbefore = 1\n\n[t]\nafter = 2\n");
    for (const std::string& value : values) {
        for (const char* section : {"s", "", "new [one"}) {
            EXPECT_EQ(setcfg(section, "any key", value, file_).status, 0) << value.substr(0, 20);
            EXPECT_EQ(getcfg(section, "any key", file_).out, value + "\n");
        }
    }
    EXPECT_EQ(getcfg("s", "before", file_).out, "1\n");
    EXPECT_EQ(getcfg("t", "after", file_).out, "2\n");
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
        {"carriage return in the value", plain, "s", "a", "1\r"},
        {"line feed in the key", plain, "s", "a\nb", "1"},
        {"line feed in the section", plain, "s\n", "a", "1"},
        {"blank behind the key", plain, "s", "a ", "1"},
        {"blank before the section", plain, " s", "a", "1"},
        {"bracket in the section", plain, "s]t", "a", "1"},
        {"equals sign in the key", plain, "s", "a=b", "1"},
        {"key like a comment", plain, "s", ";a", "1"},
        {"key like a comment, too", plain, "s", "#a", "1"},
        {"key like a header", plain, "s", "[a", "1"},
        {"empty key", plain, "s", "", "1"},
        {"key that makes a byte order mark", plain, "",
         "\xEF\xBB\xBF"
         "a",
         "1"},
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

TEST_F(SettingsText, CommandLines) {
    write_text(file_, "-f = dash\n[-f]\nx = section\n[--help]\n-d = both\n[s]\na = 1\n");
    const std::string f = file_;
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        int status;
        const char* out;
    } cases[] = {
        {"default not given", {"getcfg", "s", "none", "-f", f}, 0, "\n"},
        {"default before the file", {"getcfg", "s", "none", "-d", "D", "-f", f}, 0, "D\n"},
        {"options in front", {"getcfg", "-f", f, "-d", "D", "s", "a"}, 0, "1\n"},
        {"options around", {"getcfg", "-d", "D", "s", "none", "-f", f}, 0, "D\n"},
        {"default like an option", {"getcfg", "s", "none", "-f", f, "-d", "-f"}, 0, "-f\n"},
        {"key like an option", {"getcfg", "", "-f", "-f", f, "-d", "D"}, 0, "dash\n"},
        {"section like an option", {"getcfg", "-f", "x", "-f", f, "-d", "D"}, 0, "section\n"},
        {"both like options", {"getcfg", "--help", "-d", "-f", f}, 0, "both\n"},
        {"no file given", {"getcfg", "s", "a"}, 64, ""},
        {"option without a value", {"getcfg", "s", "a", "-f", f, "-d"}, 64, ""},
        {"one name only", {"getcfg", "s", "-f", f}, 64, ""},
        {"unknown option", {"getcfg", "s", "a", "-f", f, "-x", "y"}, 64, ""},
        {"nothing", {"getcfg"}, 64, ""},
        {"nothing to set", {"setcfg"}, 64, ""},
        {"no value", {"setcfg", "s", "a", "-f", f}, 64, ""},
        {"setting knows no default", {"setcfg", "s", "a", "1", "-f", f, "-d", "x"}, 64, ""},
        {"too many", {"setcfg", "s", "a", "1", "2", "-f", f}, 64, ""},
        {"setting, file first", {"setcfg", "-f", f, "s", "a", "2"}, 0, ""},
    };
    for (const auto& c : cases) {
        std::vector<std::string> command = c.arguments;
        command[0] = "/sbin/" + command[0];
        const Finished run = run_program(command);
        EXPECT_EQ(run.status, c.status) << c.name;
        EXPECT_EQ(run.out, c.out) << c.name;
        EXPECT_EQ(run.err.empty(), c.status == 0) << c.name << ": " << run.err;
    }
    EXPECT_EQ(getcfg("s", "a", f).out, "2\n") << "set with the file first";
}

TEST_F(SettingsText, BigFile) {
    std::string text;
    for (int section = 0; section < 200; ++section) {
        text += "# section " + std::to_string(section) + "\n[section " + std::to_string(section) + "]\n";
        for (int key = 0; key < 200; ++key)
            text += "key " + std::to_string(key) + " = " + std::string(50, 'v') + "\n";
    }
    write_text(file_, text);
    EXPECT_EQ(getcfg("section 199", "key 199", file_).out, std::string(50, 'v') + "\n");
    EXPECT_EQ(setcfg("section 100", "key 100", "changed", file_).status, 0);
    const size_t place = text.find("key 100 = ", text.find("[section 100]")) + 10;
    EXPECT_EQ(read_text(file_), text.replace(place, 50, "changed"));
}

}  // namespace
}  // namespace harbex::test

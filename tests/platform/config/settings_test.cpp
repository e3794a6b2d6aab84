// The two tools as scripts call them: what they take for a setting, what a write leaves. (Many writers, some of them
// killed, are in power_cut_test.)
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

#include "base/descriptor.h"
#include "common/in_folder.h"
#include "nas_config.h"

namespace harbex::test {
namespace {

class Settings : public InFolder {
protected:
    static Finished set(const std::string& section, const std::string& key, const std::string& value,
                        const std::string& file) {
        return run_program({"/sbin/setcfg", section, key, value, "-f", file});
    }

    static void expect_failure(const Finished& run, const std::string& name) {
        EXPECT_EQ(run.status, 1) << name;
        EXPECT_EQ(run.out, "") << name;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << name << ": " << run.err;
    }

    static std::string mode_and_owner(const fs::path& path) {
        return run_program({"/usr/bin/stat", "-c", "%a %u %g", path}).out;
    }

    const fs::path lock_ = folder_ / ".setcfg.lock";
    const fs::path file_ = folder_ / "corvane.conf";
};

TEST_F(Settings, WrittenText) {
    const struct {
        const char *name, *before, *section, *key, *value, *after;
    } cases[] = {
        {"replace", "b = 0\n# top\n[s]\na=1\n; about b\nb   =   2   \n", "s", "b", "33",
         "b = 0\n# top\n[s]\na=1\n; about b\nb   =   33   \n"},
        {"outer blanks do not count", "[s]\na = 1\n", "s", "a", " two words\t ", "[s]\na = two words\n"},
        {"add: behind the last key", "[s]\na = 1\n\n; about t\n[t]\n# end", "s", "b", "2",
         "[s]\na = 1\nb = 2\n\n; about t\n[t]\n# end"},
        {"the one that counts of two", "[s]\na = 1\na = 2\n", "s", "a", "3", "[s]\na = 1\na = 3\n"},
        {"carriage returns", "[s]\r\na = 1\r\n", "s", "b", "2", "[s]\r\na = 1\r\nb = 2\r\n"},
        {"byte order mark", "\xEF\xBB\xBF[s]\n", "", "b", "2", "\xEF\xBB\xBF\x62 = 2\n[s]\n"},
    };
    for (const auto& c : cases) {
        write_text(file_, c.before);
        const Finished run = set(c.section, c.key, c.value, file_);
        EXPECT_EQ(run.out + run.err, "") << c.name;
        EXPECT_EQ(read_text(file_), c.after) << c.name;
    }
}

TEST_F(Settings, RefusedIsUntouched) {
    const std::string plain = "# c\n[s]\na = 1\n";
    const struct {
        std::string before;
        const char *section, *key, *value;
    } cases[] = {
        {plain, "s", "a", "1\nb = 2"},
        {plain, "s", "a=b", "1"},
        {"[s]\na = 1\n[ \n", "t", "a", "1"},  // a last line that swallows the header
        {plain + std::string("\0[t]\n", 5), "t", "a", "1"},
    };
    for (const auto& c : cases) {
        write_text(file_, c.before);
        expect_failure(set(c.section, c.key, c.value, file_), c.key);
        EXPECT_EQ(read_text(file_), c.before);
    }
    expect_failure(set("s", "a", "1\n2", folder_ / "fresh.conf"), "fresh.conf");
    EXPECT_FALSE(fs::exists(folder_ / "fresh.conf"));
    expect_failure(set("s", "a", "1", lock_), "a name of its own");
}

TEST_F(Settings, ProfileString) {
    write_text(file_, "top = level\n[System]\nServer Name = HarbexNAS\nEmpty =\n");
    const struct {
        const char *section, *key;
        int size;
        std::string expected;
    } cases[] = {
        {"System", "Server Name", 9, "HarbexNA"},
        {nullptr, "top", 64, "level"},
        {"System", "server name", 64, "default"},
    };
    for (const auto& c : cases) {
        std::string buffer(65, '~');
        EXPECT_EQ(Get_Private_Profile_String(c.section, c.key, "default", buffer.data(), c.size, file_.c_str()),
                  std::ssize(c.expected));
        EXPECT_EQ(buffer.substr(0, c.expected.size() + 1), c.expected + '\0');
        EXPECT_EQ(buffer.find_last_not_of('~') + 1, c.expected.size() + 1) << "nothing is written behind it";
    }
}

TEST_F(Settings, ModeAndOwnerStay) {
    const nas::Descriptor reader(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(reader.get(), LOCK_EX), 0) << "who may only read the folder stops nobody";
    umask(0777);
    EXPECT_EQ(set("s", "a", "1", file_).status, 0);
    umask(022);
    for (const fs::path& made : {file_, lock_})
        EXPECT_TRUE(mode_and_owner(made).starts_with("600 ")) << made;
    (void)!chown(file_.c_str(), 65534, 65534);
    chmod(file_.c_str(), 04640);
    const std::string before = mode_and_owner(file_);
    EXPECT_EQ(set("s", "a", "2", file_).status, 0);
    EXPECT_EQ(mode_and_owner(file_), before);
}

TEST_F(Settings, LinksAreFollowed) {
    fs::create_directory(folder_ / "deep");
    fs::create_symlink("deep/target.conf", folder_ / "first");
    fs::create_symlink(folder_ / "loop", folder_ / "loop");
    for (const std::string value : {"creates the target", "replaces the target"}) {
        EXPECT_EQ(set("s", "a", value, folder_ / "first").status, 0) << value;
        EXPECT_TRUE(fs::is_symlink(folder_ / "first")) << value;
        EXPECT_EQ(read_text(folder_ / "deep" / "target.conf"), "[s]\na = " + value + "\n");
    }
    expect_failure(run_program({"/sbin/getcfg", "s", "a", "-f", folder_ / "loop"}), "a circle of links");
}

TEST_F(Settings, LockIsTheWritersOwn) {
    write_text(file_, "[s]\na = 1\n");
    fs::create_symlink(file_, lock_);
    expect_failure(set("s", "a", "2", file_), "a lock file that somebody put there");
    fs::remove(lock_);
    const nas::Descriptor writer(open(lock_.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    expect_failure(set("s", "a", "3", file_), "a writer that never ends");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(read_text(file_), "[s]\na = 1\n");
}

}  // namespace
}  // namespace harbex::test

// The two tools as scripts call them: what they take for a setting, what a write leaves, many and killed writers.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

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

    long entries() const { return std::distance(fs::directory_iterator(folder_), {}) - fs::exists(lock_); }

    static struct stat status_of(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status;
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
    EXPECT_EQ(entries(), 1) << "no file is made for it";
}

TEST_F(Settings, ProfileString) {
    write_text(file_, "top = level\n[System]\nServer Name = HarbexNAS\nEmpty =\n");
    const struct {
        const char *section, *key;
        int size;
        const char* expected;
    } cases[] = {
        {"System", "Server Name", 9, "HarbexNA"},
        {nullptr, "top", 64, "level"},
        {"System", "server name", 64, "default"},
    };
    for (const auto& c : cases) {
        char buffer[65];
        memset(buffer, '~', sizeof buffer);
        EXPECT_EQ(Get_Private_Profile_String(c.section, c.key, "default", buffer, c.size, file_.c_str()),
                  static_cast<int>(strlen(c.expected)));
        EXPECT_STREQ(buffer, c.expected) << c.size;
        EXPECT_EQ(buffer[c.size], '~') << c.size;
    }
}

TEST_F(Settings, ModeAndOwnerStay) {
    const nas::Descriptor reader(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(reader.get(), LOCK_EX), 0) << "who may only read the folder stops nobody";
    umask(0777);
    EXPECT_EQ(set("s", "a", "1", file_).status, 0);
    umask(022);
    EXPECT_EQ(status_of(file_).st_mode, S_IFREG | 0600U) << "of a new file";
    EXPECT_EQ(status_of(lock_).st_mode, S_IFREG | 0600U);
    (void)!chown(file_.c_str(), 65534, 65534);
    chmod(file_.c_str(), 04640);
    const struct stat before = status_of(file_);
    EXPECT_EQ(set("s", "a", "2", file_).status, 0);
    EXPECT_EQ(status_of(file_).st_mode, before.st_mode);
    EXPECT_EQ(status_of(file_).st_uid, before.st_uid);
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
    const nas::Descriptor writer(open(lock_.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    expect_failure(set("s", "a", "3", file_), "a writer that never ends");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(read_text(file_), "[s]\na = 1\n");
}

TEST_F(Settings, ConcurrentWritersLoseNothing) {
    write_text(file_, "# first\n[s]\n# last");
    const Finished run = run_program({"/bin/bash", "-c",
                                      "for w in {1..8}; do { for k in {1..50}; do setcfg s $w.$k \"v $w.$k\" -f " +
                                          file_.native() + "; done; } & done; wait; sort -u " + file_.native() +
                                          " | grep -c '^\\([0-9.]*\\) = v \\1$'"});
    EXPECT_EQ(run.out, "400\n") << run.err;
    const std::string text = read_text(file_);
    EXPECT_TRUE(text.starts_with("# first\n[s]\n") && text.ends_with("\n# last")) << text;
}

TEST_F(Settings, KilledWriterLeavesAWholeFile) {
    const std::string head = "[s]\na = ", tail = "\n" + std::string(200'000, '#') + "\n[t]\nb = 1\n";
    const std::string values[] = {std::string(50'000, 'x'), std::string(70'000, 'y')};
    write_text(file_, head + values[0] + tail);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(set("s", "a", values[0] + "x", file_).status, 0);
    const std::chrono::duration<double, std::micro> one_run = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(set("s", "a", values[0], file_).status, 0);

    for (int round = 1; round <= 100; ++round) {
        const std::string before = read_text(file_);
        const std::string& value = values[round % 2];
        const pid_t writer =
            start_program({"/sbin/setcfg", "s", "a", value, "-f", file_}, STDOUT_FILENO, STDERR_FILENO);
        usleep(static_cast<useconds_t>(one_run.count() * round / 100));
        kill(writer, SIGKILL);
        const int status = wait_for(writer);
        const std::string after = read_text(file_);
        ASSERT_TRUE(after == head + value + tail || (status != 0 && after == before)) << "round " << round;
    }
    EXPECT_EQ(set("s", "a", "at rest", file_).status, 0);
    EXPECT_EQ(entries(), 1) << "nothing of the killed is left";
}

}  // namespace
}  // namespace harbex::test

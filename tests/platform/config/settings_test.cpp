// The two tools as scripts call them: what they take for a setting, what a write leaves of the file around it, many
// writers, killed writers, and hostile ones.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <random>

#include "base/descriptor.h"
#include "common/in_folder.h"
#include "nas_config.h"

namespace harbex::test {
namespace {

class Settings : public InFolder {
protected:
    // What getcfg prints.
    static std::string get(const std::string& section, const std::string& key, const std::string& file) {
        return run_program({"/sbin/getcfg", section, key, "-f", file, "-d", "DEFAULT"}).out;
    }
    static Finished set(const std::string& section, const std::string& key, const std::string& value,
                        const std::string& file) {
        return run_program({"/sbin/setcfg", section, key, value, "-f", file});
    }

    // A failure: nothing on standard output, one line on standard error.
    static void expect_failure(const Finished& run, const std::string& name) {
        EXPECT_EQ(run.status, 1) << name;
        EXPECT_EQ(run.out, "") << name;
        EXPECT_GT(run.err.size(), 1U) << name;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << name << ": " << run.err;
    }

    // How many entries the folder has, the writers' lock file not counted.
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
        {"empty file", "", "Join Corvane", "org_id", "7f", "[Join Corvane]\norg_id = 7f\n"},
        {"replace", "b = 0\n# top\n[s]\na=1\n; about b\nb   =   2   \n", "s", "b", "33",
         "b = 0\n# top\n[s]\na=1\n; about b\nb   =   33   \n"},
        {"case of the key", "[s]\nA = 1\na = 2\n", "s", "a", "3", "[s]\nA = 1\na = 3\n"},
        {"outer blanks do not count", "[s]\na = 1\n", "s", "a", " two words\t ", "[s]\na = two words\n"},
        {"add: behind the last key", "[s]\na = 1\n\n; about t\n[t]\n# end", "s", "b", "2",
         "[s]\na = 1\nb = 2\n\n; about t\n[t]\n# end"},
        {"add before the first section", "; licence\n\n[s]\na = 1\n", "", "b", "2",
         "b = 2\n; licence\n\n[s]\na = 1\n"},
        {"new section", "[s]\na = 1\n# end", "t", "b", "2", "[s]\na = 1\n# end\n\n[t]\nb = 2\n"},
        {"the one that counts of two", "[s]\na = 1\na = 2\n", "s", "a", "3", "[s]\na = 1\na = 3\n"},
        {"carriage returns", "[s]\r\na = 1\r\n", "s", "b", "2", "[s]\r\na = 1\r\nb = 2\r\n"},
        {"byte order mark", "\xEF\xBB\xBF[s]\n", "", "b", "2", "\xEF\xBB\xBF\x62 = 2\n[s]\n"},
    };
    for (const auto& c : cases) {
        write_text(file_, c.before);
        const Finished run = set(c.section, c.key, c.value, file_);
        EXPECT_EQ(run.status, 0) << c.name << ": " << run.err;
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
        {plain, "s", "a ", "1"},
        {plain, "s", "a=b", "1"},
        {plain, "s", ";a", "1"},
        {plain, "s", "", "1"},
        {"[s]\na = 1\n[ \n", "t", "a", "1"},  // a last line that swallows the header
        {plain + std::string("\0[t]\n", 5), "t", "a", "1"},
    };
    for (const auto& c : cases) {
        write_text(file_, c.before);
        expect_failure(set(c.section, c.key, c.value, file_), c.key);
        EXPECT_EQ(read_text(file_), c.before);
        EXPECT_EQ(entries(), 1) << c.key;
    }
    for (const char* file : {"fresh.conf", "missing/corvane.conf", ".", ".setcfg.lock"})
        expect_failure(set("s", "a", file[0] == 'f' ? "1\n2" : "1", folder_ / file), file);
    EXPECT_EQ(entries(), 1) << "no file is made for it";
}

// The reader that programs link to.
TEST_F(Settings, ProfileString) {
    write_text(file_, "top = level\n[System]\nServer Name = HarbexNAS\nEmpty =\n");
    const std::string missing = folder_ / "missing";
    const struct {
        const char *section, *key;
        int size;
        const std::string& file;
        const char* expected;
    } cases[] = {
        {"System", "Server Name", 9, file_.native(), "HarbexNA"},
        {"System", "Server Name", 1, file_.native(), ""},
        {"System", "Empty", 64, file_.native(), ""},
        {nullptr, "top", 64, file_.native(), "level"},
        {"System", "server name", 64, file_.native(), "default"},
        {"System", nullptr, 64, file_.native(), "default"},
        {"System", "Server Name", 64, missing, "default"},
    };
    for (const auto& c : cases) {
        char buffer[65];
        memset(buffer, '~', sizeof buffer);
        EXPECT_EQ(Get_Private_Profile_String(c.section, c.key, "default", buffer, c.size, c.file.c_str()),
                  static_cast<int>(strlen(c.expected)));
        EXPECT_STREQ(buffer, c.expected) << c.size;
        EXPECT_EQ(buffer[c.size], '~') << c.size;
    }
}

TEST_F(Settings, ModeAndOwnerStay) {
    umask(0777);
    EXPECT_EQ(set("s", "a", "1", file_).status, 0);
    umask(022);
    EXPECT_EQ(status_of(file_).st_mode, S_IFREG | 0600U) << "of a new file";
    // Another owner is possible only where the system knows more than one.
    (void)!chown(file_.c_str(), 65534, 65534);
    ASSERT_EQ(chmod(file_.c_str(), 04640), 0);
    const struct stat before = status_of(file_);
    EXPECT_EQ(set("s", "a", "2", file_).status, 0);
    const struct stat after = status_of(file_);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(read_text(file_), "[s]\na = 2\n");
}

TEST_F(Settings, LinksAreFollowed) {
    fs::create_directory(folder_ / "deep");
    fs::create_symlink("deep/second", folder_ / "first");
    fs::create_symlink("target.conf", folder_ / "deep" / "second");
    fs::create_symlink(folder_ / "loop", folder_ / "loop");
    for (const char* value : {"creates the target", "replaces the target"}) {
        EXPECT_EQ(set("s", "a", value, folder_ / "first").status, 0) << value;
        EXPECT_TRUE(fs::is_symlink(folder_ / "first") && fs::is_symlink(folder_ / "deep" / "second")) << value;
        EXPECT_EQ(read_text(folder_ / "deep" / "target.conf"), std::string("[s]\na = ") + value + "\n");
        EXPECT_EQ(get("s", "a", folder_ / "first"), std::string(value) + "\n");
    }
    expect_failure(set("s", "a", "1", folder_ / "loop"), "set in a circle of links");
    expect_failure(run_program({"/sbin/getcfg", "s", "a", "-f", folder_ / "loop"}), "get from a circle of links");
}

TEST_F(Settings, LockIsTheWritersOwn) {
    write_text(file_, "[s]\na = 1\n");
    const nas::Descriptor reader(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(reader.get(), LOCK_EX), 0);
    umask(0777);
    EXPECT_EQ(set("s", "a", "2", file_).status, 0) << "who may only read the folder stops nobody";
    umask(022);
    EXPECT_EQ(status_of(lock_).st_mode, S_IFREG | 0600U);

    const nas::Descriptor writer(open(lock_.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    expect_failure(set("s", "a", "3", file_), "a writer that never ends");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    const std::function<void()> fakes[] = {[&] { mkfifo(lock_.c_str(), 0600); },
                                           [&] { fs::create_symlink("elsewhere", lock_); },
                                           [&] { fs::create_directory(lock_); }};
    for (const auto& fake : fakes) {
        fs::remove(lock_);
        fake();
        expect_failure(set("s", "a", "3", file_), "a lock file of another kind");
    }
    EXPECT_EQ(get("s", "a", file_), "2\n");
    EXPECT_FALSE(fs::exists(folder_ / "elsewhere"));
}

TEST_F(Settings, ConcurrentWritersLoseNothing) {
    write_text(file_, "# first\n[s]\n# last");
    const std::string sorted = "tail -n +3 " + file_.native() + " | head -n -1 | sort";
    const Finished run = run_program(
        {"/bin/bash", "-c",
         "for w in {1..8}; do { for k in {1..50}; do setcfg s $w.$k \"v $w.$k\" -f " + file_.native() +
             " || touch /tmp/lost; done; } & done; wait; cmp <(" + sorted +
             ") <(for w in {1..8}; do printf \"$w.%d = v $w.%d\\n\" $(for k in {1..50}; do echo $k $k; done); done | "
             "sort)"});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_FALSE(fs::exists("/tmp/lost"));
    const std::string text = read_text(file_);
    EXPECT_TRUE(text.starts_with("# first\n[s]\n") && text.ends_with("\n# last")) << text;
    EXPECT_EQ(entries(), 1);
}

TEST_F(Settings, KilledWriterLeavesAWholeFile) {
    const std::string head = "[s]\na = ", tail = "\n" + std::string(200'000, '#') + "\n[t]\nb = 1\n";
    const std::string values[] = {std::string(50'000, 'x'), std::string(70'000, 'y')};
    write_text(file_, head + values[0] + tail);
    const nas::Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(set("s", "a", values[0] + "x", file_).status, 0);
    const std::chrono::duration<double, std::micro> one_run = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(set("s", "a", values[0], file_).status, 0);

    std::mt19937 random(2024);
    std::uniform_int_distribution<useconds_t> delay(0, static_cast<useconds_t>(one_run.count()));
    for (int round = 1; round <= 100; ++round) {
        const std::string before = read_text(file_);
        const std::string& value = values[round % 2];
        const pid_t writer =
            start_program({"/sbin/setcfg", "s", "a", value, "-f", file_}, nowhere.get(), nowhere.get());
        usleep(delay(random));
        kill(writer, SIGKILL);
        const int status = wait_for(writer);
        ASSERT_TRUE(status == 0 || status == 128 + SIGKILL) << status;
        const std::string after = read_text(file_);
        ASSERT_TRUE(after == head + value + tail || (status != 0 && after == before)) << "round " << round;
        ASSERT_LE(entries(), 2) << "round " << round;
    }
    write_text(folder_ / ".setcfg.new", "half of a");
    EXPECT_EQ(set("s", "a", "at rest", file_).status, 0);
    EXPECT_EQ(read_text(file_), head + "at rest" + tail);
    EXPECT_EQ(entries(), 1);
}

}  // namespace
}  // namespace harbex::test

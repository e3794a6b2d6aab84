// The file as a whole: who may read and write it, what stays of it, many writers, killed writers.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <random>
#include <sstream>

#include "base/descriptor.h"
#include "settings_tools.h"

namespace harbex::test {
namespace {

namespace fs = std::filesystem;

using SettingsFile = WithSettings;

struct stat status_of(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
}

TEST_F(SettingsFile, NewFile) {
    umask(0777);
    EXPECT_EQ(setcfg("s", "a", "1", file_).status, 0);
    umask(022);
    EXPECT_EQ(status_of(file_).st_mode & 07777, 0600U);
    EXPECT_EQ(read_text(file_), "[s]\na = 1\n");
    EXPECT_EQ(entries(), 1);
    expect_failure(setcfg("s", "a", "1", folder_ / "missing" / "corvane.conf"), "its folder is missing");
    EXPECT_EQ(entries(), 1);
}

TEST_F(SettingsFile, ModeAndOwnerStay) {
    write_text(file_, "[s]\na = 1\n");
    // Another owner is possible only where the system knows more than one.
    (void)!chown(file_.c_str(), 65534, 65534);
    ASSERT_EQ(chmod(file_.c_str(), 04640), 0);
    const struct stat before = status_of(file_);
    EXPECT_EQ(setcfg("s", "a", "2", file_).status, 0);
    const struct stat after = status_of(file_);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(read_text(file_), "[s]\na = 2\n");
}

TEST_F(SettingsFile, LinksAreFollowed) {
    fs::create_directory(folder_ / "deep");
    fs::create_symlink("deep/second", folder_ / "first");
    fs::create_symlink("target.conf", folder_ / "deep" / "second");
    fs::create_symlink(folder_ / "loop", folder_ / "loop");
    for (const char* value : {"creates the target", "replaces the target"}) {
        EXPECT_EQ(setcfg("s", "a", value, folder_ / "first").status, 0) << value;
        EXPECT_TRUE(fs::is_symlink(folder_ / "first")) << value;
        EXPECT_TRUE(fs::is_symlink(folder_ / "deep" / "second")) << value;
        EXPECT_EQ(read_text(folder_ / "deep" / "target.conf"), std::string("[s]\na = ") + value + "\n");
        EXPECT_EQ(getcfg("s", "a", folder_ / "first").out, std::string(value) + "\n");
    }
    expect_failure(setcfg("s", "a", "1", folder_ / "loop"), "set in a circle of links");
    expect_failure(getcfg("s", "a", folder_ / "loop"), "get from a circle of links");
}

TEST_F(SettingsFile, LockIsTheWritersOwn) {
    write_text(file_, "[s]\na = 1\n");
    const nas::Descriptor reader(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(reader.get(), LOCK_EX), 0);
    umask(0777);
    EXPECT_EQ(setcfg("s", "a", "2", file_).status, 0) << "who may only read the folder stops nobody";
    umask(022);
    EXPECT_EQ(status_of(lock_).st_mode, S_IFREG | 0600U);
    expect_failure(setcfg("s", "a", "1", lock_), "no settings file");

    const nas::Descriptor writer(open(lock_.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    expect_failure(setcfg("s", "a", "3", file_), "a writer that never ends");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    const std::function<void()> fakes[] = {[&] { mkfifo(lock_.c_str(), 0600); },
                                           [&] { fs::create_symlink("elsewhere", lock_); },
                                           [&] { fs::create_directory(lock_); }};
    for (const auto& fake : fakes) {
        fs::remove(lock_);
        fake();
        expect_failure(setcfg("s", "a", "3", file_), "a lock file of another kind");
    }
    EXPECT_EQ(getcfg("s", "a", file_).out, "2\n");
    EXPECT_FALSE(fs::exists(folder_ / "elsewhere"));
}

TEST_F(SettingsFile, ConcurrentWritersLoseNothing) {
    constexpr int kWriters = 8;
    constexpr int kKeys = 50;
    const std::string head = "# first\n[s]\n", tail = "# last";
    write_text(file_, head + tail);
    std::vector<pid_t> writers;
    std::vector<std::string> expected;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.push_back(fork());
        int failures = 0;
        for (int key = 0; key < kKeys; ++key) {
            const std::string name = std::to_string(writer) + "." + std::to_string(key);
            expected.push_back(name + " = value of " + name);
            if (writers.back() == 0 && setcfg("s", name, "value of " + name, file_).status != 0) ++failures;
        }
        if (writers.back() == 0) _exit(failures);
    }
    for (const pid_t writer : writers)
        EXPECT_EQ(wait_for(writer), 0);
    const std::string text = read_text(file_);
    ASSERT_TRUE(text.starts_with(head) && text.ends_with(tail)) << text;
    std::istringstream middle(text.substr(head.size(), text.size() - head.size() - tail.size()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(middle, line);)
        lines.push_back(line);
    std::sort(expected.begin(), expected.end());
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(entries(), 1);
}

TEST_F(SettingsFile, KilledWriterLeavesAWholeFile) {
    const std::string head = "[s]\na = ";
    const std::string tail = "\n" + std::string(200'000, '#') + "\n[t]\nb = 1\n";
    const std::string values[] = {std::string(50'000, 'x'), std::string(70'000, 'y')};
    write_text(file_, head + values[0] + tail);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(setcfg("s", "a", values[0] + "x", file_).status, 0);
    const auto one_run =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    ASSERT_EQ(setcfg("s", "a", values[0], file_).status, 0);

    std::mt19937 random(2024);
    std::uniform_int_distribution<useconds_t> delay(0, static_cast<useconds_t>(one_run.count()));
    for (int round = 1; round <= 100; ++round) {
        const std::string before = read_text(file_);
        const std::string& value = values[round % 2];
        const pid_t writer = start_program({"/sbin/setcfg", "s", "a", value, "-f", file_}, nowhere, nowhere);
        usleep(delay(random));
        kill(writer, SIGKILL);
        const int status = wait_for(writer);
        ASSERT_TRUE(status == 0 || status == 128 + SIGKILL) << status;
        const std::string after = read_text(file_);
        const bool is_new = after == std::string(head).append(value).append(tail);
        ASSERT_TRUE(is_new || (status != 0 && after == before)) << "round " << round;
        ASSERT_LE(entries(), 2) << "round " << round;
    }
    close(nowhere);
    EXPECT_EQ(setcfg("s", "a", "at rest", file_).status, 0);
    EXPECT_EQ(read_text(file_), head + "at rest" + tail);
    EXPECT_EQ(entries(), 1);
}

}  // namespace
}  // namespace harbex::test

#include "common/trace_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "common/file_lock.h"
#include "common/trace_log.h"

namespace fs = std::filesystem;

namespace harbex::system {
namespace {

constexpr uid_t kStranger = 65534;
constexpr const char* kLockFile = "/var/lock/harbex_log.lck";
constexpr const char* kOther = "/var/lock/other";

// A child process for the length of a scope.
class Child {
public:
    explicit Child(const std::function<void()>& work) : pid_(::fork()) {
        if (pid_ != 0) return;
        work();
        ::_exit(0);
    }
    ~Child() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    void operator=(const Child&) = delete;

    // Its exit status; nothing when it has not ended by then.
    std::optional<int> ended_within(std::chrono::seconds time) {
        int status = 0;
        for (const auto end = std::chrono::steady_clock::now() + time; std::chrono::steady_clock::now() < end;) {
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return status;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
        }
        return std::nullopt;
    }

private:
    pid_t pid_;
};

// Another user's two files in the folder that everybody may write: one in the lock file's place, one beside it, the
// regular one locked. They change places all the time.
[[noreturn]] void swap_files(const std::function<bool()>& make_bait, int ready) {
    const int locked = ::open(kOther, O_RDWR | O_CREAT, 0666);
    struct flock lock = whole_file(F_WRLCK);
    const bool made = make_bait() && ::fcntl(locked, F_SETLK, &lock) == 0 && ::fchmod(locked, 0666) == 0;
    if (made) (void)!::write(ready, "r", 1);
    while (::renameat2(AT_FDCWD, kLockFile, AT_FDCWD, kOther, RENAME_EXCHANGE) == 0) {
    }
    ::_exit(1);
}

TEST(TraceLock, IsNeverAnotherUsers) {
    fs::remove(kLockFile);
    fs::permissions("/run/lock", fs::perms(01777));
    const struct {
        const char* name;
        std::function<bool()> make_bait;
    } cases[] = {
        {"FIFO", [] { return ::mkfifo(kLockFile, 0666) == 0; }},
        {"link", [] { return ::symlink("/tmp/made_by_the_log", kLockFile) == 0; }},
        {"unlocked file", [] { return ::close(::open(kLockFile, O_CREAT | O_WRONLY, 0666)) == 0; }},
    };
    if (::chown("/run/lock", 0, kStranger) != 0) GTEST_SKIP() << "there is no second user here";
    for (const auto& c : cases) {
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        const Child stranger([&] {
            ::umask(0);
            if (::setgid(kStranger) == 0 && ::setuid(kStranger) == 0) swap_files(c.make_bait, ready[1]);
        });
        ::close(ready[1]);
        char byte = 0;
        ASSERT_EQ(::read(ready[0], &byte, 1), 1) << c.name;
        ::close(ready[0]);

        Child log([] {
            for (int statement = 0; statement < 2000; ++statement)
                HARBEXLOG(HARBEXLOG_DEBUG, "%d\n", statement);
            ::_exit(_iot_lock_fd == -1 ? 0 : 1);
        });
        ASSERT_EQ(log.ended_within(std::chrono::seconds(60)), 0) << c.name;

        make_trace_lock_file();
        struct stat file = {};
        EXPECT_TRUE(::lstat(kLockFile, &file) == 0 && S_ISREG(file.st_mode) && file.st_uid == 0) << c.name;
        fs::remove(kLockFile);
        fs::remove(kOther);
    }
    EXPECT_FALSE(fs::exists("/tmp/made_by_the_log"));
}

}  // namespace
}  // namespace harbex::system

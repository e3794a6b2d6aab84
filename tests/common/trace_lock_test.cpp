#include "common/trace_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/file_lock.h"
#include "common/in_folder.h"
#include "common/trace_log.h"

namespace harbex::system {
namespace {

constexpr uid_t kStranger = 65534;
constexpr const char* kLockFile = "/var/lock/harbex_log.lck";
constexpr const char* kOther = "/var/lock/other";

// Another user's two files, one in the lock file's place, the other locked, change places all the time.
[[noreturn]] void swap_files(bool (*make_bait)()) {
    ::umask(0);
    if (::setgid(kStranger) != 0 || ::setuid(kStranger) != 0) ::_exit(1);
    const int locked = ::open(kOther, O_RDWR | O_CREAT, 0666);
    struct flock lock = whole_file(F_WRLCK);
    if (::fcntl(locked, F_SETLK, &lock) != 0 || !make_bait()) ::_exit(1);
    while (::renameat2(AT_FDCWD, kLockFile, AT_FDCWD, kOther, RENAME_EXCHANGE) == 0) {
    }
    ::_exit(1);
}

int log_much() {
    ::alarm(60);  // ends one that hangs
    for (int statement = 0; statement < 2000; ++statement)
        HARBEXLOG(HARBEXLOG_DEBUG, "%d\n", statement);
    return _iot_lock_fd == -1 ? 0 : 1;
}

TEST(TraceLock, IsNeverAnotherUsers) {
    fs::remove(kLockFile);
    fs::permissions("/run/lock", fs::perms(01777));
    // Many kernels guard such a folder by themselves, but for what belongs to the folder's own owner.
    if (::chown("/run/lock", kStranger, kStranger) != 0) GTEST_SKIP() << "there is no second user here";
    bool (*const baits[])() = {
        [] { return ::mkfifo(kLockFile, 0666) == 0; },
        [] { return ::symlink("/tmp/made_by_the_log", kLockFile) == 0; },
    };
    for (const auto make_bait : baits) {
        const pid_t stranger = ::fork();
        if (stranger == 0) swap_files(make_bait);
        ASSERT_TRUE(test::wait_until([] { return fs::exists(fs::symlink_status(kLockFile)); }));
        EXPECT_EQ(0, test::run_apart(log_much));
        ::kill(stranger, SIGKILL);
        (void)test::wait_for(stranger);

        make_trace_lock_file();
        struct stat file = {};
        EXPECT_TRUE(::lstat(kLockFile, &file) == 0 && S_ISREG(file.st_mode) && file.st_uid == 0);
        fs::remove(kLockFile);
        fs::remove(kOther);
    }
    EXPECT_FALSE(fs::exists("/tmp/made_by_the_log"));
}

}  // namespace
}  // namespace harbex::system

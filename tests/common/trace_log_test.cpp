#include "common/trace_log.h"

#include <regex>
#include <set>

#include "common/config_store.h"
#include "common/in_folder.h"
#include "support/log_reader.h"

namespace harbex::system {
namespace {

using test::read_text;
using test::write_text;

class TraceLog : public test::InFolder {
protected:
    void SetUp() override { log_to(log_); }
    void TearDown() override {
        __cur_level__ = HARBEXLOG_DEBUG;
        __cur_type__ = HARBEXLOG_TYPE_FILE;
        log_to("/var/log/network/Harbex.log");
    }
    static void log_to(const std::string& path) {
        std::snprintf(__log_file__, sizeof(__log_file__), "%s", path.c_str());
    }

    const std::string log_ = folder_ / "Harbex.log";
};

TEST_F(TraceLog, LineNamesTimeProcessLevelAndCallSite) {
    HARBEXLOG(HARBEXLOG_INFO, "%s and %d\n", "text", 7);
    const std::string line = std::to_string(__LINE__ - 1), pid = std::to_string(::getpid());
    const std::regex format(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d )" + pid + R"( \[INFO\] trace_log_test\.cpp \[)" +
                            line + R"(\] TestBody:text and 7\n)");
    EXPECT_TRUE(std::regex_match(read_text(log_), format)) << read_text(log_);
}

TEST_F(TraceLog, Thresholds) {
    const std::pair<int32_t, test::Lines> cases[] = {
        {HARBEXLOG_DEBUG, {"DEBUG 1", "INFO 2", "WARN 3", "ERROR 4", "CRITICAL 5"}},
        {31, {"WARN 1", "ERROR 2", "CRITICAL 3"}},
    };
    test::LogReader log;
    for (const auto& [threshold, lines] : cases) {
        __cur_level__ = threshold;
        int evaluated = 0;
        for (const int level : {HARBEXLOG_DEBUG, HARBEXLOG_INFO, HARBEXLOG_WARN, HARBEXLOG_ERROR, HARBEXLOG_CRITICAL})
            HARBEXLOG(level, "%d\n", ++evaluated);
        EXPECT_EQ(log.lines(), lines) << threshold;
    }
}

TEST_F(TraceLog, StandardOutputInstead) {
    __cur_type__ = HARBEXLOG_TYPE_STDOUT;
    testing::internal::CaptureStdout();
    HARBEXLOG(HARBEXLOG_INFO, "seen\n");
    (void)std::fflush(stdout);
    EXPECT_TRUE(testing::internal::GetCapturedStdout().ends_with(":seen\n"));
    EXPECT_FALSE(fs::exists(log_));
}

TEST_F(TraceLog, LinesOfProcessesStayWhole) {
    constexpr int kWriters = 6, kStatements = 300;
    test::LogReader log;
    std::vector<pid_t> children;
    std::multiset<std::string> expected;
    for (int writer = 0; writer < kWriters; ++writer) {
        children.push_back(::fork());
        for (int i = 0; i < kStatements; ++i) {
            const std::string text = std::to_string(writer) + std::string(static_cast<size_t>(i * 8), 'm') + " end";
            expected.insert("INFO " + text);
            if (children.back() == 0) HARBEXLOG(HARBEXLOG_INFO, "%s\n", text.c_str());
        }
        if (children.back() == 0) ::_exit(0);
    }
    for (const pid_t child : children)
        EXPECT_EQ(test::wait_for(child), 0);
    const test::Lines lines = log.lines();
    EXPECT_TRUE(std::multiset<std::string>(lines.begin(), lines.end()) == expected);
}

TEST_F(TraceLog, MovesUnderTheInstallationDirectory) {
    const fs::path packages = "/etc/config/bpkg.conf";
    const std::string packages_before = read_text(packages), tail = "/var/log/Harbex.log";
    const std::string longest(255 - tail.size(), 'd');
    for (const std::string& path : {longest, longest + "d"}) {
        log_to(log_);
        ASSERT_EQ(setcfg_wrapper(packages, "Harbex", "Install_Path", path), 0);
        set_log_file_wrapper();
        EXPECT_EQ(__log_file__, path == longest ? longest + tail : log_);
        EXPECT_EQ(fs::exists(log_), path != longest);
    }
    EXPECT_TRUE(read_text(log_).ends_with("Log path too long, falling back to default")) << read_text(log_);
    write_text(packages, packages_before);
}

TEST_F(TraceLog, RotatesAtTwoMebibytes) {
    constexpr uintmax_t kLimit = 2097152;
    const auto generation = [this](int number) { return number == 0 ? log_ : log_ + "." + std::to_string(number); };
    // The size, and then the first byte of each generation, "_" for none.
    const std::pair<uintmax_t, std::string> cases[] = {
        {kLimit - 1, "012345"},
        {(uintmax_t{1} << 32) + 5, "012345"},  // only the low 32 bits of the size count
        {kLimit, "_01234"},
    };
    for (const auto& [size, after] : cases) {
        for (int number = 0; number <= 5; ++number)
            write_text(generation(number), std::to_string(number));
        fs::resize_file(log_, size);  // sparse
        log_rotate(log_.c_str());
        std::string found;
        for (int number = 0; number <= 5; ++number) {
            const int first = std::ifstream(generation(number)).get();
            found += first < 0 ? '_' : static_cast<char>(first);
        }
        EXPECT_EQ(found, after) << size;
        EXPECT_FALSE(fs::exists(log_ + ".tmp"));
    }
}

}  // namespace
}  // namespace harbex::system

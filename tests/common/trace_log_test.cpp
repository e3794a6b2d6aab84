#include "common/trace_log.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "common/config_store.h"
#include "common/in_folder.h"
#include "support/files.h"
#include "support/run_program.h"
#include "support/trace_reader.h"

namespace fs = std::filesystem;

namespace harbex::corvane {
int log_from_corvane() {
    HARBEXLOG(HARBEXLOG_ERROR, "no arguments\n");
    return __LINE__ - 1;
}
}  // namespace harbex::corvane

namespace harbex::system {
namespace {

using test::read_text;
using test::write_text;

const fs::path kLockFile = "/var/lock/harbex_log.lck";

pid_t in_child(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    return child;
}

constexpr int kStatements = 500;

std::string statement(int writer, int number) {
    return "writer " + std::to_string(writer) + " statement " + std::to_string(number) + " " +
           std::string(static_cast<size_t>(number * 5), 'm') + " end";
}

void log_statements(int writer) {
    for (int i = 0; i < kStatements; ++i)
        HARBEXLOG(HARBEXLOG_INFO, "%s\n", statement(writer, i).c_str());
}

class TraceLog : public test::InFolder {
protected:
    void SetUp() override {
        log_to(folder_ / "Harbex.log");
        fs::remove_all(kLockFile);
    }
    void TearDown() override {
        __cur_level__ = HARBEXLOG_DEBUG;
        __cur_type__ = HARBEXLOG_TYPE_FILE;
        log_to("/var/log/network/Harbex.log");
        fs::remove_all(kLockFile);
    }

    static void log_to(const fs::path& path) {
        std::snprintf(__log_file__, sizeof(__log_file__), "%s", path.c_str());
    }
    static std::string logged() { return read_text(__log_file__); }
};

TEST_F(TraceLog, LineNamesTimeProcessLevelAndCallSite) {
    const time_t before = ::time(nullptr);
    HARBEXLOG(HARBEXLOG_INFO, "%s and %d\n", "text", 7);
    const int line = __LINE__ - 1;
    const int corvane_line = corvane::log_from_corvane();

    const std::string text = logged();
    static const std::regex format(
        R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d) (\d+) \[INFO\] trace_log_test\.cpp \[(\d+)\] (\w+):)"
        R"(text and 7\n(\S+ \S+) (\d+) \[ERROR\] trace_log_test\.cpp \[(\d+)\] (\w+):no arguments\n)");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, format)) << text;
    struct tm local = {};
    local.tm_isdst = -1;
    ASSERT_NE(::strptime(match[1].str().c_str(), "%Y-%m-%d %H:%M:%S", &local), nullptr);
    EXPECT_GE(::mktime(&local), before);
    EXPECT_LE(::mktime(&local), ::time(nullptr));
    EXPECT_EQ(match[2], std::to_string(::getpid()));
    EXPECT_EQ(match[3], std::to_string(line));
    EXPECT_EQ(match[4], "TestBody");
    EXPECT_EQ(match[7], std::to_string(corvane_line));
    EXPECT_EQ(match[8], "log_from_corvane");
}

TEST_F(TraceLog, Thresholds) {
    // The numbers show that arguments are evaluated for what is written only.
    const struct {
        int32_t threshold;
        std::vector<std::string> lines;
    } cases[] = {
        {HARBEXLOG_DEBUG, {"DEBUG 1", "INFO 2", "WARN 3", "ERROR 4", "CRITICAL 5"}},
        {31, {"WARN 1", "ERROR 2", "CRITICAL 3"}},
        {HARBEXLOG_CRITICAL, {"CRITICAL 1"}},
        {HARBEXLOG_NOLOG, {}},
    };
    test::TraceReader log;
    for (const auto& c : cases) {
        __cur_level__ = c.threshold;
        int evaluated = 0;
        for (const int level : {HARBEXLOG_DEBUG, HARBEXLOG_INFO, HARBEXLOG_WARN, HARBEXLOG_ERROR, HARBEXLOG_CRITICAL})
            HARBEXLOG(level, "%d\n", ++evaluated);
        EXPECT_EQ(log.lines(), c.lines) << c.threshold;
    }
}

TEST_F(TraceLog, LinesOfProcessesAndThreadsStayWhole) {
    constexpr int kWriters = 8;
    test::TraceReader log;
    std::vector<pid_t> processes;
    for (int writer = 0; writer < kWriters; ++writer)
        processes.push_back(in_child([&] { log_statements(writer); }));
    std::vector<std::thread> threads;
    for (int writer = kWriters; writer < kWriters + 2; ++writer)
        threads.emplace_back(log_statements, writer);
    for (std::thread& thread : threads)
        thread.join();
    for (const pid_t process : processes)
        EXPECT_EQ(test::wait_for(process), 0);

    std::vector<int> next(kWriters + 2, 0);
    const std::string head = "INFO writer ";
    for (const std::string& line : log.lines()) {
        ASSERT_TRUE(line.starts_with(head)) << line;
        const int writer = std::stoi(line.substr(head.size()));
        ASSERT_EQ(line, "INFO " + statement(writer, next.at(static_cast<size_t>(writer))++));
    }
    EXPECT_EQ(next, std::vector<int>(kWriters + 2, kStatements));
    EXPECT_EQ(_iot_lock_fd, -1);
}

TEST_F(TraceLog, MovesUnderTheInstallationDirectory) {
    const fs::path packages = "/etc/config/bpkg.conf";
    const std::string packages_before = read_text(packages);
    const std::string unchanged = folder_ / "Harbex.log";
    const std::string tail = "/var/log/Harbex.log";
    const struct {
        const char* name;
        std::string install_path, log_file, message;
    } cases[] = {
        {"longest that fits", std::string(255 - tail.size(), 'd'), std::string(255 - tail.size(), 'd') + tail, ""},
        {"too long", std::string(256 - tail.size(), 'd'), unchanged, "Log path too long, falling back to default"},
    };
    for (const auto& c : cases) {
        log_to(unchanged);
        fs::remove(unchanged);
        ASSERT_EQ(setcfg_wrapper(packages, "Harbex", "Install_Path", c.install_path), 0) << c.name;
        set_log_file_wrapper();
        EXPECT_EQ(__log_file__, c.log_file) << c.name;
        const std::string text = read_text(unchanged);
        EXPECT_TRUE(text.ends_with(c.message)) << c.name << ": " << text;  // without a line's end
        EXPECT_EQ(text.empty(), c.message.empty()) << c.name << ": " << text;
    }
    write_text(packages, packages_before);

    log_to(unchanged);
    fs::remove(unchanged);
    const test::ReplacedTool getcfg("/sbin/getcfg", "exit 1");
    set_log_file_wrapper();
    EXPECT_EQ(__log_file__, unchanged);
    EXPECT_FALSE(fs::exists(unchanged)) << "a failed read is no event";
}

class LogRotate : public TraceLog {
protected:
    static constexpr uintmax_t kLimit = 2097152;

    fs::path log() const { return folder_ / "rotated"; }
    fs::path generation(int number) const { return log().string() + "." + std::to_string(number); }

    void make_log(uintmax_t size) const {
        write_text(log(), "L");
        fs::resize_file(log(), size);  // sparse
    }

    // One character for the live log and each of the five generations: the first of its text, "_" when it is empty,
    // "-" when it is missing, "D" for a directory.
    std::string generations() const {
        std::string found;
        for (int number = 0; number <= 5; ++number) {
            const fs::path path = number == 0 ? log() : generation(number);
            const std::string text = fs::is_directory(path) ? "D" : read_text(path);
            found += !fs::exists(path) ? '-' : text.empty() ? '_' : text[0];
        }
        return found;
    }

    // What it wrote to standard error.
    static std::string rotate(const std::string& path) {
        testing::internal::CaptureStderr();
        log_rotate(path.c_str());
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(LogRotate, SizeThreshold) {
    constexpr uintmax_t kFourGiB = uintmax_t{1} << 32;
    const struct {
        uintmax_t size;
        bool rotated;
    } cases[] = {
        {kLimit - 1, false}, {kLimit, true}, {kFourGiB - 1, true}, {kFourGiB + 5, false}, {kFourGiB + kLimit, true},
    };
    for (const auto& c : cases) {
        fs::remove(generation(1));
        make_log(c.size);
        EXPECT_EQ(rotate(log()), "") << c.size;
        EXPECT_EQ(fs::exists(generation(1)), c.rotated) << c.size;
        EXPECT_EQ(fs::file_size(log()), c.rotated ? 0 : c.size);
    }
}

TEST_F(LogRotate, Generations) {
    const struct {
        const char *name, *before, *after;
    } cases[] = {
        {"the fifth is discarded", "L12345", "_L1234"},
        {"a directory in the way of the last", "L1-34D", "L1-34D"},
    };
    for (const auto& c : cases) {
        fs::remove_all(folder_);
        make_log(kLimit);
        for (int number = 1; number <= 5; ++number) {
            const char kind = c.before[number];
            if (kind == 'D') write_text(generation(number) / "file", "");
            if (std::isdigit(kind) != 0) write_text(generation(number), std::string(1, kind));
        }
        EXPECT_EQ(generations(), c.before) << c.name;
        EXPECT_EQ(rotate(log()), "") << c.name;
        EXPECT_EQ(generations(), c.after) << c.name;
        EXPECT_TRUE(fs::exists(log().string() + ".lock")) << c.name;
        EXPECT_FALSE(fs::exists(log().string() + ".tmp")) << c.name;
    }
}

TEST_F(LogRotate, ProcessesRotateItOnce) {
    make_log(kLimit);
    std::vector<pid_t> processes;
    for (int process = 0; process < 8; ++process)
        processes.push_back(in_child([this] { log_rotate(log().c_str()); }));
    for (const pid_t process : processes)
        EXPECT_EQ(test::wait_for(process), 0);
    EXPECT_EQ(generations(), "_L----");
}

}  // namespace
}  // namespace harbex::system

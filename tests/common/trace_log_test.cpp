#include "common/trace_log.h"

#include <functional>
#include <regex>
#include <thread>

#include "common/config_store.h"
#include "common/in_folder.h"
#include "support/log_reader.h"

namespace harbex::corvane {
void log_from_corvane() {
    HARBEXLOG(HARBEXLOG_ERROR, "no arguments\n");
}
}  // namespace harbex::corvane

namespace harbex::system {
namespace {

using test::read_text;
using test::write_text;

// Runs the work in processes of their own, all at once.
void in_processes(int count, const std::function<void(int number)>& work) {
    std::vector<pid_t> children;
    for (int number = 0; number < count; ++number) {
        children.push_back(::fork());
        if (children.back() != 0) continue;
        work(number);
        ::_exit(0);
    }
    for (const pid_t child : children)
        EXPECT_EQ(test::wait_for(child), 0);
}

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
    const time_t before = ::time(nullptr);
    HARBEXLOG(HARBEXLOG_INFO, "%s and %d\n", "text", 7);
    const int line = __LINE__ - 1;
    corvane::log_from_corvane();

    const std::string text = read_text(log_), pid = std::to_string(::getpid());
    const std::regex format(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d) )" + pid + R"( \[INFO\] trace_log_test\.cpp \[)" +
                            std::to_string(line) + R"(\] TestBody:text and 7\n\S+ \S+ )" + pid +
                            R"( \[ERROR\] trace_log_test\.cpp \[\d+\] log_from_corvane:no arguments\n)");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, format)) << text;
    struct tm local = {};
    local.tm_isdst = -1;
    ASSERT_NE(::strptime(match[1].str().c_str(), "%Y-%m-%d %H:%M:%S", &local), nullptr);
    EXPECT_GE(::mktime(&local), before);
    EXPECT_LE(::mktime(&local), ::time(nullptr));
}

TEST_F(TraceLog, Thresholds) {
    // The numbers show that arguments are evaluated for what is written only.
    const struct {
        int32_t threshold;
        test::Lines lines;
    } cases[] = {
        {HARBEXLOG_DEBUG, {"DEBUG 1", "INFO 2", "WARN 3", "ERROR 4", "CRITICAL 5"}},
        {31, {"WARN 1", "ERROR 2", "CRITICAL 3"}},
        {HARBEXLOG_CRITICAL, {"CRITICAL 1"}},
        {HARBEXLOG_NOLOG, {}},
    };
    test::LogReader log;
    for (const auto& c : cases) {
        __cur_level__ = c.threshold;
        int evaluated = 0;
        for (const int level : {HARBEXLOG_DEBUG, HARBEXLOG_INFO, HARBEXLOG_WARN, HARBEXLOG_ERROR, HARBEXLOG_CRITICAL})
            HARBEXLOG(level, "%d\n", ++evaluated);
        EXPECT_EQ(log.lines(), c.lines) << c.threshold;
    }
}

TEST_F(TraceLog, Destinations) {
    const struct {
        int32_t type;
        bool to_file, to_stdout;
    } cases[] = {{HARBEXLOG_TYPE_STDOUT, false, true}, {2, false, false}, {HARBEXLOG_TYPE_FILE, true, false}};
    for (const auto& c : cases) {
        __cur_type__ = c.type;
        testing::internal::CaptureStdout();
        HARBEXLOG(HARBEXLOG_INFO, "seen\n");
        (void)std::fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout().ends_with(":seen\n"), c.to_stdout) << c.type;
        EXPECT_EQ(read_text(log_).ends_with(":seen\n"), c.to_file) << c.type;
    }
}

constexpr int kWriters = 6, kStatements = 300;

std::string statement(int writer, int number) {
    return "writer " + std::to_string(writer) + " statement " + std::to_string(number) + " " +
           std::string(static_cast<size_t>(number * 8), 'm') + " end";
}

void write_statements(int writer) {
    for (int i = 0; i < kStatements; ++i)
        HARBEXLOG(HARBEXLOG_INFO, "%s\n", statement(writer, i).c_str());
}

TEST_F(TraceLog, LinesOfProcessesAndThreadsStayWhole) {
    test::LogReader log;
    in_processes(kWriters - 2, write_statements);
    std::vector<std::jthread> threads;
    for (const int writer : {kWriters - 2, kWriters - 1})
        threads.emplace_back(write_statements, writer);
    threads.clear();

    std::vector<int> next(kWriters, 0);
    const std::string head = "INFO writer ";
    for (const std::string& line : log.lines()) {
        ASSERT_TRUE(line.starts_with(head)) << line;
        const int writer = std::stoi(line.substr(head.size()));
        ASSERT_EQ(line, "INFO " + statement(writer, next.at(static_cast<size_t>(writer))++));
    }
    EXPECT_EQ(next, std::vector<int>(kWriters, kStatements));
    EXPECT_EQ(_iot_lock_fd, -1);
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
        EXPECT_EQ(fs::exists(log_), path != longest) << "only a failure is logged";
    }
    // Without a line's end.
    EXPECT_TRUE(read_text(log_).ends_with("Log path too long, falling back to default")) << read_text(log_);
    write_text(packages, packages_before);

    fs::remove(log_);
    const test::ReplacedTool getcfg("/sbin/getcfg", "exit 1");
    set_log_file_wrapper();
    EXPECT_EQ(__log_file__, log_);
    EXPECT_FALSE(fs::exists(log_)) << "a failed read is no event";
}

class LogRotate : public TraceLog {
protected:
    static constexpr uintmax_t kLimit = 2097152;

    fs::path generation(int number) const { return number == 0 ? log_ : log_ + "." + std::to_string(number); }

    void make_log(uintmax_t size) const {
        write_text(log_, "L");
        fs::resize_file(log_, size);  // sparse
    }

    // One character for the live log and each of the five generations: the first of its text, "_" when it is empty,
    // "-" when it is missing, "D" for a directory.
    std::string generations() const {
        std::string found;
        for (int number = 0; number <= 5; ++number) {
            const fs::path path = generation(number);
            const int first = std::ifstream(path).get();
            found += !fs::exists(path)        ? '-'
                     : fs::is_directory(path) ? 'D'
                     : first < 0              ? '_'
                                              : static_cast<char>(first);
        }
        return found;
    }
};

TEST_F(LogRotate, SizesAndGenerations) {
    constexpr uintmax_t kFourGiB = uintmax_t{1} << 32;  // only the low 32 bits of the size count
    const struct {
        uintmax_t size;
        std::string before, after;
    } cases[] = {
        {kLimit - 1, "L-----", "L-----"},
        {kLimit, "L12345", "_L1234"},
        {kLimit, "L1-34D", "L1-34D"},  // a directory in the way of the last
        {kFourGiB - 1, "L-----", "_L----"},
        {kFourGiB + 5, "L-----", "L-----"},
        {kFourGiB + kLimit, "L-----", "_L----"},
    };
    for (const auto& c : cases) {
        fs::remove_all(folder_);
        make_log(c.size);
        for (int number = 1; number <= 5; ++number) {
            const char kind = c.before[static_cast<size_t>(number)];
            if (kind == 'D') fs::create_directories(generation(number) / "in the way");
            if (kind >= '1' && kind <= '5') write_text(generation(number), {kind});
        }
        log_rotate(log_.c_str());
        EXPECT_EQ(generations(), c.after) << c.size;
        EXPECT_FALSE(fs::exists(log_ + ".tmp")) << c.before;
    }
}

TEST_F(LogRotate, ProcessesRotateItOnce) {
    for (int round = 0; round < 20; ++round) {
        fs::remove(generation(1));
        make_log(kLimit);
        in_processes(4, [this](int) { log_rotate(log_.c_str()); });
        ASSERT_EQ(generations(), "_L----") << round;
    }
}

}  // namespace
}  // namespace harbex::system

// What one getcfg run costs beside a run of an empty static program: alternating runs, both started and awaited the
// same way.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kWarmUps = 200;
constexpr int kRuns = 5000;
constexpr double kAim = 1.25;

// A settings file as a joined NAS has it: 30 keys in four sections.
void write_settings(const std::string& path) {
    std::ofstream out(path);
    out << "# Written by the application; comments stay.\n[Join Corvane]\n";
    for (const char* key :
         {"org_id", "org_name", "region_id", "region_name", "serial_number", "virtual_ip", "device_id"}) {
        out << key << " = 7f3c9a52-1d4e-4b8a-9f60-2c5d8e7a1b34\n";
    }
    out << "\n[Debug]\nEnable = false\nInsecureCurl = false\nLevel = 30\n\n[Feature Guide]\nintro = 1\ntip = 0\n";
    out << "\n; one line a tunnel\n[Tunnels]\n";
    for (int tunnel = 0; tunnel < 18; ++tunnel)
        out << "tunnel_" << tunnel << " = 198.51.100." << tunnel << ":500\n";
}

// Runs a program to its end with its output thrown away. Microseconds.
double run(const std::vector<std::string>& command) {
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (const std::string& word : command)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t child = -1;
    int status = -1;
    const int error = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    if (error == 0) waitpid(child, &status, 0);
    const std::chrono::duration<double, std::micro> cost = std::chrono::steady_clock::now() - start;
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0) {
        std::fprintf(stderr, "%s cannot be run\n", argv[0]);
        std::exit(1);
    }
    return cost.count();
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + kRuns / 2, values.end());
    return values[kRuns / 2];
}

}  // namespace

int main() {
    const std::string programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    char folder[] = "/tmp/bench_getcfg.XXXXXX";
    if (mkdtemp(folder) == nullptr) return 1;
    const std::string file = std::string(folder) + "/corvane.conf";
    write_settings(file);
    const std::vector<std::string> getcfg = {
        programs + "/getcfg", "Join Corvane", "virtual_ip", "-f", file, "-d", ""};
    const std::vector<std::string> empty = {
        programs + "/empty_program", "Join Corvane", "virtual_ip", "-f", file, "-d", ""};
    std::vector<double> of_getcfg;
    std::vector<double> of_empty;
    for (int turn = -kWarmUps; turn < kRuns; ++turn) {
        // The first of a pair has no advantage over all the runs: they change places.
        const bool empty_first = turn % 2 == 0;
        const double first = run(empty_first ? empty : getcfg);
        const double second = run(empty_first ? getcfg : empty);
        if (turn < 0) continue;
        of_empty.push_back(empty_first ? first : second);
        of_getcfg.push_back(empty_first ? second : first);
    }
    std::filesystem::remove_all(folder);
    std::printf("empty program  median %7.1f us\n", median(of_empty));
    std::printf("getcfg         median %7.1f us\n", median(of_getcfg));
    std::printf("ratio %.3f (aim: at most %.2f)\n", median(of_getcfg) / median(of_empty), kAim);
    return 0;
}

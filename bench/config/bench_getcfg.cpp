// What one getcfg run costs beside a run of an empty static program, both started and awaited the same way.
#include <filesystem>
#include <fstream>
#include <string>

#include "measure.h"

namespace {

constexpr int kStarts = 500;

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

}  // namespace

int main() {
    const std::string programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    char folder[] = "/tmp/bench_getcfg.XXXXXX";
    if (mkdtemp(folder) == nullptr) return 1;
    const std::string file = std::string(folder) + "/corvane.conf";
    write_settings(file);
    const auto run_us = [&](const char* program) {
        return bench::time_each_us(kStarts, [&] {
            bench::run_program({programs + "/" + program, "Join Corvane", "virtual_ip", "-f", file});
        });
    };
    bench::compare(
        "getcfg / an empty static program", "µs", bench::Must::kAtMost, 1.25, [&] { return run_us("getcfg"); },
        [&] { return run_us("empty_program"); });
    std::filesystem::remove_all(folder);
}

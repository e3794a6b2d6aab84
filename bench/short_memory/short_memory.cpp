// Every bus method, every flow that joins a NAS, looks at it or takes it out, and setcfg, each with its first
// allocation failing, then its second, and so on until it needs no more. The daemon has to reply, or to close the
// connection, and to answer the next call; a flow has to return; setcfg has to leave the old file or the new one.
// What they have in use must not grow.
//   bench_short_memory [SECONDS]     at most so long for each; what is left out is said
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "load/nas.h"
#include "starving.h"
#include "support/daemon.h"
#include "support/files.h"

namespace {

// Zero, made anew, is what a page begins with; a process that was started by this one finds it.
bench::AllocatorPage* make_page() {
    const int file = open(bench::kAllocatorPage, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(bench::AllocatorPage)) != 0) std::exit(1);
    void* const mapped = mmap(nullptr, sizeof(bench::AllocatorPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (mapped == MAP_FAILED) std::exit(1);
    return static_cast<bench::AllocatorPage*>(mapped);
}

// "" when the daemon replies with an envelope, of whatever error, or not at all.
std::string judge(const bench::Method& method, const std::string& request) {
    const harbex::test::BusReply reply = harbex::test::bus_call(harbex::test::kDaemonService, method.name, request);
    // Of an error reply that cannot be written the caller gets no bytes.
    const bool nothing = reply.result == BS_CALL_CLOSED || (reply.result == BS_CALL_OK && reply.text.empty());
    if (nothing || reply.error() >= 0) return "";
    return std::to_string(reply.result) + " " + reply.text;
}

// False at the first violation, which is printed.
bool starve_method(const bench::Method& method, bench::AllocatorPage& page, double seconds) {
    const int64_t needed = bench::count_allocations(page, [&] { (void)bench::call(method, method.request()); });
    const auto one = [&](int64_t number) {
        const std::string request = method.request();
        page.countdown = number;
        std::string wrong = judge(method, request);
        if (page.countdown.exchange(0) > 0) return 0;
        if (wrong.empty()) wrong = bench::call(bench::kMethods[0], "");
        if (wrong.empty()) return 1;
        std::printf("%s, allocation %lld: %s\n", method.name, static_cast<long long>(number), wrong.c_str());
        return -1;
    };
    std::string after;
    const auto passed = bench::leave_nothing(page, [&] {
        if (!bench::starve(1, needed, seconds, one)) return false;
        after = bench::call(method, method.request());
        return after.empty();
    });
    if (!after.empty()) std::printf("afterwards: %s\n", after.c_str());
    if (passed) bench::tell(method.name, needed, *passed);
    return passed.has_value();
}

bool starve_methods(double seconds) {
    harbex::test::Daemon daemon(bench::preload);
    if (!daemon.serving()) return false;
    for (const bench::Method& method : bench::kMethods)
        (void)bench::call(method, method.request());
    bool passed = true;
    for (auto method = bench::kMethods.rbegin(); passed && method != bench::kMethods.rend(); ++method)
        passed = starve_method(*method, bench::allocator_page(), seconds);
    const harbex::test::Finished end = daemon.stop();
    if (end.status != 0) std::printf("the daemon ended with %d: %s\n", end.status, end.err.c_str());
    return passed && end.status == 0;
}

bool starve_setcfg(double seconds) {
    const std::string file = "/tmp/short_memory.conf";
    const std::string before = "# kept\n[s]\nkey = old\nother = kept\n";
    const std::string after = "# kept\n[s]\nkey = new\nother = kept\n";
    const std::string setcfg = std::filesystem::read_symlink("/proc/self/exe").replace_filename("setcfg_dynamic");
    bench::AllocatorPage& page = bench::allocator_page();
    const auto set = [&] {
        harbex::test::write_text(file, before);
        return harbex::test::run_program({setcfg, "s", "key", "new", "-f", file}, bench::preload);
    };
    const int64_t needed = bench::count_allocations(page, set);
    const int64_t failed = page.failed;
    const auto one = [&](int64_t number) {
        page.countdown = number;
        const harbex::test::Finished done = set();
        const std::string found = harbex::test::read_text(file);
        const bool has_failed = page.countdown.exchange(0) <= 0;
        const bool is_done = done.status == 0 && found == after;
        const bool is_refused = done.status == 1 && found == before && done.err.starts_with("setcfg: ");
        if (is_done || (has_failed && is_refused)) return has_failed ? 1 : 0;
        std::printf("setcfg, allocation %lld: ends with %d: %s%s\n", static_cast<long long>(number), done.status,
                    done.err.c_str(), found.c_str());
        return -1;
    };
    if (!bench::starve(1, needed, seconds, one)) return false;
    bench::tell("setcfg", needed, {page.failed - failed, 0});
    return true;
}

}  // namespace

namespace bench {

AllocatorPage& allocator_page() {
    static AllocatorPage* const page = make_page();
    return *page;
}

void preload() {
    static const std::string library =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("libfailing_allocator.so");
    setenv("LD_PRELOAD", library.c_str(), 1);
}

void tell(const std::string& name, int64_t needed, const Passed& passed) {
    std::printf("%-28s %8lld allocations, %7lld made to fail, %lld blocks more in use\n", name.c_str(),
                static_cast<long long>(needed), static_cast<long long>(passed.failed),
                static_cast<long long>(passed.grown));
    std::fflush(stdout);
}

}  // namespace bench

int main(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == "--flow")
        return bench::starve_flow_here(argv[2], std::strtod(argv[3], nullptr), std::strtoll(argv[4], nullptr, 10));
    const double seconds = argc > 1 ? std::strtod(argv[1], nullptr) : 600;
    bench::prepare_nas();
    bool passed = starve_setcfg(seconds) && starve_methods(seconds);
    const harbex::test::Daemon daemon;  // with all its memory
    passed = passed && daemon.serving() && bench::starve_flows(seconds);
    std::printf("%lld allocations failed\n[  %s  ] 1 tests.\n",
                static_cast<long long>(bench::allocator_page().failed.load()), passed ? "PASSED" : "FAILED");
    return passed ? 0 : 1;
}

// bsh: calls a method of a service on the bus, for people and scripts.
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "base/json.h"
#include "base/stream_owner.h"
#include "bsh_list.h"
#include "bsvc.h"

namespace {

constexpr int kExitAccepted = 0;  // an envelope with "error" 0
constexpr int kExitOther = 1;     // any other reply
constexpr int kExitFailed = 2;    // no reply
constexpr int kExitUsage = 64;
constexpr int kDefaultTimeout_s = 60;
// More than the bus takes; what is longer need not be read to its end.
constexpr size_t kMostInput = 2 * 1024 * 1024;

constexpr char kUsage[] =
    "usage: bsh SERVICE.METHOD [JSON|-] [--timeout SECONDS]\n"
    "       bsh --list [SERVICE]\n"
    "Calls METHOD (all behind the first point) of SERVICE and prints the reply. The body is JSON, as it stands, or "
    "what\n"
    "comes on standard input (-). Exit status: 0 reply with \"error\" 0, 1 another reply, 2 no reply, 64 usage.\n"
    "With --list: prints the services that live, or the methods of SERVICE from its installed description.\n";

struct Options {
    std::string service, method;
    std::string_view body;
    bool has_body = false;
    int timeout_s = kDefaultTimeout_s;
};

bool parse_timeout(std::string_view text, int& timeout_s) {
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), timeout_s);
    return failure == std::errc() && end == text.data() + text.size() && timeout_s > 0;
}

bool parse_target(std::string_view target, Options& options) {
    const size_t point = target.find('.');
    if (point == std::string_view::npos) return false;
    options.service = target.substr(0, point);
    options.method = target.substr(point + 1);
    return !options.service.empty() && !options.method.empty();
}

// Nothing for what is no use of this program.
std::optional<Options> parse_options(int argc, char** argv) {
    constexpr std::string_view kTimeout = "--timeout";
    Options options;
    bool options_ended = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (!options_ended && word == "--") {
            options_ended = true;
        } else if (!options_ended && word == kTimeout) {
            if (++i == argc || !parse_timeout(argv[i], options.timeout_s)) return std::nullopt;
        } else if (!options_ended && word.starts_with("--timeout=")) {
            if (!parse_timeout(word.substr(kTimeout.size() + 1), options.timeout_s)) return std::nullopt;
        } else if (options.has_body || (!options_ended && word.starts_with("--"))) {
            return std::nullopt;
        } else if (options.service.empty()) {
            if (!parse_target(word, options)) return std::nullopt;
        } else {
            options.body = word;
            options.has_body = true;
        }
    }
    if (options.service.empty()) return std::nullopt;
    return options;
}

bool read_standard_input(bs_io* io) {
    char chunk[64 * 1024];
    size_t total = 0;
    while (total < kMostInput) {
        const ssize_t count = read(STDIN_FILENO, chunk, sizeof chunk);
        if (count == 0) return true;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 || bs_io_write(io, chunk, static_cast<size_t>(count)) < 0) return false;
        total += static_cast<size_t>(count);
    }
    return true;
}

int report_failure(const Options& options, int result) {
    const int reason = errno;
    const char* service = options.service.c_str();
    switch (result) {
        case BS_CALL_NO_SERVICE:
            std::fprintf(stderr, "bsh: no service %s on the bus\n", service);
            break;
        case BS_CALL_REFUSED:
            std::fprintf(stderr, "bsh: %s refused the connection\n", service);
            break;
        case BS_CALL_CLOSED:
            std::fprintf(stderr, "bsh: %s closed the connection without a reply\n", service);
            break;
        case BS_CALL_TOO_LARGE:
            std::fprintf(stderr, "bsh: the request to %s or its reply is above 1 MiB\n", service);
            break;
        case BS_CALL_TIMEOUT:
            std::fprintf(stderr, "bsh: no reply from %s within %d s\n", service, options.timeout_s);
            break;
        default:
            std::fprintf(stderr, "bsh: cannot call %s: %s\n", service, std::strerror(reason));
            break;
    }
    return kExitFailed;
}

bool is_accepted(const char* reply, size_t length) {
    if (reply == nullptr) return false;
    const nas::Json envelope(json_loadb(reply, length, 0, nullptr));
    const json_t* error = json_object_get(envelope.get(), "error");
    return json_is_integer(error) && json_integer_value(error) == 0;
}

int run(const Options& options) {
    const nas::StreamOwner io(bs_io_create());
    if (!io) {
        std::fprintf(stderr, "bsh: no memory\n");
        return kExitFailed;
    }
    const bool filled = options.body == "-" ? read_standard_input(io.get())
                                            : bs_io_write(io.get(), options.body.data(), options.body.size()) >= 0;
    if (!filled) {
        std::fprintf(stderr, "bsh: cannot read the body: %s\n", std::strerror(errno));
        return kExitFailed;
    }
    const int result = bs_call(options.service.c_str(), options.method.c_str(), io.get(), options.timeout_s, -1);
    if (result != BS_CALL_OK) return report_failure(options, result);
    size_t length = 0;
    const char* reply = bs_io_read(io.get(), &length);
    if (std::fwrite(reply == nullptr ? "" : reply, 1, length, stdout) != length || std::putchar('\n') == EOF ||
        std::fflush(stdout) != 0) {
        std::fprintf(stderr, "bsh: cannot write the reply: %s\n", std::strerror(errno));
        return kExitFailed;
    }
    return is_accepted(reply, length) ? kExitAccepted : kExitOther;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view first = argc > 1 ? argv[1] : "";
    if (argc == 2 && (first == "--help" || first == "-h")) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (argc == 2 && first == "--list") return list_services();
    if (argc == 3 && first == "--list") return list_methods(argv[2]);
    const std::optional<Options> options = parse_options(argc, argv);
    if (!options) {
        std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    return run(*options);
}

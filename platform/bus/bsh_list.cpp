#include "bsh_list.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/descriptor.h"
#include "base/json.h"
#include "service_name.h"

namespace {

constexpr char kSockets[] = "/var/run/bsvc";
constexpr int kPrinted = 0;
constexpr int kFailed = 2;

int finish_output() {
    if (std::fflush(stdout) == 0) return kPrinted;
    std::perror("bsh: cannot write the list");
    return kFailed;
}

// Somebody answers behind the socket; a service takes the empty connection for a caller that hung up.
bool is_live(const std::string& name) {
    sockaddr_un address;
    if (!bsvc::service_address(name.c_str(), address)) return false;
    const bsvc::Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    return connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno == EAGAIN;
}

}  // namespace

int list_services() {
    std::vector<std::string> names;
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(kSockets, failure)) {
        const std::string name = entry.path().stem();
        // A name with a point in it cannot be called: the method begins behind the first one.
        const bool callable = entry.path().extension() == ".sock" && name.find('.') == std::string::npos;
        if (callable && is_live(name)) names.push_back(name);
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        std::fprintf(stderr, "bsh: cannot look into %s: %s\n", kSockets, failure.message().c_str());
        return kFailed;
    }
    std::ranges::sort(names);
    for (const std::string& name : names)
        std::puts(name.c_str());
    return finish_output();
}

int list_methods(const std::string& service) {
    std::error_code failure;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
    const std::string path = program.parent_path().parent_path() / "share/harbex/bus.schema.json";
    json_error_t trouble;
    const nas::Json description(json_load_file(path.c_str(), 0, &trouble));
    if (!description) {
        std::fprintf(stderr, "bsh: no description of the bus: %s: %s\n", path.c_str(), trouble.text);
        return kFailed;
    }
    json_t* services = json_object_get(description.get(), "services");
    json_t* methods = json_object_get(json_object_get(services, service.c_str()), "methods");
    if (methods == nullptr) {
        std::fprintf(stderr, "bsh: %s does not describe %s\n", path.c_str(), service.c_str());
        return kFailed;
    }
    const char* name = nullptr;
    json_t* method = nullptr;
    json_object_foreach(methods, name, method) {
        const char* purpose = json_string_value(json_object_get(method, "description"));
        std::printf("%-28s%s\n", name, purpose == nullptr ? "" : purpose);
    }
    return finish_output();
}

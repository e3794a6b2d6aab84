#include "cloud/faults.h"

#include <fnmatch.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cloud/endpoints.h"

namespace appliance {
namespace {

bool take_prefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

bool matches(const std::string& pattern, const std::string& text) {
    return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

// A fault's name, taken apart.
struct Target {
    unsigned number = 0;
    std::string host;
    std::string path;

    explicit Target(const std::string& name) {
        if (name.starts_with('#')) {
            std::from_chars(name.data() + 1, name.data() + name.size(), number);
            return;
        }
        const size_t slash = name.find('/');
        host = name.substr(0, slash);
        if (slash != std::string::npos) path = name.substr(slash);
    }
    int precedence() const { return number != 0 ? 3 : (path.empty() ? 0 : (host.empty() ? 1 : 2)); }
};

}  // namespace

Fault parse_fault(std::string_view text) {
    Fault fault;
    if (take_prefix(text, "delay:")) {
        fault.delay_s = std::strtod(std::string(text).c_str(), nullptr);
        const size_t comma = text.find(',');
        text = comma == std::string_view::npos ? "" : text.substr(comma + 1);
    }
    if (take_prefix(text, "status:")) {
        fault.kind = Fault::Kind::kAnswer;
        std::from_chars(text.data(), text.data() + text.size(), fault.status);
        const size_t comma = text.find(',');
        text = comma == std::string_view::npos ? "" : text.substr(comma + 1);
        if (take_prefix(text, "body:")) fault.body = text;
    } else if (take_prefix(text, "body:")) {
        fault.kind = Fault::Kind::kAnswer;
        fault.body = text;
    } else if (take_prefix(text, "date:")) {
        fault.kind = Fault::Kind::kDate;
        std::from_chars(text.data(), text.data() + text.size(), fault.date_skew_s);
    } else if (text == "close") {
        fault.kind = Fault::Kind::kClose;
    } else if (text == "reset") {
        fault.kind = Fault::Kind::kReset;
    } else if (text == "certificate:expired" || text == "certificate:other-name") {
        fault.kind = Fault::Kind::kCertificate;
        fault.certificate = text == "certificate:expired" ? Certificate::kExpired : Certificate::kOtherName;
    }
    return fault;
}

std::vector<Faults::Entry> Faults::entries() const {
    std::vector<Entry> found;
    std::error_code error;
    for (std::filesystem::directory_iterator at(directory_, error), end; !error && at != end; at.increment(error)) {
        std::string name = at->path().filename().string();
        if (name.ends_with(".new")) continue;
        std::ifstream file(at->path());
        std::string value(std::istreambuf_iterator<char>(file), {});
        std::replace(name.begin(), name.end(), '%', '/');
        found.push_back({std::move(name), std::move(value)});
    }
    std::sort(found.begin(), found.end(), [](const Entry& left, const Entry& right) {
        return Target(left.name).precedence() > Target(right.name).precedence();
    });
    return found;
}

Fault Faults::of_connection(const std::string& host, unsigned number) const {
    for (const Entry& entry : entries()) {
        const Target target(entry.name);
        if (target.number != 0 && target.number != number) continue;
        if (!target.host.empty() && !matches(target.host, host)) continue;
        if (!target.path.empty() && !service_serves(hosts_.service_of(host), target.path)) continue;
        Fault fault = parse_fault(entry.value);
        const bool with_path = !target.path.empty();
        if (fault.kind == Fault::Kind::kCertificate || (fault.kind == Fault::Kind::kReset && !with_path))
            return fault;
    }
    return {};
}

Fault Faults::of_request(const std::string& host, const std::string& path, unsigned number) const {
    for (const Entry& entry : entries()) {
        const Target target(entry.name);
        if (target.number != 0 && target.number != number) continue;
        if (!target.host.empty() && !matches(target.host, host)) continue;
        if (!target.path.empty() && !matches(target.path, path)) continue;
        Fault fault = parse_fault(entry.value);
        if (fault.kind != Fault::Kind::kCertificate && (fault.kind != Fault::Kind::kNone || fault.delay_s > 0))
            return fault;
    }
    return {};
}

}  // namespace appliance

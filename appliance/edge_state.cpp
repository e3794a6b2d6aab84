#include "edge_state.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace appliance {
namespace {

constexpr const char* kFile = "/run/appliance/corvane_expressd.json";
constexpr const char* kLock = "/run/appliance/corvane_expressd.lock";

constexpr const char* kFactory = R"({
    "agent": false, "cloud_status": 0, "dummy_interface": false,
    "geo": {"latitude": 25.03297, "longitude": 121.56542, "public_ip": "203.0.113.77", "country_code": "TW"},
    "supernode_usage": {"remainingThroughput": 96636764160, "throughputCapacity": 107374182400,
                        "renewalDate": 1767225600, "lastBillingDate": 1764547200},
    "supernode_devices": [{"deviceId": "dev-000001", "deviceName": "harbex-nas", "usage": 10737418240}],
    "supernode_traffic": [{"date": "2025-12-01", "usage": 4294967296}, {"date": "2025-12-02", "usage": 6442450944}]
})";

class FileLock {
public:
    FileLock() : descriptor_(open(kLock, O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        if (descriptor_ >= 0) flock(descriptor_, LOCK_EX);
    }
    ~FileLock() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int descriptor_;
};

}  // namespace

Json read_edge_state() {
    Json state = read_json_file(kFile);
    if (!state) state = parse_json(kFactory);
    return state;
}

bool change_edge_state(const json_t* patch) {
    const FileLock lock;
    const Json state = read_edge_state();
    merge_patch(state.get(), patch);
    return write_json_file(kFile, state.get());
}

bool disconnect_edge(const std::string& device_id) {
    if (text_of(read_edge_state().get(), "device_id") != device_id) return true;
    return change_edge_state(parse_json(R"({"cloud_status": 0, "tunnels": null, "hub": null})").get());
}

}  // namespace appliance

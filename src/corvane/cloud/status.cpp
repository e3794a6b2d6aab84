#include "corvane/cloud/status.h"

#include <string>
#include <vector>

#include "common/error_code.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/failure.h"
#include "corvane/device/gateway.h"
#include "corvane/device/settings.h"

namespace harbex::corvane {
namespace {

struct Peer {
    std::string name;
    std::string ip;
    int ipsec_status = 0;

    [[nodiscard]] bool is_named() const { return !name.empty() && !ip.empty(); }
};

// Collects the document and the names of what is missing from it.
class Status {
public:
    explicit Status(JsonValue& out) : out_(out) { out_.destroy(); }

    template <typename Value>
    void set(const char* member, const Value& value, bool available) {
        out_[member] = value;
        note(member, available);
    }

    void set(const char* member, const Peer& peer, bool available) {
        JsonValue& value = out_[member];
        value["name"] = peer.name;
        value["ip"] = peer.ip;
        value["ipsec_status"] = peer.ipsec_status;
        note(member, available);
    }

    void set_gateway(const std::string& ifname, const std::string& ip) {
        JsonValue& value = out_["gateway"];
        value["ifname"] = ifname;
        value["ip"] = ip;
        note("gateway", !ifname.empty() && !ip.empty());
    }

    void finish() {
        JsonValue& list = out_["unavailable"];
        list << "";
        list.erase();  // an array, also when nothing is missing
        for (const char* member : missing_)
            list << member;
    }

private:
    void note(const char* member, bool available) {
        if (!available) missing_.push_back(member);
    }

    JsonValue& out_;
    std::vector<const char*> missing_;
};

void set_text(Status& status, const char* member, const char* key) {
    std::string text;
    const bool available = get_join_corvane_info(key, text) == NO_ERROR;
    status.set(member, text, available);
}

}  // namespace

int get_corvane_status(JsonValue& out) try {
    Status status(out);
    if (check_device(out) != NO_ERROR) status.set("is_on_corvane", 0, false);
    set_text(status, "org_name", kOrgName.key);
    set_text(status, "region_name", kRegionName.key);
    set_text(status, "virtual_ip", kVirtualIp.key);

    int cloud_status = 0;
    const bool cloud_known = get_cloud_status(cloud_status) == NO_ERROR;
    status.set("cloud_status", cloud_status, cloud_known);

    Peer router;
    Peer supernode;
    // A hub of which nothing is known has empty texts, whatever the reason.
    (void)bsh_get_hubinfo(router.name, router.ip, supernode.name, supernode.ip);
    const bool tunnels_known = bsh_get_ipsec_status(router.ipsec_status, supernode.ipsec_status) == NO_ERROR;
    status.set("router", router, tunnels_known && router.is_named());
    status.set("supernode", supernode, tunnels_known && supernode.is_named());
    const std::string gateway = get_gateway_interface_name();
    status.set_gateway(gateway, get_gateway_ip());
    status.finish();
    return NO_ERROR;
} catch (...) {
    return short_of_memory();
}

}  // namespace harbex::corvane

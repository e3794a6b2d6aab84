#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "common/settings_files.h"
#include "corvane/cloud/edge_login.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/cloud/precheck.h"
#include "corvane/cloud/region_list.h"
#include "corvane/cloud/registration.h"
#include "corvane/cloud/status.h"
#include "corvane/cloud/unregistration.h"
#include "corvane/device/agent.h"
#include "corvane/device/edge_daemon.h"
#include "corvane/device/gateway.h"
#include "corvane/device/identity.h"
#include "corvane/device/settings.h"
#include "corvane/device/supernode.h"
#include "support/files.h"

namespace {
thread_local long until_failure = -1;  // allocations of this thread before the one that fails; -1: none does
}

// Optimising, GCC takes these two for a pair that does not belong together.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t size) {
    if (until_failure >= 0 && until_failure-- == 0) throw std::bad_alloc();
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace harbex::test {
namespace {

using namespace corvane;

const std::string kLong(100, 'x');
const std::string kEdgeReply =
    R"({"deviceId":"a device id of its own","corvaneToken":"a token","serialNumber":1,"virtualIP":"198.51.100.77"})";
const std::string kSupernode = R"({"data":{"superNodeId":"s","remoteIP":"r","remoteTunnelIP":"t","remoteSubnet":"n",)"
                               R"("remotePublicKey":"k","localTunnelIP":"l"}})";
const std::string kTopology = R"({"data":{"vpnGroups":[{"groupId":"a group with an id","hubs":[1]}]}})";
const std::string kConfiguration = R"({"cloudagentCfg":"DEV_TOKEN=\"a token of the agent\"\n"})";

struct Outputs {
    std::string a, b, c, d;
    JsonValue document;
};

TEST(ShortMemory, NothingIsThrown) {
    const struct {
        const char* name;
        int (*call)(Outputs&);
    } rows[] = {
        {"developer site", [](Outputs& o) { return get_zdevelop_site(o.a); }},
        {"organisation", [](Outputs&) { return set_org_id(kLong, kLong); }},
        {"credentials", [](Outputs&) { return get_app_secret().empty() ? 1 : 0; }},
        {"model", [](Outputs& o) { return get_nas_model_name(o.a); }},
        {"device token", [](Outputs& o) { return get_device_token(o.a) | get_bdevice_token(o.b); }},
        {"device id", [](Outputs&) { return get_device_id().empty() ? 1 : 0; }},
        {"time zone", [](Outputs&) { return get_timezone().empty() ? 1 : 0; }},
        {"port", [](Outputs& o) { return get_ethernet_loc(kLong).empty() ? 1 : get_eth0_mac(o.a); }},
        {"hub", [](Outputs& o) { return bsh_get_hubinfo(o.a, o.b, o.c, o.d); }},
        {"tour", [](Outputs& o) { return feature_tour_show(o.document) | feature_tour_set(kLong.c_str(), "x"); }},
        {"agent", [](Outputs&) { return write_corvane_api_devices_cloudagent_cfg(kConfiguration); }},
        {"site file", [](Outputs&) { return set_site_use_by_cloudagent(); }},
        {"scripts", [](Outputs&) { return stop_corvane_services() | remove_corvane_configs(); }},
        {"serial number", [](Outputs& o) { return get_hwsn(o.a); }},
        {"super node", [](Outputs&) { return parse_supernode(kSupernode); }},
        {"address", [](Outputs&) { return modify_virtual_ip(kLong); }},
        {"url", [](Outputs&) { return get_corvane_api_url("/p").empty() ? 1 : 0; }},
        {"log-in", [](Outputs& o) { return corvane_api_edge(kLong, o.a); }},
        {"log-in's answer", [](Outputs& o) { return parse_api_edge(kEdgeReply, o.a, o.b, o.c); }},
        {"region", [](Outputs&) { return resolve_auto_region(kTopology); }},
        {"topology", [](Outputs& o) { return corvane_api_vpn_groups(kLong, o.a); }},
        {"deletion", [](Outputs& o) { return corvane_api_device_unregister(kLong, kLong, kLong, o.a); }},
        {"join", [](Outputs& o) { return device_register(o.document); }},
        {"leave", [](Outputs& o) { return device_unregister(o.document); }},
        {"regions", [](Outputs& o) { return get_region_list(o.document, kLong); }},
        {"status", [](Outputs& o) { return get_corvane_status(o.document); }},
        {"position", [](Outputs& o) { return get_geo_info(o.a, o.b, o.c, o.d); }},
    };
    write_text(kCorvaneConf, "[Join Corvane]\nCORVANE_REGION_ID = auto\n");
    long failures = 0;
    for (const auto& row : rows) {
        for (long nth = 0;; ++nth, ++failures) {
            ASSERT_GT(2000, nth) << row.name;
            Outputs outputs;
            until_failure = nth;
            EXPECT_NO_THROW((void)row.call(outputs)) << row.name << ", allocation " << nth;
            const bool failed = until_failure < 0;
            until_failure = -1;
            if (!failed) break;
        }
    }
    std::printf("%ld allocations failed\n", failures);
}

}  // namespace
}  // namespace harbex::test

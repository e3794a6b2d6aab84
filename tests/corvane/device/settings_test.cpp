// What this NAS knows about itself: the settings, the names and ids in other files, the small rules about them.
#include "corvane/device/settings.h"

#include <sys/utsname.h>

#include "corvane/device/edge_scripts.h"
#include "corvane/device/feature_tour.h"
#include "corvane/device/gateway.h"
#include "corvane/device/identity.h"
#include "corvane/device/nas_probe.h"
#include "support/rows.h"

namespace harbex::corvane {
namespace {

using test::LogReader;
using test::on_text;

TEST(Settings, FindTheirOwnPlaceAndComplainInTheirOwnWords) {
    test::write_text(kPackagesConf, "[Other]\nInstall_Path = /no\n[Harbex]\nInstall_Path = /opt/harbex\n");
    test::write_text(kBidConf, "[Brindle ID Service]\nREGION = cn\n");
    test::write_text(kCorvaneConf,
                     "CORVANE_REGION_ID = no\n[Join Corvane]\nCORVANE_REGION_ID = auto\nCORVANE_REGION_NAME = Here\n"
                     "corvane_site = Alpha\nCORVANE_TOKEN = a=b\n[Debug]\n");
    const struct {
        int (*read)(std::string&);
        const char *value, *failed, *error;  // the last two of a tool that fails
    } cases[] = {
        {get_zdevelop_site, "0 production", "60 before", "Failed to get bpkgDir"},
        {get_corvane_site, "0 Alpha", "0 Production", ""},
        {get_region_id, "0 auto", "60 ", "Failed to get region ID"},
        {get_region_name, "0 Here", "0 ", "Failed to get corvane organizaiton name"},
        {get_global_or_china, "0 cn", "0 GLB", ""},
        {[](std::string& value) { return get_join_corvane_info("CORVANE_TOKEN", value); }, "0 a=b", "60 ",
         "Failed to run get_corvane_region_id command"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(on_text(c.read).text(), c.value);
        const test::ReplacedTool tool("/sbin/getcfg", "echo half; exit 1");
        LogReader log;
        EXPECT_EQ(on_text(c.read).text(), c.failed) << c.value;
        EXPECT_EQ(log.text("ERROR"), c.error) << c.value;
    }
}

TEST(Settings, AreStoredInTheirOwnPlace) {
    test::write_text(kCorvaneConf, "# kept\n[Join Corvane]\nCORVANE_ORG_ID = old\n");
    EXPECT_EQ(0, set_org_id("id $(x)", "My \"Organization\""));
    EXPECT_EQ(0, set_region_id("supn", "Anywhere"));
    EXPECT_EQ(0, set_corvane_express_cfg());
    EXPECT_EQ(0, feature_tour_set("no", "TRUE")) << "unlike one would think, no word is refused";
    EXPECT_EQ(test::read_text(kCorvaneConf),
              "# kept\n[Join Corvane]\nCORVANE_ORG_ID = id $(x)\nCORVANE_ORG_NAME = My \"Organization\"\n"
              "CORVANE_REGION_ID = supn\nCORVANE_REGION_NAME = Anywhere\n"
              "router_region_table_id = 30000\nsupernode_region_table_id = 31000\n\n"
              "[Feature Guide]\nfeature_intro = no\nfeature_tip = TRUE\n");
    EXPECT_EQ(R"(0 {"feature_intro":false,"feature_tip":false,"kept":1})",
              test::on_document(feature_tour_show).text());
    const test::ReplacedTool tool("/sbin/setcfg", "exit 1");
    EXPECT_EQ(2, feature_tour_set("true", "true"));
}

TEST(Identity, ComesFromOtherFiles) {
    const char* const agent = "/opt/harbex/etc/cloudagent/cloudagent.cfg";
    test::write_text("/etc/platform.conf", "[MISC]\nDISPLAY_NAME =\nOther Platform: X86_KVM2\n");
    EXPECT_EQ("0 Cirrane", on_text(get_nas_model_name).text());
    test::write_text(agent, "DEV_ID=\"d1\"\nDEV_TOKEN=\"t0k\"\nDEV_TOKEN=\"b\"\n");
    EXPECT_EQ("0 t0k", on_text(get_device_token).text());
    EXPECT_EQ("d1", get_device_id());
    test::write_text(agent, "DEV_TOKEN=t0k\n");
    EXPECT_EQ("0 0", on_text(get_device_token).text()) << "first and last go all the same";
}

TEST(SmallRules, OfMasksPortsAndModules) {
    EXPECT_EQ(8 + 8 + 1 + 2, maskToCIDR("511.-1.x.257.3"));
    EXPECT_EQ("10", get_ethernet_loc("Adapter 2 Port 10"));
    EXPECT_EQ("on board", get_ethernet_loc("on board"));
    bool exists = true;
    EXPECT_EQ(60, kernel_module_exists("a..b", exists));
    EXPECT_FALSE(exists);
    utsname kernel{};
    ASSERT_EQ(0, uname(&kernel));
    test::write_text(std::string("/lib/modules/") + kernel.release + "/net/tun.ko", "");
    for (const std::string name : {"net/tun.ko", "net/tun"}) {
        EXPECT_EQ(0, kernel_module_exists(name, exists));
        EXPECT_EQ(exists, name.ends_with(".ko")) << name;
    }
}

}  // namespace
}  // namespace harbex::corvane

#include "corvane/cloud/endpoints.h"

#include <gtest/gtest.h>

#include "corvane/device/settings.h"
#include "support/log_reader.h"

namespace harbex::corvane {
namespace {

using test::LogReader;

// Sets the site that either reader finds.
void set_site_and_region(const std::string& site, const std::string& region) {
    test::write_text(kPackagesConf,
                     "[Harbex]\nInstall_Path = /opt/harbex\n[ZDevelop]\nInstall_Path = /opt/zdevelop\n");
    test::write_text("/opt/zdevelop/data/user.conf", "[SITE]\nENV = " + site + "\n");
    test::write_text(kCorvaneConf, "[Join Corvane]\ncorvane_site = " + site + "\n");
    test::write_text(kBidConf, "[Brindle ID Service]\nREGION = " + region + "\n");
}

TEST(Url, OfEverySiteAndRegion) {
    const struct {
        const char *site, *region;
        std::string (*url_of)(std::string);
        const char *url, *error;
    } cases[] = {
        {"Production", "GLB", get_org_center_api_url, "https://org-center.harbex.example/x", ""},
        {"aLPHA", "glb", get_account_center_api_url, "https://account-center-alpha.harbex.example/x", ""},
        {"qa", "GLB", get_auth_connector_api_url, "https://auth-connector-qa-nr.harbex.example/x", ""},
        {"dev", "global", get_corvane_api_url, "https://corvane-api-dev.harbex-cn.example/x", ""},
        {"QA-nr", "GLB", get_corvane_api_url, "https://corvane-api.harbex.example/x", "Invalid site: qa-nr"},
        {"SY", "GLB", get_corvane_api_url, "https://corvane-api-sy.harbex.example:31521/x", ""},
        {"SY", "CN", get_corvane_api_url, "/x", ""},  // the cluster has no part there
        {"SY", "GLB", get_org_center_api_url, "https://org-center.harbex.example/x", "Invalid site: sy"},
        {"", "", get_org_center_api_url, "https://org-center.harbex.example/x", "Invalid site: "},
    };
    for (const auto& c : cases) {
        set_site_and_region(c.site, c.region);
        LogReader log;
        EXPECT_EQ(c.url, c.url_of("/x")) << c.site << c.region;
        EXPECT_EQ(c.error, log.text("ERROR")) << c.site << c.region;
    }
}

}  // namespace
}  // namespace harbex::corvane

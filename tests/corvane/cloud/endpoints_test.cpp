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
    const std::pair<std::string (*)(std::string), std::string> services[] = {
        {get_org_center_api_url, "org-center"},
        {get_account_center_api_url, "account-center"},
        {get_corvane_api_url, "corvane-api"},
        {get_auth_connector_api_url, "auth-connector"},
    };
    const struct {
        const char *site, *suffix, *error;
    } sites[] = {
        {"Production", "", ""},
        {"aLPHA", "-alpha", ""},
        {"qa", "-qa-nr", ""},
        {"dev", "-dev", ""},
        {"QA-nr", "", "ERROR Invalid site: qa-nr\n"},
    };
    const std::pair<const char*, const char*> regions[] = {
        {"GLB", ".harbex.example"}, {"glb", ".harbex.example"}, {"global", ".harbex-cn.example"}};
    for (const auto& site : sites) {
        for (const auto& [region, domain] : regions) {
            set_site_and_region(site.site, region);
            for (const auto& [url_of, host] : services) {
                LogReader log;
                const std::string url = "https://" + host + site.suffix + domain + "/v1/x";
                EXPECT_EQ(url_of("/v1/x"), url);
                EXPECT_EQ(log.text(), site.error + ("DEBUG Request URL: " + url));
            }
        }
    }
}

TEST(Url, WhereASiteIsPartlyKnown) {
    set_site_and_region("SY", "GLB");
    EXPECT_EQ(get_corvane_api_url("/p"), "https://corvane-api-sy.harbex.example:31521/p");
    set_site_and_region("SY", "CN");
    LogReader log;
    EXPECT_EQ(get_corvane_api_url("/p"), "/p") << "the cluster has no part there";
    EXPECT_EQ(log.text(), "DEBUG Request URL: /p");
    (void)get_org_center_api_url("/p");
    EXPECT_EQ(log.text("ERROR"), "Invalid site: sy") << "no other service knows it";
    std::map<std::string, std::string> global_table{{"production", "https://g"}, {"sy", "https://s"}};
    std::map<std::string, std::string> china_table;
    EXPECT_EQ(choose_api_url(global_table, china_table, "/p", false), "/p");
    EXPECT_EQ(china_table, (std::map<std::string, std::string>{{"sy", ""}})) << "an empty entry where none was";

    set_site_and_region("alpha", "GLB");
    test::write_text(kCorvaneConf, "[Join Corvane]\ncorvane_site = qa\n");
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center-alpha.harbex.example");
    EXPECT_EQ(get_corvane_api_url("x"), "https://corvane-api-qa-nr.harbex.examplex") << "each has its own reader";
    set_site_and_region("", "");
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center.harbex.example");
    EXPECT_EQ(log.text("ERROR"), "Invalid site: ") << "a package without a site";
    std::filesystem::remove(kBidConf);
    test::write_text(kPackagesConf, "[Harbex]\nInstall_Path = /opt/harbex\n");
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center.harbex.example");
    EXPECT_EQ(log.text("ERROR"), "");
    const test::ReplacedTool tool("/sbin/getcfg", "exit 1");
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center.harbex.example");
    EXPECT_EQ(log.text("ERROR"), "Failed to get bpkgDir");
}

}  // namespace
}  // namespace harbex::corvane

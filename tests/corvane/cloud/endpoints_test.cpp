#include "corvane/cloud/endpoints.h"

#include <gtest/gtest.h>

#include "corvane/device/settings.h"
#include "support/files.h"
#include "support/trace_reader.h"

namespace harbex::corvane {
namespace {

using Lines = std::vector<std::string>;

// Sets both sites to `site`, so that each builder's own reader finds it.
void set_site_and_region(const std::string& site, const std::string& region) {
    test::write_text(kPackagesConf,
                     "[Harbex]\nInstall_Path = /opt/harbex\n[ZDevelop]\nInstall_Path = /opt/zdevelop\n");
    test::write_text("/opt/zdevelop/data/user.conf", "[SITE]\nENV = " + site + "\n");
    test::write_text(kCorvaneConf, "[Join Corvane]\ncorvane_site = " + site + "\n");
    test::write_text(kBidConf, "[Brindle ID Service]\nREGION = " + region + "\n");
}

const struct Builder {
    std::string (*url)(std::string);
    const char* host;
} kBuilders[] = {
    {get_org_center_api_url, "org-center"},
    {get_account_center_api_url, "account-center"},
    {get_corvane_api_url, "corvane-api"},
    {get_auth_connector_api_url, "auth-connector"},
};

TEST(Url, OfEverySiteAndRegion) {
    const struct {
        const char *site, *suffix, *invalid;  // the last as the complaint names it
    } sites[] = {
        {"Production", "", ""}, {"aLPHA", "-alpha", ""}, {"qa", "-qa-nr", ""},
        {"dev", "-dev", ""},    {"QA-nr", "", "qa-nr"},
    };
    const struct {
        const char *region, *domain;
    } regions[] = {{"GLB", "harbex.example"}, {"glb", "harbex.example"}, {"global", "harbex-cn.example"}};
    for (const auto& site : sites) {
        for (const auto& region : regions) {
            set_site_and_region(site.site, region.region);
            for (const Builder& builder : kBuilders) {
                test::TraceReader log;
                const std::string base = std::string("https://") + builder.host + site.suffix + "." + region.domain;
                const std::string where = std::string(builder.host) + ", " + site.site + ", " + region.region;
                EXPECT_EQ(builder.url("/v1/x"), base + "/v1/x") << where;
                Lines expected;
                if (*site.invalid != '\0') expected.push_back(std::string("ERROR Invalid site: ") + site.invalid);
                expected.push_back("DEBUG Request URL: " + base + "/v1/x");
                EXPECT_EQ(log.lines(), expected) << where;
            }
        }
    }
}

TEST(Url, OfTheDevelopmentCluster) {
    set_site_and_region("SY", "GLB");
    EXPECT_EQ(get_corvane_api_url("/p"), "https://corvane-api-sy.harbex.example:31521/p");
    set_site_and_region("SY", "CN");
    test::TraceReader log;
    EXPECT_EQ(get_corvane_api_url("/p"), "/p") << "the cluster has no part there";
    EXPECT_EQ(log.lines(), Lines{"DEBUG Request URL: /p"});
    (void)get_org_center_api_url("/p");
    EXPECT_EQ(log.lines().front(), "ERROR Invalid site: sy") << "no other service knows it";
}

TEST(Url, DependsOnTheSiteOfItsOwnReader) {
    set_site_and_region("alpha", "GLB");
    test::write_text(kCorvaneConf, "[Join Corvane]\ncorvane_site = qa\n");
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center-alpha.harbex.example");
    EXPECT_EQ(get_corvane_api_url("x"), "https://corvane-api-qa-nr.harbex.examplex");
}

TEST(Url, WithoutSettingsIsTheProductionsGlobalOne) {
    const Lines url{"DEBUG Request URL: https://org-center.harbex.example"};
    std::filesystem::remove(kBidConf);
    test::write_text(kPackagesConf, "[Harbex]\nInstall_Path = /opt/harbex\n");
    test::TraceReader log;
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center.harbex.example");
    EXPECT_EQ(log.lines(), url);

    set_site_and_region("", "");
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center.harbex.example");
    EXPECT_EQ(log.lines(), (Lines{"ERROR Invalid site: ", url[0]})) << "a package without a site";

    const test::ReplacedTool tool("/sbin/getcfg", "exit 1");
    EXPECT_EQ(get_org_center_api_url(""), "https://org-center.harbex.example");
    EXPECT_EQ(log.lines(), (Lines{"ERROR Failed to get bpkgDir", url[0]}));
}

TEST(Choice, PutsAnEmptyEntryWhereNoneWas) {
    set_site_and_region("sy", "CN");
    std::map<std::string, std::string> global_table{{"production", "https://g"}, {"sy", "https://s"}};
    std::map<std::string, std::string> china_table{{"production", "https://c"}};
    EXPECT_EQ(choose_api_url(global_table, china_table, "/p", false), "/p");
    EXPECT_EQ(china_table, (std::map<std::string, std::string>{{"production", "https://c"}, {"sy", ""}}));
}

}  // namespace
}  // namespace harbex::corvane

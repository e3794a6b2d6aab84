#include "corvane/device/settings.h"

#include <gtest/gtest.h>

#include "common/error_code.h"
#include "support/files.h"
#include "support/trace_reader.h"

namespace harbex::corvane {
namespace {

using Lines = std::vector<std::string>;
using Reader = int (*)(std::string&);

constexpr char kGetcfg[] = "/sbin/getcfg";
constexpr char kFailing[] = "echo half; exit 1";

int read_token(std::string& value) {
    return get_join_corvane_info("CORVANE_TOKEN", value);
}

TEST(Readers, FindTheirOwnPlace) {
    test::write_text(kPackagesConf, "[Other]\nInstall_Path = /no\n[Harbex]\nInstall_Path = /opt/harbex\n");
    test::write_text(kBidConf, "[Brindle ID Service]\nREGION = cn\n");
    test::write_text(kCorvaneConf,
                     "virtual_ip = no\n[Join Corvane]\nVIRTUAL_IP = no\nvirtual_ip = 10.8.0.5\n"
                     "corvane_site = Alpha\nCORVANE_ORG_ID = o 1\nCORVANE_ORG_NAME = \"My Organization\"\n"
                     "CORVANE_REGION_ID = auto\nCORVANE_REGION_NAME = Here\nCORVANE_TOKEN = a=b\n[Debug]\n");
    const struct {
        const char* name;
        Reader read;
        const char* value;
    } cases[] = {
        {"install path", get_install_path, "/opt/harbex"},
        {"site", get_corvane_site, "Alpha"},
        {"organisation", get_org_id, "o 1"},
        {"organisation's name", get_org_name, "\"My Organization\""},
        {"region", get_region_id, "auto"},
        {"region's name", get_region_name, "Here"},
        {"address", get_virtual_ip, "10.8.0.5"},
        {"region of the account", get_global_or_china, "cn"},
        {"any key", read_token, "a=b"},
    };
    for (const auto& c : cases) {
        std::string value = "before";
        EXPECT_EQ(c.read(value), NO_ERROR) << c.name;
        EXPECT_EQ(value, c.value) << c.name;
    }
}

TEST(Readers, OfAFailingToolSaySoInTheirOwnWords) {
    const struct {
        const char* name;
        Reader read;
        int result;
        const char* value;
        Lines lines;
    } cases[] = {
        {"install path", get_install_path, ERR_CMD_FAILED, "", {"ERROR Failed to get install path"}},
        {"developer site", get_zdevelop_site, ERR_CMD_FAILED, "before", {"ERROR Failed to get bpkgDir"}},
        {"enrolment site", get_corvane_site, NO_ERROR, "Production", {}},
        {"organisation", get_org_id, ERR_CMD_FAILED, "", {"ERROR Failed to get org id"}},
        {"its name", get_org_name, NO_ERROR, "", {"ERROR Failed to get corvane organizaiton name"}},
        {"region", get_region_id, ERR_CMD_FAILED, "", {"ERROR Failed to get region ID"}},
        {"its name, too", get_region_name, NO_ERROR, "", {"ERROR Failed to get corvane organizaiton name"}},
        {"address", get_virtual_ip, ERR_CMD_FAILED, "", {"ERROR Failed to get virtual ip"}},
        {"region of the account", get_global_or_china, NO_ERROR, "GLB", {}},
        {"any key", read_token, ERR_CMD_FAILED, "", {"ERROR Failed to run get_corvane_region_id command"}},
    };
    const test::ReplacedTool tool(kGetcfg, kFailing);
    for (const auto& c : cases) {
        test::TraceReader log;
        std::string value = "before";
        EXPECT_EQ(c.read(value), c.result) << c.name;
        EXPECT_EQ(value, c.value) << c.name;
        EXPECT_EQ(log.lines(), c.lines) << c.name;
    }
}

TEST(Writers, StoreBothHalvesOfAPair) {
    test::write_text(kCorvaneConf, "# kept\n[Join Corvane]\nCORVANE_ORG_ID = old\n");
    EXPECT_EQ(set_org_id("id $(x)", "My \"Organization\""), NO_ERROR);
    EXPECT_EQ(set_region_id("supn", "Anywhere"), NO_ERROR);
    EXPECT_EQ(set_serial_number("42"), NO_ERROR);
    EXPECT_EQ(set_virtual_ip("10.8.0.9"), NO_ERROR);
    const struct {
        const char* key;
        const char* value;
    } cases[] = {
        {"CORVANE_ORG_ID", "id $(x)"}, {"CORVANE_ORG_NAME", "My \"Organization\""},
        {"CORVANE_REGION_ID", "supn"}, {"CORVANE_REGION_NAME", "Anywhere"},
        {"corvane_serial_num", "42"},  {"virtual_ip", "10.8.0.9"},
    };
    for (const auto& c : cases) {
        std::string value;
        EXPECT_EQ(get_join_corvane_info(c.key, value), NO_ERROR) << c.key;
        EXPECT_EQ(value, c.value);
    }
}

}  // namespace
}  // namespace harbex::corvane

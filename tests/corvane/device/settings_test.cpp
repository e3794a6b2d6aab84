#include "corvane/device/settings.h"

#include <gtest/gtest.h>

#include "common/error_code.h"
#include "support/files.h"
#include "support/trace_reader.h"

namespace harbex::corvane {
namespace {

using Lines = std::vector<std::string>;

int read_token(std::string& value) {
    return get_join_corvane_info("CORVANE_TOKEN", value);
}

TEST(Readers, FindTheirOwnPlaceAndComplainInTheirOwnWords) {
    test::write_text(kPackagesConf, "[Other]\nInstall_Path = /no\n[Harbex]\nInstall_Path = /opt/harbex\n");
    test::write_text(kBidConf, "[Brindle ID Service]\nREGION = cn\n");
    test::write_text(kCorvaneConf,
                     "virtual_ip = no\n[Join Corvane]\nVIRTUAL_IP = no\nvirtual_ip = 10.8.0.5\n"
                     "corvane_site = Alpha\nCORVANE_ORG_ID = o 1\nCORVANE_ORG_NAME = \"My Organization\"\n"
                     "CORVANE_REGION_ID = auto\nCORVANE_REGION_NAME = Here\nCORVANE_TOKEN = a=b\n[Debug]\n");
    const struct {
        int (*read)(std::string&);
        const char* value;
        int result;  // of a failing tool, like the rest
        const char* left;
        Lines lines;
    } cases[] = {
        {get_install_path, "/opt/harbex", ERR_CMD_FAILED, "", {"ERROR Failed to get install path"}},
        {get_zdevelop_site, "production", ERR_CMD_FAILED, "before", {"ERROR Failed to get bpkgDir"}},
        {get_corvane_site, "Alpha", NO_ERROR, "Production", {}},
        {get_org_id, "o 1", ERR_CMD_FAILED, "", {"ERROR Failed to get org id"}},
        {get_org_name, "\"My Organization\"", NO_ERROR, "", {"ERROR Failed to get corvane organizaiton name"}},
        {get_region_id, "auto", ERR_CMD_FAILED, "", {"ERROR Failed to get region ID"}},
        {get_region_name, "Here", NO_ERROR, "", {"ERROR Failed to get corvane organizaiton name"}},
        {get_virtual_ip, "10.8.0.5", ERR_CMD_FAILED, "", {"ERROR Failed to get virtual ip"}},
        {get_global_or_china, "cn", NO_ERROR, "GLB", {}},
        {read_token, "a=b", ERR_CMD_FAILED, "", {"ERROR Failed to run get_corvane_region_id command"}},
    };
    for (const auto& c : cases) {
        std::string value = "before";
        EXPECT_EQ(c.read(value), NO_ERROR) << c.value;
        EXPECT_EQ(value, c.value);
        const test::ReplacedTool tool("/sbin/getcfg", "echo half; exit 1");
        test::TraceReader log;
        value = "before";
        EXPECT_EQ(c.read(value), c.result) << c.value;
        EXPECT_EQ(value, c.left) << c.value;
        EXPECT_EQ(log.lines(), c.lines) << c.value;
    }
}

TEST(Writers, StoreBothHalvesOfAPair) {
    test::write_text(kCorvaneConf, "# kept\n[Join Corvane]\nCORVANE_ORG_ID = old\n");
    EXPECT_EQ(set_org_id("id $(x)", "My \"Organization\""), NO_ERROR);
    EXPECT_EQ(set_region_id("supn", "Anywhere"), NO_ERROR);
    EXPECT_EQ(set_serial_number("42"), NO_ERROR);
    EXPECT_EQ(set_virtual_ip("10.8.0.9"), NO_ERROR);
    EXPECT_EQ(test::read_text(kCorvaneConf),
              "# kept\n[Join Corvane]\nCORVANE_ORG_ID = id $(x)\nCORVANE_ORG_NAME = My \"Organization\"\n"
              "CORVANE_REGION_ID = supn\nCORVANE_REGION_NAME = Anywhere\ncorvane_serial_num = 42\n"
              "virtual_ip = 10.8.0.9\n");
}

}  // namespace
}  // namespace harbex::corvane

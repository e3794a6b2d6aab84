// The lines of the cloud agent's file.
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "corvane/device/identity.h"
#include "fuzz.h"

void fuzz::one(std::string_view input) {
    static char folder[] = "/tmp/fuzz_agent_lines.XXXXXX";
    static const bool made = mkdtemp(folder) != nullptr &&
                             std::atexit([] { std::filesystem::remove_all(folder); }) == 0 &&
                             std::filesystem::create_directories(std::string(folder) + "/etc/cloudagent");
    require(made, "the folder is there");
    std::ofstream(std::string(folder) + "/etc/cloudagent/cloudagent.cfg") << input;
    outside = signed_in("");
    outside.settings["Install_Path"] = folder;
    std::string token = "untouched";
    const bool found = harbex::corvane::get_device_token(token) == 0;
    require(found ? input.find(token) != input.npos : token == "untouched", "the token is the file's");
    require(input.find(harbex::corvane::get_device_id()) != input.npos, "the id is the file's");
}

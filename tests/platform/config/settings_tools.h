// The two tools as scripts call them, and a folder to try them in.
#pragma once

#include <filesystem>
#include <string>

#include "common/in_folder.h"
#include "support/files.h"
#include "support/run_program.h"

namespace harbex::test {

inline Finished getcfg(const std::string& section, const std::string& key, const std::string& file,
                       const std::string& fallback = "DEFAULT") {
    return run_program({"/sbin/getcfg", section, key, "-f", file, "-d", fallback});
}

inline Finished setcfg(const std::string& section, const std::string& key, const std::string& value,
                       const std::string& file) {
    return run_program({"/sbin/setcfg", section, key, value, "-f", file});
}

// A failure: nothing on standard output, one line on standard error.
inline void expect_failure(const Finished& run, const std::string& name) {
    EXPECT_EQ(run.status, 1) << name;
    EXPECT_EQ(run.out, "") << name;
    EXPECT_GT(run.err.size(), 1U) << name;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << name << ": " << run.err;
}

class WithSettings : public InFolder {
protected:
    // How many entries the folder has, the writers' lock file not counted.
    long entries() const {
        return std::distance(std::filesystem::directory_iterator(folder_), {}) - std::filesystem::exists(lock_);
    }

    const std::filesystem::path lock_ = folder_ / ".setcfg.lock";

    const std::filesystem::path file_ = folder_ / "corvane.conf";
};

}  // namespace harbex::test

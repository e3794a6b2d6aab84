#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/run_program.h"

namespace fs = std::filesystem;

namespace harbex::test {

using Lines = std::vector<std::string>;

class InFolder : public testing::Test {
protected:
    InFolder() {
        std::string name = "/tmp/folder_XXXXXX";
        folder_ = mkdtemp(name.data());
    }
    ~InFolder() override { fs::remove_all(folder_); }

    fs::path folder_;
};

}  // namespace harbex::test

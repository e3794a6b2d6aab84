// Tests with a folder of their own.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace harbex::test {

class InFolder : public testing::Test {
protected:
    InFolder() {
        std::string name = "/tmp/folder_XXXXXX";
        folder_ = mkdtemp(name.data());
    }
    ~InFolder() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path folder_;
};

}  // namespace harbex::test

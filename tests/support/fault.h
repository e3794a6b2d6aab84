#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/run_program.h"

namespace harbex::test {

// Until the end of the scope; names and values are those of the program `fault`.
class Fault {
public:
    Fault(std::string name, const std::string& value) : name_(std::move(name)) { set(value); }
    ~Fault() { set("none"); }
    Fault(const Fault&) = delete;
    void operator=(const Fault&) = delete;

private:
    void set(const std::string& value) const {
        const Finished done = run_program({"/usr/local/bin/fault", name_, value});
        EXPECT_EQ(done.status, 0) << name_ << " " << value << ": " << done.err;
    }
    const std::string name_;
};

}  // namespace harbex::test

#include "common/program_output.h"

#include <cstdio>
#include <memory>

#include <bsvc.h>

#include "common/bus_io.h"
#include "common/releaser.h"

namespace harbex::system {
int do_exec(const char* command, std::string& output) {
    const std::unique_ptr<FILE, Releaser<::pclose>> pipe(::popen(command, "re"));
    if (!pipe) return -1;
    try {
        char piece[512];
        while (std::fgets(piece, sizeof(piece), pipe.get()) != nullptr)
            output += piece;
    } catch (...) {  // no memory
        return -1;
    }
    return 0;
}

int do_exec_safe(const std::vector<std::string>& argv, std::string& output) {
    try {
        std::vector<char*> arguments;
        arguments.reserve(argv.size() + 1);
        // execv takes pointers to char for history's sake and does not write through them.
        for (const std::string& argument : argv)
            arguments.push_back(const_cast<char*>(argument.c_str()));
        arguments.push_back(nullptr);

        output.clear();
        if (argv.empty()) return -1;
        const bs_auto_io standard_output;
        const bs_auto_io standard_error;
        if (standard_output == nullptr || standard_error == nullptr) return -1;
        const int result = bs_io_execv(0, standard_output, standard_error, arguments.data());
        if (result != 0) return result;
        const char* const text = bs_io_read(standard_output, nullptr);
        if (text != nullptr) output = text;
        return 0;
    } catch (...) {  // no memory
        output.clear();
        return -1;
    }
}

}  // namespace harbex::system

// Prints the organisation, the region and the tunnel address of this NAS, with the installed library.
//   c++ -std=c++20 where_it_stands.cpp $(pkg-config --cflags --libs harbex)
#include <corvane/device/settings.h>

#include <cstdio>
#include <string>

int main() {
    const struct {
        const char* what;
        int (*read)(std::string&);
    } rows[] = {
        {"organisation", harbex::corvane::get_org_name},
        {"region", harbex::corvane::get_region_name},
        {"address", harbex::corvane::get_virtual_ip},
    };
    for (const auto& row : rows) {
        std::string value;
        const int result = row.read(value);
        if (result != 0) value = "cannot be read, code " + std::to_string(result);
        std::printf("%-14s%s\n", row.what, value.empty() ? "-" : value.c_str());
    }
    return 0;
}

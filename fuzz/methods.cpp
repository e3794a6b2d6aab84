// Each bus method that reads a request or another service's reply. The input: a byte that chooses it, then both.
#include <iterator>

#include "fuzz.h"
#include "service/method_table.h"

void fuzz::one(std::string_view input) {
    constexpr const char* kMethods[] = {"Save_cloudtoken",    "Get_corvanetoken", "Update_and_check_timeout",
                                        "Get_gateway_info",   "Get_port_status",  "Get_rxtx",
                                        "Get_rxtx_bytecount", "Get_public_ip",    "Update_org_name"};
    static const bool sorted = (harbex::service::sort_methods(), true);
    if (!sorted || input.empty()) return;
    const size_t chosen = static_cast<unsigned char>(input[0]) % std::size(kMethods);
    input.remove_prefix(1);
    outside = signed_in(input);
    outside.reply = input;
    bs_io* io = bs_io_create();
    (void)bs_io_write(io, input.data(), input.size());
    harbex::service::service_handler(kMethods[chosen], io, -1);
}

// The cloud's judgement of a virtual IP.
#include "corvane/cloud/subnet_check.h"

#include "common/error_code.h"
#include "fuzz.h"

void fuzz::one(std::string_view input) {
    outside = signed_in(input);
    outside.result = harbex::ERR_HTTP_ERROR;  // what a clash is answered with
    std::string address = "10.8.0.5";
    const int result = harbex::corvane::corvane_api_ip_subnet_check(address);
    require(result == harbex::NO_ERROR || address == "10.8.0.5", "a failure changes nothing");
}

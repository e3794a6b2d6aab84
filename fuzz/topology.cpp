// The organisation's VPN groups.
#include "common/error_code.h"
#include "corvane/cloud/region_list.h"
#include "corvane/cloud/registration.h"
#include "fuzz.h"

void fuzz::one(std::string_view input) {
    outside = signed_in(input);
    if (harbex::corvane::resolve_auto_region(std::string(input)) != harbex::NO_ERROR)
        require(outside.settings["CORVANE_REGION_ID"] == "auto", "a failure stores nothing");
    JsonValue list;
    std::string text;
    outside = signed_in(input);
    const int result = harbex::corvane::get_region_list(list, "org");
    list.toString(text);
    require(result == harbex::NO_ERROR || text == "null", "a failure gives nothing");
}

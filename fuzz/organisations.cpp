// The organisation centre's and the account centre's answers.
#include "common/error_code.h"
#include "corvane/cloud/org_center.h"
#include "fuzz.h"

void fuzz::one(std::string_view input) {
    outside = signed_in(input);
    JsonValue list;
    std::string text, id = "untouched", email = "untouched";
    const bool listed = harbex::corvane::get_organization_list(list) == harbex::NO_ERROR;
    list.toString(text);
    require(listed || text == "null", "a failure lists nothing");
    const bool created = harbex::corvane::create_organization("Office", id) == harbex::NO_ERROR;
    require(created || id == "untouched", "a failure gives no id");
    (void)harbex::corvane::set_corvane_bid_conf();
    (void)harbex::corvane::set_site_id("org");
    const bool known = harbex::corvane::get_contact_email(email) == harbex::NO_ERROR;
    require(known || email == "untouched", "a failure gives no address");
}

#include "cloud/state.h"

#include <openssl/rand.h>

#include <string_view>

namespace appliance {
namespace {

constexpr const char* kFactory = R"({
    "access_token_lifetime_s": 3600,
    "corvane_token_lifetime_s": 86400,
    "user": {"display_name": "Ada Field", "email": "ada.field@harbex.example", "site": "GLOBAL"},
    "organizations": [
        {"name": "Field Office", "organization_id": "org-7f3a1c", "created_by": {"is_default": true},
         "sites": [{"organization_site_id": "site-29b0e4"}]},
        {"name": "Field Workshop", "organization_id": "org-b41d92", "created_by": {"is_default": false},
         "sites": [{"organization_site_id": "site-5cc713"}]}],
    "vpn_groups": [
        {"groupId": "grp-north", "groupName": "North", "hubs": []},
        {"groupId": "grp-east", "groupName": "East",
         "hubs": [{"device_name": "hub-east-1", "public_ip": "198.51.100.21"}]}],
    "supernode": {"device_name": "supernode-1", "public_ip": "198.51.100.99"},
    "virtual_ip": "10.8.0.21",
    "suggested_network": "10.8.0.5/24",
    "conflict_networks": []
})";

// What the cloud keeps by itself, beside what a person may set.
constexpr const char* kEmpty = R"({
    "access_tokens": {}, "refresh_tokens": {}, "corvane_tokens": {}, "devices": {}, "next_number": 1001
})";

constexpr size_t kTokensKept = 64;

std::string random_text(size_t bytes) {
    std::string text;
    unsigned char random[32];
    if (RAND_bytes(random, static_cast<int>(bytes)) != 1) return "";
    for (size_t index = 0; index < bytes; ++index) {
        text += "0123456789abcdef"[random[index] >> 4];
        text += "0123456789abcdef"[random[index] & 15];
    }
    return text;
}

// Adds a token, and forgets the oldest beyond those kept.
void remember(json_t* tokens, const std::string& token, json_t* what) {
    while (json_object_size(tokens) >= kTokensKept)
        json_object_del(tokens, json_object_iter_key(json_object_iter(tokens)));
    json_object_set_new(tokens, token.c_str(), what);
}

bool texts(const json_t* object, std::initializer_list<const char*> keys) {
    for (const char* key : keys)
        if (!json_is_string(json_object_get(object, key))) return false;
    return true;
}

// "" when every element of a list that a person set has what the cloud relies on.
std::string check_lists(const json_t* state) {
    size_t index;
    json_t* element;
    json_array_foreach(json_object_get(state, "organizations"), index, element) {
        if (!texts(element, {"name", "organization_id"})) return "an organisation needs name and organization_id";
    }
    json_array_foreach(json_object_get(state, "vpn_groups"), index, element) {
        const json_t* hubs = json_object_get(element, "hubs");
        if (!texts(element, {"groupId"}) || !json_is_array(hubs)) return "a region needs groupId and hubs";
        size_t hub_index;
        json_t* hub;
        json_array_foreach(hubs, hub_index, hub) {
            if (!texts(hub, {"device_name", "public_ip"})) return "a hub needs device_name and public_ip";
        }
    }
    json_array_foreach(json_object_get(state, "conflict_networks"), index, element) {
        if (!json_is_string(element)) return "conflict_networks are texts";
    }
    return "";
}

}  // namespace

CloudState::CloudState(std::string file) : file_(std::move(file)), root_(parse_json(kFactory)) {
    merge_patch(root_.get(), parse_json(kEmpty).get());
    const Json kept = read_json_file(file_);
    if (kept) merge_patch(root_.get(), kept.get());
}

bool CloudState::save() const {
    return write_json_file(file_, root_.get());
}

json_t* CloudState::member(const char* key) const {
    return json_object_get(root_.get(), key);
}

std::string CloudState::change(const json_t* patch) {
    if (!json_is_object(patch)) return "the change must be a JSON object";
    const Json factory = parse_json(kFactory);
    const char* key;
    json_t* value;
    json_object_foreach(const_cast<json_t*>(patch), key, value) {
        const json_t* known = json_object_get(factory.get(), key);
        if (known == nullptr) return std::string("unknown member ") + key;
        if (json_typeof(known) != json_typeof(value)) return std::string("wrong type of ") + key;
    }
    Json changed(json_deep_copy(root_.get()));
    merge_patch(changed.get(), patch);
    std::string wrong = check_lists(changed.get());
    if (wrong.empty()) root_ = std::move(changed);
    return wrong;
}

int64_t CloudState::next_number() {
    const int64_t number = number_of(root_.get(), "next_number", 1001);
    json_object_set_new(root_.get(), "next_number", json_integer(number + 1));
    return number;
}

std::string CloudState::next_id(const char* prefix) {
    return prefix + std::to_string(next_number());
}

AccountTokens CloudState::issue_account_tokens(int64_t now, int64_t lifetime_s) {
    const int64_t expiry = now + lifetime_s;
    AccountTokens tokens{"va1." + random_text(16) + "." + std::to_string(expiry), "vr1-" + random_text(16)};
    remember(member("access_tokens"), tokens.access, json_integer(expiry));
    remember(member("refresh_tokens"), tokens.refresh, json_true());
    return tokens;
}

std::string CloudState::issue_corvane_token(const std::string& organization_id, int64_t now) {
    const int64_t expiry = now + number_of(root_.get(), "corvane_token_lifetime_s", 0);
    std::string token = "ct1-" + random_text(16);
    remember(member("corvane_tokens"), token,
             json_pack("{s:s, s:I}", "organization_id", organization_id.c_str(), "expiry", json_int_t{expiry}));
    return token;
}

void CloudState::forget_tokens() {
    for (const char* tokens : {"access_tokens", "refresh_tokens", "corvane_tokens"})
        json_object_clear(member(tokens));
}

bool CloudState::access_token_valid(const std::string& token, int64_t now) const {
    return number_of(member("access_tokens"), token.c_str(), 0) > now;
}

bool CloudState::refresh_token_valid(const std::string& token) const {
    return json_is_true(json_object_get(member("refresh_tokens"), token.c_str()));
}

std::string CloudState::corvane_organization(const std::string& token, int64_t now) const {
    const json_t* entry = json_object_get(member("corvane_tokens"), token.c_str());
    return number_of(entry, "expiry", 0) > now ? text_of(entry, "organization_id") : "";
}

json_t* CloudState::organization(const std::string& id) const {
    size_t index;
    json_t* element;
    json_array_foreach(member("organizations"), index, element) {
        if (text_of(element, "organization_id") == id) return element;
    }
    return nullptr;
}

std::string CloudState::add_organization(const std::string& name) {
    std::string id = next_id("org-");
    const std::string site = next_id("site-");
    json_t* added = json_pack("{s:o, s:s, s:{s:b}, s:[{s:s}]}", "name", json_text(name), "organization_id",
                              id.c_str(), "created_by", "is_default", json_array_size(member("organizations")) == 0,
                              "sites", "organization_site_id", site.c_str());
    json_array_append_new(member("organizations"), added);
    return id;
}

json_t* CloudState::device(const std::string& id) const {
    return json_object_get(member("devices"), id.c_str());
}

json_t* CloudState::enrol_device(const std::string& organization_id, const json_t* identity) {
    const char* key;
    json_t* known;
    json_object_foreach(member("devices"), key, known) {
        const json_t* other = json_object_get(known, "identity");
        if (text_of(known, "organization_id") == organization_id &&
            text_of(other, "identifyMac") == text_of(identity, "identifyMac") &&
            text_of(other, "identifySN") == text_of(identity, "identifySN")) {
            json_object_set_new(known, "identity", json_deep_copy(identity));
            return known;
        }
    }
    const int64_t number = next_number();
    const std::string id = "dev-" + std::to_string(number);
    json_t* added =
        json_pack("{s:s, s:s, s:s, s:I, s:b, s:o}", "deviceId", id.c_str(), "organization_id",
                  organization_id.c_str(), "device_token", ("dt1-" + random_text(16)).c_str(), "serialNumber",
                  json_int_t{260000000000 + number}, "registered", 0, "identity", json_deep_copy(identity));
    json_object_set_new(member("devices"), id.c_str(), added);
    return added;
}

bool CloudState::remove_device(const std::string& id) {
    return json_object_del(member("devices"), id.c_str()) == 0;
}

const json_t* CloudState::region(const std::string& id) const {
    size_t index;
    json_t* group;
    json_array_foreach(member("vpn_groups"), index, group) {
        if (text_of(group, "groupId") == id) return group;
    }
    return nullptr;
}

std::string CloudState::resolve_region(const std::string& wish) const {
    if (wish != "auto") return wish;
    size_t index;
    json_t* group;
    json_array_foreach(member("vpn_groups"), index, group) {
        if (json_array_size(json_object_get(group, "hubs")) > 0) return text_of(group, "groupId");
    }
    return "supn";
}

}  // namespace appliance

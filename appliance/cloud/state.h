// What the simulated cloud knows: its user, organisations, regions, devices and tokens. One JSON document, kept in a
// file, so that a NAS whose state is kept finds its cloud again.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "json_owner.h"

namespace appliance {

struct AccountTokens {
    std::string access;  // ends in ".<expiry, seconds since the epoch>"
    std::string refresh;
};

// Everything but `lock` is called by the holder of the lock.
class CloudState {
public:
    explicit CloudState(std::string file);
    std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }
    bool save() const;
    const json_t* root() const { return root_.get(); }
    // Merges what a person set. "" or what is wrong with it; nothing has changed then.
    std::string change(const json_t* patch);

    AccountTokens issue_account_tokens(int64_t now, int64_t lifetime_s);
    std::string issue_corvane_token(const std::string& organization_id, int64_t now);
    // Signs everybody out.
    void forget_tokens();
    bool access_token_valid(const std::string& token, int64_t now) const;
    bool refresh_token_valid(const std::string& token) const;
    // The organisation that the token is for; "" when it is unknown or has expired.
    std::string corvane_organization(const std::string& token, int64_t now) const;

    json_t* organization(const std::string& id) const;  // null when unknown; not the caller's
    std::string add_organization(const std::string& name);
    json_t* device(const std::string& id) const;
    // The device with these identities in the organisation: the one that is there already, or a new one.
    json_t* enrol_device(const std::string& organization_id, const json_t* identity);
    bool remove_device(const std::string& id);
    // The id of the region that a device gets which asks for `wish`.
    std::string resolve_region(const std::string& wish) const;
    const json_t* region(const std::string& id) const;

private:
    json_t* member(const char* key) const;
    std::string next_id(const char* prefix);
    int64_t next_number();

    const std::string file_;
    std::mutex mutex_;
    Json root_;  // guarded by mutex_
};

}  // namespace appliance

// What identifies the application to the simulated cloud, and the sealing of sign-in answers with it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace appliance {

struct Credentials {
    std::string app_id;
    std::string app_secret;
    std::string provider;
};

// Lines app_id=, app_secret= (32 characters) and provider=.
std::optional<Credentials> load_credentials(const std::string& file);

// Base64 without line breaks of a random vector of 16 bytes and the AES-256-CBC ciphertext of `plain`, padded with
// zero bytes to a multiple of 16; the key is the secret's characters. "" when libcrypto refuses.
std::string seal(std::string_view plain, const std::string& secret);

}  // namespace appliance

#include "corvane/device/credentials.h"

namespace harbex::corvane {

// Generated from the credentials file of the build, in a file of their own: next to the function that unscrambles
// them the compiler could do its work beforehand and put the plain text into the program.
extern const unsigned char kAppIdTable[24];
extern const unsigned char kAppSecretTable[32];
extern const unsigned char kProviderTable[3];
extern const unsigned char kCredentialsKey;

std::string get_app_id() {
    return deobfuscate(kAppIdTable, sizeof kAppIdTable, kCredentialsKey);
}

std::string get_app_secret() {
    return deobfuscate(kAppSecretTable, sizeof kAppSecretTable, kCredentialsKey);
}

std::string get_provider() {
    return deobfuscate(kProviderTable, sizeof kProviderTable, kCredentialsKey);
}

std::string deobfuscate(const unsigned char* table, size_t length, unsigned char key) try {
    std::string text(length, '\0');
    for (size_t i = 0; i < length; ++i)
        text[i] = static_cast<char>(table[i] ^ (i & 0xFFU) ^ key);
    return text;
} catch (...) {
    return {};  // no memory; not logged: this file depends on nothing
}

}  // namespace harbex::corvane

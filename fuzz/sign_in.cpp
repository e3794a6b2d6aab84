// The encoded sign-in answer: any text, and any plaintext rightly encoded.
#include <openssl/evp.h>

#include <vector>

#include "common/openssl.h"
#include "corvane/device/credentials.h"
#include "fuzz.h"
#include "service/cloud_token.h"

namespace {

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string encode(std::string plaintext) {
    const std::string key = harbex::corvane::get_app_secret(), vector(16, 'v');
    plaintext.resize((plaintext.size() + 15) / 16 * 16);
    std::vector<unsigned char> out(plaintext.size() + 16);
    int length = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, bytes(key), bytes(vector));
    EVP_EncryptUpdate(context, out.data(), &length, bytes(plaintext), static_cast<int>(plaintext.size()));
    EVP_CIPHER_CTX_free(context);
    return harbex::openssl::base64_encode(vector + std::string(out.begin(), out.begin() + length));
}

}  // namespace

void fuzz::one(std::string_view input) {
    for (const std::string& text : {std::string(input), encode(std::string(input))}) {
        outside = signed_in("");
        if (harbex::service::save_vellumtoken(text) != 0) continue;
        require(input.find(R"("access_token")") != input.npos, "tokens come from the answer");
    }
}

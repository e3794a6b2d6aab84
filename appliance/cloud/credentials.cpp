#include "cloud/credentials.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <fstream>
#include <memory>
#include <vector>

namespace appliance {
namespace {

constexpr size_t kBlock = 16;
constexpr size_t kKeyLength = 32;

std::string base64(const std::vector<unsigned char>& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    return text;
}

}  // namespace

std::optional<Credentials> load_credentials(const std::string& file) {
    Credentials credentials;
    const struct {
        std::string_view prefix;
        std::string* value;
    } rows[] = {{"app_id=", &credentials.app_id},
                {"app_secret=", &credentials.app_secret},
                {"provider=", &credentials.provider}};
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);)
        for (const auto& row : rows)
            if (line.starts_with(row.prefix)) *row.value = line.substr(row.prefix.size());
    if (credentials.app_id.empty() || credentials.provider.empty() || credentials.app_secret.size() != kKeyLength)
        return std::nullopt;
    return credentials;
}

std::string seal(std::string_view plain, const std::string& secret) {
    if (secret.size() != kKeyLength) return "";
    std::vector<unsigned char> padded(plain.begin(), plain.end());
    padded.resize((padded.size() + kBlock - 1) / kBlock * kBlock);
    std::vector<unsigned char> sealed(kBlock + padded.size());
    if (RAND_bytes(sealed.data(), kBlock) != 1) return "";

    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  &EVP_CIPHER_CTX_free);
    const auto* key = reinterpret_cast<const unsigned char*>(secret.data());
    int written = 0;
    if (!context || EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key, sealed.data()) != 1) return "";
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    if (EVP_EncryptUpdate(context.get(), sealed.data() + kBlock, &written, padded.data(),
                          static_cast<int>(padded.size())) != 1)
        return "";
    return base64(sealed);
}

}  // namespace appliance

#include "service/cloud_token.h"

#include <jansson.h>
#include <openssl/evp.h>
#include <time.h>

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "common/http.h"
#include "common/number.h"
#include "common/openssl.h"
#include "corvane/cloud/endpoints.h"
#include "corvane/device/credentials.h"
#include "corvane/device/settings.h"
#include "service/json_input.h"
#include "service/logger.h"
#include "service/refusal.h"
#include "service/renewal.h"
#include "service/reply_envelope.h"
#include "service/result_code.h"

namespace harbex::service {
namespace {

constexpr size_t kBlockSize = 16;

// One turn covers judging again, renewing and storing the tokens. Never destroyed: bus threads may still be in here
// at exit.
Renewal& token_renewal() {
    static Renewal& renewal = *new Renewal;
    return renewal;
}
constexpr const char* kOneToken = "";  // there is but one to renew
constexpr const char* kSignIn = "sign-in";

const EVP_CIPHER* cipher_for(size_t key_length) {
    switch (key_length) {
        case 16:
            return EVP_aes_128_cbc();
        case 24:
            return EVP_aes_192_cbc();
        case 32:
            return EVP_aes_256_cbc();
        default:
            return nullptr;
    }
}

const unsigned char* bytes_of(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// `blob`: the initialisation vector and the ciphertext. The sender pads with zero bytes; nothing is stripped.
int decrypt(const EVP_CIPHER* cipher, const std::string& key, const std::string& blob, std::string& plaintext) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  &EVP_CIPHER_CTX_free);
    if (!context) return failed(E_NIMBARA_OAUTH_DECODE_ERROR, "Failed to create EVP_CIPHER_CTX");
    if (EVP_DecryptInit_ex(context.get(), cipher, nullptr, bytes_of(key), bytes_of(blob)) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1) {
        return failed(E_NIMBARA_OAUTH_DECODE_ERROR, "Failed to initialize decryption context");
    }
    std::string output(blob.size() + kBlockSize, '\0');
    auto* const start = reinterpret_cast<unsigned char*>(output.data());
    int length = 0;
    if (EVP_DecryptUpdate(context.get(), start, &length, bytes_of(blob) + kBlockSize,
                          static_cast<int>(blob.size() - kBlockSize)) != 1) {
        return failed(E_NIMBARA_OAUTH_DECODE_ERROR, "Failed to decrypt data");
    }
    int rest = 0;
    if (EVP_DecryptFinal_ex(context.get(), start + length, &rest) != 1) rest = 0;
    output.resize(static_cast<size_t>(length) + static_cast<size_t>(rest));
    plaintext = std::move(output);
    return E_SUCCESS;
}

int decode(const std::string& oauth_response_encoded, std::string& plaintext) {
    const std::string key = corvane::get_app_secret();
    const EVP_CIPHER* cipher = cipher_for(key.size());
    if (cipher == nullptr) {
        Logger::Log(ERROR, "Invalid key length for cipher");
        return failed(E_NIMBARA_OAUTH_DECODE_ERROR, "Failed to decode vellumToken");
    }
    const std::string blob = openssl::base64_decode(oauth_response_encoded);
    if (blob.size() < kBlockSize || blob.size() % kBlockSize != 0) {
        Logger::Log(ERROR, "Invalid ciphertext length %zu", blob.size());
        return E_NIMBARA_OAUTH_DECODE_ERROR;
    }
    return decrypt(cipher, key, blob, plaintext);
}

// The functions below run in a turn of token_renewal.

int store_tokens(const std::string& oauth_response_encoded) {
    std::string plaintext;
    if (const int result = decode(oauth_response_encoded, plaintext); result != E_SUCCESS) return result;
    Logger::Log(INFO, "plaintext: %s", plaintext.c_str());
    // Up to the first of the sender's zero bytes.
    const JsonOwner document = parse_document(plaintext.c_str(), "Failed to parse JSON");
    if (!document) return E_JSON_FAIL;
    const char* access_token = json_string_value(json_object_get(document.get(), "access_token"));
    const char* refresh_token = json_string_value(json_object_get(document.get(), "refresh_token"));
    if (access_token == nullptr || refresh_token == nullptr) {
        return failed(E_JSON_FAIL, "access_token or refresh_token not found or invalid");
    }
    Logger::Log(INFO, "access_token: %s", access_token);
    Logger::Log(INFO, "refresh_token: %s", refresh_token);
    if (corvane::write_setting(corvane::kVellumToken, access_token) != 0) {
        return failed(E_CMD_FAILED, "Failed to set VELLUM_TOKEN");
    }
    if (corvane::write_setting(corvane::kVellumRefreshToken, refresh_token) != 0) {
        return failed(E_CMD_FAILED, "Failed to set VELLUM_REFRESH_TOKEN");
    }
    return E_SUCCESS;
}

int refresh() {
    const std::string provider = corvane::get_provider();
    const std::string app_id = corvane::get_app_id();
    std::string refresh_token;
    if (corvane::read_setting(corvane::kVellumRefreshToken, refresh_token) != 0) {
        return failed(E_CMD_FAILED, "Failed to get refresh token");
    }
    system::RestTransfer transfer;
    if (!transfer) return failed(E_CURL_FAIL, "Failed to initialize CURL");
    const system::RestRequest request{
        .method = system::HttpMethod::kPost,
        .url = corvane::get_auth_connector_api_url("/oauth2/refresh"),
        .headers = {"Content-Type: application/x-www-form-urlencoded"},
        .body = "app_id=" + app_id + "&provider=" + provider + "&refresh_token=" + refresh_token,
    };
    std::string response;
    if (transfer.send(request, response) != 0) return failed(E_CURL_FAIL, "Failed to call refresh API");

    const JsonOwner document = parse_document(response, "Failed to parse JSON");
    if (!document) return E_JSON_FAIL;
    const char* result = json_string_value(json_object_get(document.get(), "result"));
    if (result == nullptr) return failed(E_JSON_FAIL, "No 'result' string in refresh response");
    if (store_tokens(result) != E_SUCCESS) return failed(E_CMD_FAILED, "Failed to save cloud token");
    Logger::Log(INFO, "Refresh cloud token successfully");
    return E_SUCCESS;
}

int read_token(std::string& token) {
    std::string stored;
    if (corvane::read_setting(corvane::kVellumToken, stored) != 0)
        return failed(E_CMD_FAILED, "Failed to get vellum_token");
    if (stored.empty()) return failed(E_CMD_FAILED, "vellum_token is empty");
    token = std::move(stored);
    return E_SUCCESS;
}

// The token that is stored by the time of this caller's turn, renewed unless it is good by now.
int renewed_token(const Renewal::Arrival& arrival, std::string& token) {
    Renewal::Turn turn(arrival);
    if (const int result = read_token(token); result != E_SUCCESS) return result;
    if (is_cloud_token_valid(token, time(nullptr))) return E_SUCCESS;
    Logger::Log(DEBUG, "vellum_token is expired, need to be refreshed");
    const std::optional<int> awaited = turn.awaited(kOneToken);
    const int renewed = awaited ? *awaited : turn.note(kOneToken, refresh());
    if (renewed != E_SUCCESS) return failed(E_CMD_FAILED, "Failed to refresh vellum_token");
    // Not judged again: a NAS whose clock is ahead would never get a token.
    return read_token(token);
}

// When the token ends, in seconds since the epoch; 0 when it does not say so.
int64_t expiry_of(const std::string& token) {
    return system::leading_int64(token.substr(token.rfind('.') + 1));
}

}  // namespace

bool is_cloud_token_valid(const std::string& token, int64_t now_s) {
    return expiry_of(token) > now_s;
}

int save_vellumtoken(const std::string& oauth_response_encoded) {
    Renewal::Turn turn{Renewal::Arrival(token_renewal())};
    // How an earlier renewal went says nothing about the tokens of a new sign-in.
    return turn.note(kSignIn, store_tokens(oauth_response_encoded));
}

int auth_connector_refresh_token() {
    Renewal::Turn turn{Renewal::Arrival(token_renewal())};
    return turn.note(kOneToken, refresh());
}

int Get_cloudtoken(std::string& token) {
    const Renewal::Arrival arrival(token_renewal());
    std::string stored;
    int result = read_token(stored);
    // A good token waits for no cloud.
    if (result == E_SUCCESS && !is_cloud_token_valid(stored, time(nullptr))) result = renewed_token(arrival, stored);
    if (result != E_SUCCESS) return result;
    token = std::move(stored);
    return E_SUCCESS;
}

int Save_cloudtoken(bs_io* io) {
    Logger::Log(DEBUG, "Entering Save_cloudtoken");
    const std::string_view bytes = request_bytes(io);
    if (bytes.empty()) return refuse(io, E_CMD_FAILED, "Failed to read oauth response encoded");
    const JsonOwner request = load_json(bytes);
    if (!request) return refuse(io, E_JSON_FAIL, "Failed to parse JSON for oauth_response_encoded");
    const char* encoded = json_string_value(json_object_get(request.get(), "oauth_response_encoded"));
    if (encoded == nullptr) return refuse(io, E_JSON_FAIL, "Missing or invalid oauth_response_encoded");
    Logger::Log(INFO, "oauth_response_encoded: %s", encoded);
    if (save_vellumtoken(encoded) != E_SUCCESS)
        return send_error_response(io, E_CMD_FAILED, "Failed to save cloud token");
    return send_success_response(io, json_string(""));
}

int Get_cloudtoken(bs_io* io) {
    Logger::Log(DEBUG, "Entering Get_cloudtoken");
    std::string token;
    if (Get_cloudtoken(token) != E_SUCCESS) return send_error_response(io, E_CMD_FAILED, "Failed to get cloud token");
    return send_success_response(io, json_stringn(token.data(), token.size()));
}

int Refresh_cloudtoken(bs_io* io) {
    Logger::Log(DEBUG, "Entering Refresh_cloudtoken");
    if (auth_connector_refresh_token() != E_SUCCESS) {
        return send_error_response(io, E_CMD_FAILED, "Failed to refresh cloud token");
    }
    return send_success_response(io, json_string(""));
}

}  // namespace harbex::service

#include "cloud/certificates.h"

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

namespace appliance {
namespace {

constexpr long kDay_s = 24L * 3600;

struct KeyRelease {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyRelease>;
struct X509Release {
    void operator()(X509* certificate) const { X509_free(certificate); }
};
using X509Owner = std::unique_ptr<X509, X509Release>;

struct Wish {
    std::string name;
    std::string alternatives;  // in the notation of subjectAltName; empty for an authority
    long from_s;               // validity, from now
    long until_s;
};

bool add_extension(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    if (extension == nullptr) return false;
    const bool added = X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    return added;
}

// A certificate for `key`; signed by itself when `issuer` is null.
X509Owner sign(const Wish& wish, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuer_key) {
    X509Owner certificate(X509_new());
    X509* made = certificate.get();
    if (made == nullptr) return nullptr;
    X509* signer = issuer == nullptr ? made : issuer;
    unsigned char serial[8];
    if (RAND_bytes(serial, sizeof(serial)) != 1) return nullptr;
    uint64_t number = 0;
    for (const unsigned char byte : serial)
        number = (number << 8) | byte;
    X509_NAME* subject = X509_get_subject_name(made);
    const auto* name = reinterpret_cast<const unsigned char*>(wish.name.c_str());
    bool done = X509_set_version(made, X509_VERSION_3) == 1 &&
                ASN1_INTEGER_set_uint64(X509_get_serialNumber(made), number >> 1) == 1 &&
                X509_gmtime_adj(X509_getm_notBefore(made), wish.from_s) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(made), wish.until_s) != nullptr &&
                X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, name, -1, -1, 0) == 1 &&
                X509_set_issuer_name(made, X509_get_subject_name(signer)) == 1 && X509_set_pubkey(made, key) == 1 &&
                add_extension(made, signer, NID_subject_key_identifier, "hash");
    if (wish.alternatives.empty()) {
        done = done && add_extension(made, signer, NID_basic_constraints, "critical,CA:TRUE") &&
               add_extension(made, signer, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        done = done && add_extension(made, signer, NID_subject_alt_name, wish.alternatives) &&
               add_extension(made, signer, NID_authority_key_identifier, "keyid");
    }
    if (!done || X509_sign(made, issuer_key, EVP_sha256()) == 0) return nullptr;
    return certificate;
}

std::string pem(X509* certificate) {
    BIO* memory = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(memory, certificate);
    char* bytes = nullptr;
    const long length = BIO_get_mem_data(memory, &bytes);
    std::string text(bytes, static_cast<size_t>(length));
    BIO_free(memory);
    return text;
}

SSL_CTX* server_context(X509* certificate, EVP_PKEY* key) {
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    if (context == nullptr) return nullptr;
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    // No session outlives its connection: every request shows a whole handshake.
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context, 0);
    if (SSL_CTX_use_certificate(context, certificate) == 1 && SSL_CTX_use_PrivateKey(context, key) == 1)
        return context;
    SSL_CTX_free(context);
    return nullptr;
}

}  // namespace

bool Certificates::make(const std::vector<std::string>& hosts) {
    std::string alternatives;
    for (const std::string& host : hosts)
        alternatives += (alternatives.empty() ? "DNS:" : ",DNS:") + host;
    if (alternatives.empty()) return false;

    const Key authority_key(EVP_EC_gen("P-256"));
    const Key key(EVP_EC_gen("P-256"));
    if (!authority_key || !key) return false;
    const X509Owner authority = sign({"Harbex Appliance Authority", "", -kDay_s, 365 * kDay_s}, authority_key.get(),
                                     nullptr, authority_key.get());
    if (!authority) return false;
    authority_ = pem(authority.get());

    const Wish wishes[] = {
        {"Harbex Appliance Cloud", alternatives, -kDay_s, 90 * kDay_s},
        {"Harbex Appliance Cloud", alternatives, -3 * kDay_s, -2 * kDay_s},
        {"Another Cloud", "DNS:another-name.example", -kDay_s, 90 * kDay_s},
    };
    for (size_t index = 0; index < std::size(wishes); ++index) {
        const X509Owner certificate = sign(wishes[index], key.get(), authority.get(), authority_key.get());
        if (!certificate) return false;
        contexts_[index].reset(server_context(certificate.get(), key.get()));
        if (!contexts_[index]) return false;
    }
    return true;
}

}  // namespace appliance

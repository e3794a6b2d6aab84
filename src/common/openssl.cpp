#include "common/openssl.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>

#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "common/releaser.h"

namespace harbex::openssl {
namespace {

using system::Releaser;
using BioChain = std::unique_ptr<BIO, Releaser<BIO_free_all>>;

// What fails here must not stand in this thread's error queue when a TLS transfer looks into it.
class ErrorQueueMark {
public:
    ErrorQueueMark() { ERR_set_mark(); }
    ~ErrorQueueMark() { ERR_pop_to_mark(); }
    ErrorQueueMark(const ErrorQueueMark&) = delete;
    void operator=(const ErrorQueueMark&) = delete;
};

// libcrypto's own answer to an encrypted PEM text is a question on the terminal.
int refuse_pass_phrase(char*, int, int, void*) {
    return -1;
}

BioChain memory_bio_of(const std::string& text) {
    BioChain bio(BIO_new(BIO_s_mem()));
    if (!bio || text.size() > INT_MAX || BIO_write(bio.get(), text.data(), static_cast<int>(text.size())) <= 0)
        return {};
    return bio;
}

// A Base64 filter without line breaks in front of `end`, which it takes over.
BioChain base64_filter_on(BioChain end) {
    BioChain filter(BIO_new(BIO_f_base64()));
    if (!filter || !end) return {};
    BIO_set_flags(filter.get(), BIO_FLAGS_BASE64_NO_NL);
    BIO_push(filter.get(), end.release());
    return filter;
}

bool write_to_output(const system::ChildProgram& program) {
    return ::dup2(program.output, STDOUT_FILENO) >= 0;
}

// Starts "openssl version" with its standard output on `output`. -1 when it cannot be started.
pid_t start_version_tool(int output) {
    char path[] = "/usr/bin/openssl";
    char argument[] = "version";
    char* const argv[] = {path, argument, nullptr};
    return system::start_program({argv, write_to_output, output});
}

}  // namespace

int is_crl(const std::string& text) {
    const ErrorQueueMark mark;
    const BioChain bio = memory_bio_of(text);
    if (!bio) return 0;
    const std::unique_ptr<X509_CRL, Releaser<X509_CRL_free>> crl(
        PEM_read_bio_X509_CRL(bio.get(), nullptr, refuse_pass_phrase, nullptr));
    return crl ? 1 : 0;
}

int is_cert(const std::string& text) {
    OPENSSL_init_crypto(
        OPENSSL_INIT_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr);
    const ErrorQueueMark mark;
    const BioChain bio = memory_bio_of(text);
    if (!bio) return 0;
    const std::unique_ptr<X509, Releaser<X509_free>> certificate(
        PEM_read_bio_X509(bio.get(), nullptr, refuse_pass_phrase, nullptr));
    if (!certificate) return 0;
    const std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>> key(X509_get_pubkey(certificate.get()));
    return key ? 1 : 0;
}

int version_num() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    std::optional<system::FileDescriptor> reader(ends[0]);
    std::optional<system::FileDescriptor> writer(ends[1]);
    const pid_t child = start_version_tool(writer->get());
    writer.reset();
    if (child < 0) return -1;

    char text[128] = "";
    ssize_t count = 0;
    do {
        count = read(reader->get(), text, sizeof text - 1);
    } while (count < 0 && errno == EINTR);
    reader.reset();   // before the wait: a tool with more to say must not block on it
    int ignored = 0;  // the words count
    (void)system::wait_for_child(child, ignored);

    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 0;
    // The number is what this very scan makes of the tool's words.
    if (sscanf(text, "%*s %u.%u.%u", &major, &minor, &patch) != 3) return -1;  // NOLINT(cert-err34-c)
    // The odd weight of the patch level is what callers compare with.
    const uint64_t number = uint64_t{major} * 10'000'000 + uint64_t{minor} * 10'000 + uint64_t{patch} * 1'000;
    return number <= INT_MAX ? static_cast<int>(number) : -1;
}

std::string sha1(const std::string& data) try {
    static constexpr char kDigits[] = "0123456789abcdef";
    unsigned char digest[SHA_DIGEST_LENGTH] = {};
    SHA1(reinterpret_cast<const unsigned char*>(data.data()), data.size(), digest);
    std::string text;
    for (const unsigned char byte : digest) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
} catch (...) {  // no memory
    return {};
}

std::string base64_encode(const std::string& data) try {
    const ErrorQueueMark mark;
    const BioChain chain = base64_filter_on(BioChain(BIO_new(BIO_s_mem())));
    if (!chain || data.size() > INT_MAX) return {};
    BIO_write(chain.get(), data.data(), static_cast<int>(data.size()));
    (void)BIO_flush(chain.get());
    BUF_MEM* memory = nullptr;
    BIO_get_mem_ptr(chain.get(), &memory);
    return memory != nullptr ? std::string(memory->data, memory->length) : std::string();
} catch (...) {  // no memory
    return {};
}

std::string base64_decode(const std::string& text) try {
    const ErrorQueueMark mark;
    if (text.empty() || text.size() > INT_MAX) return {};
    const int size = static_cast<int>(text.size());
    const BioChain chain = base64_filter_on(BioChain(BIO_new_mem_buf(text.data(), size)));
    if (!chain) return {};
    std::string data(text.size(), '\0');
    const int count = BIO_read(chain.get(), data.data(), size);
    data.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return data;
} catch (...) {  // no memory
    return {};
}

}  // namespace harbex::openssl

#include "common/trusted_roots.h"

#include <sys/stat.h>

#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include <curl/curl.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace harbex::system {
namespace {

// What tells one state of a file or folder from the next.
struct State {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec changed = {};

    bool operator==(const State& other) const {
        return device == other.device && inode == other.inode && size == other.size &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

std::optional<State> state_of(const char* path) {
    struct stat file = {};
    if (path == nullptr || ::stat(path, &file) != 0) return std::nullopt;
    return State{file.st_dev, file.st_ino, file.st_size, file.st_ctim};
}

// Where libcurl would read. Null where it says nothing or its TLS contexts are none of this program's.
struct Places {
    const char* bundle;
    const char* folder;  // may be null
};
std::optional<Places> places_of_libcurl() {
    const curl_version_info_data* const info = curl_version_info(CURLVERSION_NOW);
    const std::string ours = std::string("OpenSSL/") + OpenSSL_version(OPENSSL_VERSION_STRING);
    if (info->age < CURLVERSION_SEVENTH || info->ssl_version == nullptr || ours != info->ssl_version ||
        info->cainfo == nullptr) {
        return std::nullopt;
    }
    return Places{info->cainfo, info->capath};
}

// What OpenSSL works out of a certificate at its first use, for each of them and now: later uses only read, on
// whichever thread. A certificate that lacks memory here would be refused for as long as the store lives: false.
bool work_out(const X509_STORE& roots) {
    const STACK_OF(X509_OBJECT)* const objects = X509_STORE_get0_objects(&roots);
    for (int number = 0; number < sk_X509_OBJECT_num(objects); ++number) {
        X509* const certificate = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(objects, number));
        if (certificate != nullptr && X509_check_purpose(certificate, -1, 0) != 1) return false;
    }
    return true;
}

// As libcurl does it: a certificate in the bundle is trusted, whether it signed itself or not.
TrustedRoots parse(const Places& places) {
    ERR_set_mark();  // what fails here must not stand in this thread's error queue when a transfer looks into it
    TrustedRoots roots(X509_STORE_new());
    const bool read = roots && X509_STORE_load_file(roots.get(), places.bundle) == 1 &&
                      (places.folder == nullptr || X509_STORE_load_path(roots.get(), places.folder) == 1) &&
                      X509_STORE_set_flags(roots.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN) == 1 &&
                      work_out(*roots);
    ERR_pop_to_mark();
    if (!read) roots.reset();
    return roots;
}

// The store of this process. Never destroyed: threads may still send while it ends.
class Shared {
public:
    TrustedRoots get(const Places& places) {
        const std::lock_guard lock(mutex_);
        // Looked at before it is read: a change in between is seen the next time.
        const std::optional<State> bundle = state_of(places.bundle);
        const std::optional<State> folder = state_of(places.folder);
        if (!bundle) return nullptr;
        if (bundle != bundle_ || folder != folder_) {
            roots_ = parse(places);
            bundle_ = bundle;
            folder_ = folder;
        }
        if (!roots_ || X509_STORE_up_ref(roots_.get()) != 1) return nullptr;
        return TrustedRoots(roots_.get());
    }

private:
    std::mutex mutex_;
    std::optional<State> bundle_;  // guarded by mutex_, like those below: of `roots_`
    std::optional<State> folder_;
    TrustedRoots roots_;  // null: they cannot be read
};

Shared& shared() {
    static Shared& instance = *new Shared;
    return instance;
}

CURLcode put_in_place(CURL*, void* context, void* roots) {
    SSL_CTX_set1_cert_store(static_cast<SSL_CTX*>(context), static_cast<X509_STORE*>(roots));
    return CURLE_OK;
}

}  // namespace

TrustedRoots use_trusted_roots(void* handle) try {
    const std::optional<Places> places = places_of_libcurl();
    if (!places) return nullptr;
    TrustedRoots roots = shared().get(*places);
    if (!roots || curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, put_in_place) != CURLE_OK) return nullptr;
    curl_easy_setopt(handle, CURLOPT_SSL_CTX_DATA, roots.get());
    // Or libcurl would read it all the same, before the callback. These two cannot fail.
    curl_easy_setopt(handle, CURLOPT_CAINFO, nullptr);
    curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
    return roots;
} catch (...) {  // no memory: as without
    return nullptr;
}

}  // namespace harbex::system

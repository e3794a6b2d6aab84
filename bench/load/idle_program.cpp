// What the daemon's libraries cost a program that does nothing: linked and set up as there. Waits to be ended.
#include <curl/curl.h>
#include <jansson.h>
#include <openssl/crypto.h>
#include <unistd.h>

int main() {
    (void)OPENSSL_init_crypto(0, nullptr);
    (void)curl_global_init(CURL_GLOBAL_DEFAULT);
    json_decref(json_object());
    close(STDOUT_FILENO);  // tells that it is ready
    pause();
}

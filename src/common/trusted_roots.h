// The trusted roots, parsed once a process rather than once a request: reading the distribution's bundle takes many
// times as long as the request. The library's own.
#pragma once

#include <memory>

#include <openssl/x509_vfy.h>

#include "common/releaser.h"

namespace harbex::system {

// One reference to a parsed store, which any thread may use.
using TrustedRoots = std::unique_ptr<X509_STORE, Releaser<X509_STORE_free>>;

// Makes the transfer of `handle` (a libcurl easy handle that checks certificates against libcurl's own bundle) use
// the parsed roots. They are read at the first call and again at the first after a change of the bundle. The result
// must live until the transfer has ended. Null, with `handle` untouched: libcurl reads the bundle itself, and reports
// what is wrong with it. That is so where the bundle is missing, or broken (one malformed certificate in it
// suffices), or could not be read for want of memory, until it changes; and where libcurl has another TLS library
// than this program.
[[nodiscard]] TrustedRoots use_trusted_roots(void* handle);

}  // namespace harbex::system

// JSON documents from outside: requests of the bus and answers of the cloud. The daemon's own.
#pragma once

#include <bsvc.h>

#include <string_view>

#include "common/json_owner.h"

namespace harbex::service {

// The request's bytes, valid until the stream is written to; empty when there are none.
std::string_view request_bytes(bs_io* io);

// Null, with "WORDS: <the parser's text>" logged at ERROR, when `text` is no JSON object or array.
JsonOwner parse_document(std::string_view text, const char* words);

}  // namespace harbex::service

#include "service/json_input.h"

#include "service/logger.h"

namespace harbex::service {

std::string_view request_bytes(bs_io* io) {
    size_t length = 0;
    const char* bytes = bs_io_read(io, &length);
    return bytes == nullptr ? std::string_view() : std::string_view(bytes, length);
}

JsonOwner parse_document(std::string_view text, const char* words) {
    return parse_json(text, [words](const char* why) { Logger::Log(ERROR, "%s: %s", words, why); });
}

}  // namespace harbex::service

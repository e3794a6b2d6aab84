// JSON values of the stand-ins: their owner, and texts from bytes of any kind.
#pragma once

#include <jansson.h>

#include <memory>
#include <string>

namespace nas {

struct JsonRelease {
    void operator()(json_t* value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

// A JSON string of `text`; when its bytes are no UTF-8 (a text cut in the middle of a character, an interface's name,
// for which the kernel takes anything), those above 127 become '?'. Null when memory is short.
Json json_text(const std::string& text);

}  // namespace nas

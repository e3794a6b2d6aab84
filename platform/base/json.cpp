#include "base/json.h"

#include <algorithm>

namespace nas {

Json json_text(const std::string& text) {
    if (json_t* value = json_stringn(text.data(), text.size())) return Json(value);
    std::string ascii = text;
    std::replace_if(
        ascii.begin(), ascii.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
    return Json(json_stringn(ascii.data(), ascii.size()));
}

}  // namespace nas

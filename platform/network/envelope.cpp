#include "envelope.h"

namespace network {

Json json_text(const std::string& text) {
    if (json_t* value = json_stringn(text.data(), text.size())) return Json(value);
    std::string ascii = text;
    for (char& c : ascii)
        if (static_cast<unsigned char>(c) >= 0x80) c = '?';
    return Json(json_stringn(ascii.data(), ascii.size()));
}

Json success(Json data) {
    return Json(json_pack("{s:i, s:o}", "error", 0, "data", data.release()));
}

Json failure(int error, const std::string& why) {
    return Json(json_pack("{s:i, s:o, s:o}", "error", error, "data", json_text(why).release(), "error_message",
                          json_text(why).release()));
}

}  // namespace network

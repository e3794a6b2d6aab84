#include "envelope.h"

namespace network {

Json success(Json data) {
    return Json(json_pack("{s:i, s:o}", "error", 0, "data", data.release()));
}

Json failure(int error, const std::string& why) {
    return Json(json_pack("{s:i, s:o, s:o}", "error", error, "data", json_text(why).release(), "error_message",
                          json_text(why).release()));
}

}  // namespace network

#include "report.h"

#include <jansson.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "common/error_code.h"
#include "common/http.h"
#include "common/json_owner.h"

namespace harbex::tools {
namespace {

struct Words {
    int code;
    const char* text;
};

// What the commands can end with.
constexpr Words kWords[] = {
    {NO_ERROR, "done"},
    {ERR_GENERAL, "something unforeseen happened"},
    {ERR_NO_TYPE, "the setting cannot be stored"},
    {ERR_UNKNOWN_OPTION, "the value is refused"},
    {ERR_MISS_OPTION, "no organisation is chosen"},
    {ERR_REGULAR_FILE, "the file cannot be read"},
    {ERR_SAVE_FILE, "a file cannot be written"},
    {ERR_SAVE_CONFIG, "the serial number cannot be stored"},
    {ERR_ACCESS, "this NAS is joined to another organisation; leave that first"},
    {ERR_BS_IO_FAILED, "a service gave no answer"},
    {ERR_BS_CALL_FAILED, "a service cannot be called"},
    {ERR_BS_API_RET_ERROR, "a service answered a failure; the trace log tells which"},
    {ERR_WRONG_JSON_FORMAT, "an answer or record has an unexpected shape"},
    {ERR_WRONG_VIRTUAL_IP, "the address clashes with a network of this NAS"},
    {ERR_CURL_FAIL, "a cloud request failed"},
    {ERR_CMD_FAILED, "a setting, command or service failed; the trace log tells which"},
    {ERR_EASYCURL_FAIL, "a cloud request cannot be made"},
    {ERR_CORVANE_GETCLOUDTOKEN, "there is no cloud account token; sign in first"},
    {ERR_CORVANE_GETCORVANETOKEN, "there is no SD-WAN token"},
    {ERR_CORVANE_CLOUDAGENT_SCRIPT, "the cloud agent's script failed"},
    {ERR_CORVANE_CORVANE_EXPRESS_SCRIPT, "the edge daemon's script failed"},
    {ERR_CORVANE_GETDEVICE_TOKEN, "the cloud agent has no device token"},
    {ERR_CORVANE_GETDEVICE_ID, "this NAS has no device id; it is not joined"},
    {ERR_CORVANEAPI_EDGE, "the edge log-in failed"},
    {ERR_CORVANEAPI_DEVICES, "the device's record or configuration cannot be had"},
    {ERR_CORVANEAPI_VPN_GROUPS, "the regions cannot be had"},
    {ERR_HTTP_ERROR, "the cloud refused the request"},
    {ERR_CURL_DNS_RESOLVE, "a cloud host's name cannot be resolved"},
    {ERR_CURL_TIMEOUT, "the cloud does not answer"},
};

JsonOwner parse(const std::string& text) {
    return JsonOwner(json_loadb(text.data(), text.size(), JSON_DECODE_ANY, nullptr));
}

// The document as `print` writes it: real JSON, but for bytes that are no UTF-8; those become '?'.
std::string printed(JsonValue& data) {
    char* bytes = nullptr;
    size_t length = 0;
    FILE* stream = open_memstream(&bytes, &length);
    if (stream == nullptr) throw std::bad_alloc();
    data.print(stream);
    fclose(stream);
    std::string text(bytes, length);
    std::free(bytes);
    if (!parse(text)) {
        std::replace_if(
            text.begin(), text.end(), [](unsigned char byte) { return byte >= 0x80; }, '?');
    }
    return text;
}

// What the cloud sent must not steer the terminal: no C0 control, no DEL, no C1 control (0xC2 and 0x80 to 0x9F).
std::string without_controls(std::string text) {
    unsigned char before = 0;
    for (char& letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < 0x20 || byte == 0x7f) letter = '?';
        if (before == 0xc2 && byte < 0xa0) *(&letter - 1) = letter = '?';
        before = byte;
    }
    return text;
}

std::string scalar_text(const json_t* value) {
    if (json_is_string(value)) return without_controls(json_string_value(value));
    if (json_is_boolean(value)) return json_is_true(value) ? "yes" : "no";
    if (json_is_null(value)) return "-";
    return json_dump_text(value, JSON_ENCODE_ANY | JSON_COMPACT);
}

void print_for_people(const json_t* value, int depth);

void print_member(const char* key, const json_t* value, int depth) {
    const std::string name = without_controls(key);
    if (json_is_object(value) || json_is_array(value)) {
        const bool is_empty = json_object_size(value) + json_array_size(value) == 0;
        std::printf("%*s%s:%s\n", depth * 2, "", name.c_str(), is_empty ? " none" : "");
        print_for_people(value, depth + 1);
    } else {
        std::printf("%*s%s: %s\n", depth * 2, "", name.c_str(), scalar_text(value).c_str());
    }
}

void print_for_people(const json_t* value, int depth) {
    const char* name = nullptr;
    json_t* member = nullptr;
    if (json_is_object(value)) {
        // jansson's iteration takes no const; nothing is changed.
        json_object_foreach(const_cast<json_t*>(value), name, member) print_member(name, member, depth);
    } else if (json_is_array(value)) {
        size_t index = 0;
        json_array_foreach(value, index, member) {
            if (json_is_object(member) || json_is_array(member)) {
                std::printf("%*s-\n", depth * 2, "");
                print_for_people(member, depth + 1);
            } else {
                std::printf("%*s- %s\n", depth * 2, "", scalar_text(member).c_str());
            }
        }
    } else {
        std::printf("%*s%s\n", depth * 2, "", scalar_text(value).c_str());
    }
}

}  // namespace

const char* result_words(const Outcome& outcome) {
    if (outcome.whose == CodeOf::kTransfer) return system::transfer_result_text(outcome.code);
    const auto* found = std::find_if(std::begin(kWords), std::end(kWords),
                                     [&](const Words& words) { return words.code == outcome.code; });
    return found == std::end(kWords) ? "a transfer or tool failed with that code" : found->text;
}

bool show(Output output, const std::string& command, const Outcome& outcome, JsonValue& data) {
    const int code = outcome.code;
    const char* const words = result_words(outcome);
    const bool has_data = data.type != JsonValue::NULL_TYPE;
    const std::string document = printed(data);
    if (output == Output::kJson) {
        std::printf("{\"command\":\"%s\",\"code\":%d,\"message\":\"%s\",\"data\":%s}\n", escape_json(command).c_str(),
                    code, escape_json(words).c_str(), document.c_str());
    } else if (has_data) {
        print_for_people(parse(document).get(), 0);
    } else if (code == NO_ERROR) {
        std::printf("%s\n", words);
    }
    const bool is_shown = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!is_shown) std::fprintf(stderr, "harbexctl: the outcome cannot be written: %s\n", strerror(errno));
    if (output == Output::kPeople && code != NO_ERROR) {
        std::fprintf(stderr, "harbexctl %s: failed with code %d: %s\n", command.c_str(), code, words);
    }
    return is_shown;
}

}  // namespace harbex::tools

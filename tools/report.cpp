#include "report.h"

#include <jansson.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "common/error_code.h"
#include "common/json_owner.h"

namespace harbex::tools {
namespace {

struct Words {
    int code;
    const char* text;
};

// What the commands can end with; a transfer's own code passes through below them.
constexpr Words kWords[] = {
    {NO_ERROR, "done"},
    {ERR_GENERAL, "something unforeseen happened"},
    {ERR_NO_TYPE, "the setting cannot be stored"},
    {ERR_UNKNOWN_OPTION, "the value is refused"},
    {ERR_REGULAR_FILE, "the file cannot be read"},
    {ERR_SAVE_FILE, "a file cannot be written"},
    {ERR_SAVE_CONFIG, "the serial number cannot be stored"},
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

// The document as jansson sees it: what print writes is real JSON.
JsonOwner parse(JsonValue& data) {
    char* text = nullptr;
    size_t length = 0;
    FILE* stream = open_memstream(&text, &length);
    if (stream == nullptr) return {};
    data.print(stream);
    fclose(stream);
    JsonOwner document(json_loadb(text, length, JSON_DECODE_ANY, nullptr));
    std::free(text);
    return document;
}

// What the cloud sent must not steer the terminal.
std::string without_controls(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; }, '?');
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

const char* result_words(int code) {
    const auto* found =
        std::find_if(std::begin(kWords), std::end(kWords), [code](const Words& words) { return words.code == code; });
    return found == std::end(kWords) ? "a transfer or tool failed with that code" : found->text;
}

void show(Output output, const std::string& command, int code, JsonValue& data) {
    const bool has_data = data.type != JsonValue::NULL_TYPE;
    if (output == Output::kJson) {
        std::printf("{\"command\":\"%s\",\"code\":%d,\"message\":\"%s\",\"data\":", escape_json(command).c_str(),
                    code, escape_json(result_words(code)).c_str());
        data.print(stdout);
        std::printf("}\n");
        return;
    }
    if (has_data) {
        if (const JsonOwner document = parse(data)) print_for_people(document.get(), 0);
    }
    if (code != NO_ERROR) {
        std::fflush(stdout);
        std::fprintf(stderr, "harbexctl %s: failed with code %d: %s\n", command.c_str(), code, result_words(code));
    } else if (!has_data) {
        std::printf("%s\n", result_words(code));
    }
}

}  // namespace harbex::tools

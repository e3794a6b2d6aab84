#include "result_words.h"

#include <algorithm>
#include <iterator>

#include "common/error_code.h"
#include "common/http.h"

namespace harbex::tools {
namespace {

enum class Concerns { kThisNas, kOthers };

struct Words {
    int code;
    const char* text;
    Ending ending;
    Concerns concerns = Concerns::kThisNas;
};

// What the commands can end with.
constexpr Words kWords[] = {
    {NO_ERROR, "done", Ending::kDone},
    {ERR_GENERAL, "something is not as it should be", Ending::kInternal},
    {ERR_NO_TYPE, "the setting cannot be stored", Ending::kLocalFile},
    {ERR_UNKNOWN_OPTION, "the value is refused", Ending::kFailed},
    {ERR_VALUE, "the value is refused", Ending::kFailed},
    {ERR_REGULAR_FILE, "the file cannot be read", Ending::kLocalFile},
    {ERR_SAVE_FILE, "a file cannot be written", Ending::kLocalFile},
    {ERR_SAVE_CONFIG, "the serial number cannot be stored", Ending::kLocalFile},
    {ERR_MISS_OPTION, "no organisation is chosen", Ending::kNothingChosen},
    {ERR_ACCESS, "this NAS is joined to another organisation; leave that first", Ending::kFailed},
    {ERR_BS_IO_FAILED, "a service gave no answer", Ending::kServiceDown, Concerns::kOthers},
    {ERR_BS_CALL_FAILED, "a service cannot be called", Ending::kServiceDown, Concerns::kOthers},
    {ERR_BS_API_RET_ERROR, "a service answered a failure; the trace log tells which", Ending::kFailed,
     Concerns::kOthers},
    {ERR_WRONG_JSON_FORMAT, "an answer or record has an unexpected shape", Ending::kFailed, Concerns::kOthers},
    {ERR_WRONG_VIRTUAL_IP, "the address clashes with a network of this NAS", Ending::kFailed},
    {ERR_CURL_FAIL, "a cloud request failed", Ending::kCloud, Concerns::kOthers},
    {ERR_CMD_FAILED, "a setting, command or service failed; the trace log tells which", Ending::kLocalFile,
     Concerns::kOthers},
    {ERR_EASYCURL_FAIL, "a cloud request cannot be made", Ending::kInternal},
    {ERR_CORVANE_GETCLOUDTOKEN, "there is no cloud account token", Ending::kNotSignedIn, Concerns::kOthers},
    {ERR_CORVANE_GETCORVANETOKEN, "there is no SD-WAN token", Ending::kNotSignedIn, Concerns::kOthers},
    {ERR_CORVANE_CLOUDAGENT_SCRIPT, "the cloud agent's script failed", Ending::kFailed},
    {ERR_CORVANE_CORVANE_EXPRESS_SCRIPT, "the edge daemon's script failed", Ending::kFailed},
    {ERR_CORVANE_GETDEVICE_TOKEN, "the cloud agent has no device token", Ending::kLocalFile},
    {ERR_CORVANE_GETDEVICE_ID, "this NAS has no device id; it is not joined", Ending::kNothingChosen},
    {ERR_CORVANEAPI_EDGE, "the edge log-in failed", Ending::kCloud, Concerns::kOthers},
    {ERR_CORVANEAPI_DEVICES, "the device's record or configuration cannot be had", Ending::kCloud, Concerns::kOthers},
    {ERR_CORVANEAPI_VPN_GROUPS, "the regions cannot be had", Ending::kCloud, Concerns::kOthers},
    {ERR_HTTP_ERROR, "the cloud refused the request", Ending::kCloud, Concerns::kOthers},
    {ERR_CURL_DNS_RESOLVE, "a cloud host's name cannot be resolved", Ending::kCloud, Concerns::kOthers},
    {ERR_CURL_TIMEOUT, "the cloud does not answer", Ending::kTimeOut, Concerns::kOthers},
};
constexpr Words kTransferOrTool = {0, "a transfer or tool failed with that code", Ending::kCloud, Concerns::kOthers};

const Words& words_of(const Outcome& outcome) {
    if (outcome.whose == CodeOf::kTransfer) return kTransferOrTool;
    const auto* found = std::find_if(std::begin(kWords), std::end(kWords),
                                     [&](const Words& words) { return words.code == outcome.code; });
    return found == std::end(kWords) ? kTransferOrTool : *found;
}

}  // namespace

const char* result_words(const Outcome& outcome) {
    if (outcome.whose == CodeOf::kTransfer) return system::transfer_result_text(outcome.code);
    return words_of(outcome).text;
}

Ending ending_of(const Outcome& outcome) {
    return words_of(outcome).ending;
}

bool concerns_others(const Outcome& outcome) {
    return words_of(outcome).concerns == Concerns::kOthers;
}

}  // namespace harbex::tools

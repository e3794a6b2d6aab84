#include "report.h"

#include <fmt/core.h>
#include <jansson.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/error_code.h"
#include "common/json_owner.h"
#include "common/trace_log.h"
#include "result_words.h"
#include "text_table.h"

namespace harbex::tools {
namespace {

constexpr const char* kHelpTells = "harbexctl --help tells what can be done.";

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

void write_out(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

Ending finish(Ending ending) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return ending;
    complain(std::string("the outcome cannot be written: ") + strerror(errno));
    return Ending::kFailed;
}

void add_list(JsonValue& cause, const char* member, const std::vector<std::string>& steps) {
    JsonValue& list = cause[member];
    list << "";
    list.erase();
    for (const std::string& step : steps)
        list << step;
}

void fill_cause(JsonValue& out, const Cause& cause) {
    const EndingRow& row = row_of(cause.ending);
    out["word"] = row.word;
    out["exit_status"] = row.status;
    out["sentence"] = cause.sentence;
    out["remedy"] = cause.remedy;
    out["repeatable"] = cause.is_repeatable;
    out["log"] = __log_file__;
    add_list(out, "done", cause.done);
    add_list(out, "undone", cause.undone);
}

void write_document(const std::string& command, const Outcome& outcome, const char* words, Call& call) {
    std::string text = fmt::format(R"({{"command":"{}","code":{},"message":"{}","data":{})", escape_json(command),
                                   outcome.code, escape_json(words), printed(call.data));
    if (call.schema_version != 0) text += fmt::format(R"(,"schema_version":{})", call.schema_version);
    if (outcome.cause.ending != Ending::kDone) {
        JsonValue cause;
        fill_cause(cause, outcome.cause);
        text += ",\"cause\":" + printed(cause);
    }
    write_out(text + "}\n");
}

void explain(const std::string& command, const Outcome& outcome) {
    const Cause& cause = outcome.cause;
    const auto line = [](const char* head, const std::string& text) {
        if (!text.empty()) std::fprintf(stderr, "  %s: %s\n", head, without_controls(text).c_str());
    };
    std::fprintf(stderr, "harbexctl %s: %s\n", command.c_str(), without_controls(cause.sentence).c_str());
    for (const std::string& step : cause.done)
        line("done", step);
    for (const std::string& step : cause.undone)
        line("not done", step);
    line("what to do", cause.remedy);
    std::fprintf(stderr, "  code %d, %s, log %s\n", outcome.code,
                 cause.is_repeatable ? "safe to repeat" : "look at what was done before repeating it", __log_file__);
}

}  // namespace

void complain(const std::string& line) {
    std::fprintf(stderr, "harbexctl: %s\n", without_controls(line).c_str());
}

Ending show_text(bool is_json, const std::string& command, const std::string& text) {
    if (!is_json) {
        write_out(text);
        return finish(Ending::kDone);
    }
    Call call;
    call.data["text"] = text;
    write_document(command, NO_ERROR, "done", call);
    return finish(Ending::kDone);
}

Ending show_misuse(bool is_json, const std::string& complaint) {
    if (!is_json) {
        complain(complaint);
        std::fprintf(stderr, "%s\n", kHelpTells);
        return Ending::kUsage;
    }
    Call call;
    const Cause cause{.ending = Ending::kUsage, .sentence = complaint, .remedy = "harbexctl --help"};
    write_document("", {ERR_UNKNOWN_OPTION, cause}, "the command line is not understood", call);
    return finish(Ending::kUsage);
}

Ending show(const std::string& command, const Outcome& outcome, Call& call) {
    const bool is_done = outcome.cause.ending == Ending::kDone;
    if (call.is_json) {
        write_document(command, outcome, result_words(outcome), call);
    } else if (!call.text.empty()) {
        write_out(call.text);
    } else if (call.data.type != JsonValue::NULL_TYPE) {
        write_out(document_text(parse(printed(call.data)).get()));
    } else if (is_done) {
        write_out("done\n");
    }
    const Ending ending = finish(outcome.cause.ending);
    // A text that tells all by itself needs no second one.
    if (!call.is_json && !is_done && (outcome.code != NO_ERROR || call.text.empty())) explain(command, outcome);
    return ending;
}

}  // namespace harbex::tools

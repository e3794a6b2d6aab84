// What an operation makes of a bus peer's replies, as rows: one driver for every operation that asks a peer once.
#pragma once

#include <gtest/gtest.h>
#include <jansson.h>

#include <string>
#include <vector>

#include "common/json.h"
#include "support/scripted_service.h"
#include "support/trace_reader.h"

namespace harbex::test {

inline std::string print_text(JsonValue& document) {
    char* text = nullptr;
    size_t length = 0;
    FILE* stream = open_memstream(&text, &length);
    document.print(stream);
    fclose(stream);
    std::string found(text, length);
    free(text);
    return found;
}

// The result of an operation and its output, which holds something before.
template <typename Operation>
std::string on_text(Operation operation, std::string text = "before") {
    const int code = operation(text);
    return std::to_string(code) + " " + text;
}
template <typename Operation>
std::string on_document(Operation operation) {
    JsonValue document;
    document["kept"] = 1;
    const int code = operation(document);
    return std::to_string(code) + " " + print_text(document);
}

struct BusOperation {
    const char* method;
    const char* request;   // the bytes the peer gets
    std::string (*run)();  // runs it on outputs with known contents; result and outputs as one text
};

struct ReplyRow {
    const char* name;
    const char* reply;  // byte for byte; null: the peer hangs up
    std::string outcome;
    std::string errors;  // the ERROR lines left in the trace log, see lines_of
};

// The new lines of one level, or of all levels with their names, joined by line breaks.
inline std::string lines_of(TraceReader& log, const std::string& level = "") {
    const std::string head = level.empty() ? "" : level + " ";
    std::string found;
    for (const std::string& line : log.lines()) {
        if (line.rfind(head, 0) == 0) found += (found.empty() ? "" : "\n") + line.substr(head.size());
    }
    return found;
}

// The parser's own words for a text that is no JSON document.
inline std::string parser_text(const char* reply) {
    json_error_t error{};
    json_decref(json_loads(reply, 0, &error));
    return error.text;
}

template <int Slot>
void expect_replies(ScriptedService<Slot>& peer, const BusOperation& operation, const std::vector<ReplyRow>& rows) {
    TraceReader log;
    for (const ReplyRow& row : rows) {
        const std::string name = std::string(operation.method) + ": " + row.name;
        if (row.reply == nullptr) {
            peer.hang_up(operation.method);
        } else {
            peer.answer(operation.method, row.reply);
        }
        const size_t before = peer.calls().size();
        EXPECT_EQ(row.outcome, operation.run()) << name;
        EXPECT_EQ(row.errors, lines_of(log, "ERROR")) << name;
        const auto calls = peer.calls();
        ASSERT_EQ(before + 1, calls.size()) << name;
        EXPECT_EQ(operation.method, calls.back().method) << name;
        EXPECT_EQ(operation.request, calls.back().body) << name;
    }
}

}  // namespace harbex::test

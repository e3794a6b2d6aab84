#pragma once

#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/json.h"
#include "support/log_reader.h"
#include "support/scripted_service.h"

namespace harbex::test {

struct Row {
    std::string given;
    int code;
    std::string words;   // the outputs
    std::string errors;  // the ERROR lines in the log
};

struct Outcome {
    int code;
    std::string words;
    std::string text() const { return std::to_string(code) + " " + words; }
};

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

inline const std::string kKept = R"({"kept":1})";
template <typename Operation>
Outcome on_text(Operation operation, std::string text = "before") {
    const int code = operation(text);
    return {code, text};
}
template <typename Operation>
Outcome on_document(Operation operation) {
    JsonValue document;
    document["kept"] = 1;
    const int code = operation(document);
    return {code, print_text(document)};
}

// The parser's own words for a text that is no JSON document.
inline std::string parser_text(const std::string& text) {
    json_error_t error{};
    json_decref(json_loadb(text.data(), text.size(), 0, &error));
    return error.text;
}

struct BusOperation {
    const char* method;
    const char* request;  // the bytes the peer gets
    Outcome (*run)();     // on outputs with known contents
};

inline const std::string kHungUp = "(hung up)";

// One run a row; given is the peer's reply, byte for byte, or kHungUp.
template <int Slot>
void expect_replies(ScriptedService<Slot>& peer, const BusOperation& operation, const std::vector<Row>& rows) {
    LogReader log;
    for (const Row& row : rows) {
        const std::string name = std::string(operation.method) + ": " + row.given;
        row.given == kHungUp ? peer.hang_up(operation.method) : peer.answer(operation.method, row.given);
        const size_t before = peer.calls().size();
        EXPECT_EQ(operation.run().text(), (Outcome{row.code, row.words}.text())) << name;
        EXPECT_EQ(log.text("ERROR"), row.errors) << name;
        const auto calls = peer.calls();
        ASSERT_EQ(calls.size(), before + 1) << name;
        EXPECT_EQ(calls.back().method + calls.back().body, std::string(operation.method) + operation.request) << name;
    }
}

}  // namespace harbex::test

#include "text_table.h"

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "common/json_owner.h"
#include "time_text.h"

namespace harbex::tools {
namespace {

using Row = std::vector<std::string>;

struct Label {
    std::string_view member;
    const char* text;
    bool is_time = false;  // seconds since 1970
};
// What a member's name does not say by itself.
constexpr Label kLabels[] = {
    {"ncsi", "Internet reached"},
    {"bid_exist", "Account identity"},
    {"l2tp_status", "L2TP server"},
    {"is_default", "Default"},
    {"remaining_usage", "Bytes left"},
    {"total_usage", "Bytes in all"},
    {"feature_intro", "Introduction"},
    {"feature_tip", "Tips"},
    {"organization_id", "Id"},
    {"groupId", "Id"},
    {"groupName", "Name"},
    {"device_name", "Name"},
    {"public_ip", "Public address"},
    {"virtual_ip", "Address"},
    {"changed", "Changed"},
    {"usage", "Bytes used"},
    {"expired_date", "Expires", true},
    {"last_billing_date", "Last billed", true},
};

const Label* find_label(std::string_view member) {
    const auto* const found = std::find_if(std::begin(kLabels), std::end(kLabels),
                                           [&](const Label& label) { return label.member == member; });
    return found == std::end(kLabels) ? nullptr : found;
}

size_t width_of(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](unsigned char byte) {
        return (byte & 0xC0) != 0x80;  // continuation bytes of UTF-8 take no column
    }));
}

std::string cell_of(const json_t* value) {
    if (json_is_string(value)) return json_string_value(value);
    if (json_is_boolean(value)) return json_is_true(value) ? "yes" : "no";
    if (json_is_null(value) || value == nullptr) return "-";
    if (json_is_array(value) && json_array_size(value) == 0) return "none";
    if (!json_is_array(value)) return json_dump_text(value, JSON_ENCODE_ANY | JSON_COMPACT);
    std::string cells;
    size_t index = 0;
    json_t* item = nullptr;
    json_array_foreach(value, index, item) {
        std::string cell;
        const char* name = nullptr;
        json_t* member = nullptr;
        json_object_foreach(item, name, member) cell += (cell.empty() ? "" : " ") + cell_of(member);
        cells += (cells.empty() ? "" : ", ") + (json_is_object(item) ? cell : cell_of(item));
    }
    return cells;
}

void add_members(const json_t* object, const std::string& prefix, std::vector<Row>& rows) {
    const char* name = nullptr;
    json_t* member = nullptr;
    // jansson's iteration takes no const; nothing is changed.
    json_object_foreach(const_cast<json_t*>(object), name, member) {
        std::string label = prefix + label_of(name);
        if (json_is_object(member)) {
            add_members(member, label + ": ", rows);
        } else {
            const Label* const known = find_label(name);
            const bool is_time = known != nullptr && known->is_time && json_is_integer(member);
            rows.push_back({std::move(label), is_time ? time_text(json_integer_value(member)) : cell_of(member)});
        }
    }
}

std::string table_of_objects(const json_t* array) {
    std::vector<std::string> names;
    std::vector<Row> rows(1);
    size_t index = 0;
    json_t* item = nullptr;
    json_array_foreach(array, index, item) {
        const char* name = nullptr;
        json_t* member = nullptr;
        json_object_foreach(item, name, member) {
            if (std::find(names.begin(), names.end(), name) != names.end()) continue;
            names.emplace_back(name);
            rows[0].push_back(label_of(name));
        }
    }
    json_array_foreach(array, index, item) {
        Row& row = rows.emplace_back();
        for (const std::string& name : names)
            row.push_back(cell_of(json_object_get(item, name.c_str())));
    }
    return layout(rows);
}

}  // namespace

std::string without_controls(std::string text) {
    unsigned char before = 0;
    for (char& letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < 0x20 || byte == 0x7f) letter = '?';
        if (before == 0xc2 && byte < 0xa0) *(&letter - 1) = letter = '?';  // a C1 control
        before = byte;
    }
    return text;
}

std::string label_of(std::string_view member) {
    if (const Label* const label = find_label(member)) return label->text;
    std::string text;
    for (const char letter : member) {
        const auto byte = static_cast<unsigned char>(letter);
        if (isupper(byte) != 0 && !text.empty()) text += ' ';
        text += letter == '_' ? ' ' : static_cast<char>(text.empty() ? toupper(byte) : tolower(byte));
    }
    return text;
}

std::string layout(const std::vector<Row>& rows) {
    std::vector<size_t> widths;
    std::vector<Row> shown;
    for (const Row& row : rows) {
        Row& cells = shown.emplace_back();
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t column = 0; column < row.size(); ++column) {
            cells.push_back(without_controls(row[column]));
            widths[column] = std::max(widths[column], width_of(cells[column]));
        }
    }
    std::string text;
    for (const Row& row : shown) {
        std::string line;
        for (size_t column = 0; column < row.size(); ++column)
            line += column + 1 == row.size() ? row[column] : fmt::format("{:<{}}  ", row[column], widths[column]);
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string document_text(const json_t* document) {
    if (json_is_array(document) && json_array_size(document) == 0) return "none\n";
    if (json_is_array(document) && json_is_object(json_array_get(document, 0))) return table_of_objects(document);
    std::vector<Row> rows;
    if (json_is_object(document)) {
        add_members(document, "", rows);
    } else {
        rows.push_back({cell_of(document)});
    }
    return layout(rows);
}

std::string emphasised(const std::string& text) {
    const char* const no_color = std::getenv("NO_COLOR");  // an empty one counts as none
    if (isatty(STDOUT_FILENO) == 0 || (no_color != nullptr && *no_color != '\0')) return text;
    return "\033[1m" + text + "\033[0m";
}

}  // namespace harbex::tools

#include <charconv>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

#include "common/json.h"
#include "common/json_owner.h"
#include "common/json_storage.h"

namespace harbex {
namespace {

using namespace json_storage;

constexpr size_t kLeafFlags = JSON_COMPACT | JSON_ENSURE_ASCII | JSON_ENCODE_ANY | JSON_REAL_PRECISION(6);
static_assert(kLeafFlags == 0x3260);

bool is_container(const JsonValue& value) {
    return value.type == JsonValue::ARRAY_TYPE || value.type == JsonValue::OBJECT_TYPE;
}

template <typename T>
const T& stored(const JsonValue& scalar) {
    return *static_cast<const T*>(scalar.value);
}

bool is_plain(char c) {
    return static_cast<unsigned char>(c) > 0x1F && c != '"' && c != '\\';
}

constexpr size_t kLongestEscape = 6;

// Writes the escape of one byte; returns where it ends.
char* write_escape(char* at, char c) {
    static constexpr std::string_view kShort = "\"\"\\\\\bb\tt\nn\ff\rr";  // pairs: byte, letter
    static constexpr char kHex[] = "0123456789abcdef";
    *at++ = '\\';
    for (size_t i = 0; i < kShort.size(); i += 2) {
        if (kShort[i] != c) continue;
        *at++ = kShort[i + 1];
        return at;
    }
    const auto byte = static_cast<unsigned char>(c);
    for (const char digit : {'u', '0', '0', kHex[byte >> 4], kHex[byte & 0xF]})
        *at++ = digit;
    return at;
}

// Text on its way to `out`, gathered in a block first: most pieces are a few bytes long.
class TextSink {
public:
    explicit TextSink(std::string& out) : out_(out) {}

    // The end: what is gathered goes out.
    void flush() {
        out_.append(block_, at_);
        at_ = block_;
    }
    void mark(char c) { *room(1)++ = c; }
    void word(std::string_view text) {
        for (const char c : text)
            mark(c);
    }
    void escaped(std::string_view text) {
        for (const char c : text) {
            char*& at = room(kLongestEscape);
            if (is_plain(c)) {
                *at++ = c;
            } else {
                at = write_escape(at, c);
            }
        }
    }
    void text(std::string_view text) {
        mark('"');
        escaped(text);
        mark('"');
    }
    void key(std::string_view key) {
        text(key);
        mark(':');
    }
    template <typename T>
    void number(T number) {
        write(number);
    }
    // What an output stream writes by default: six significant digits.
    void number(double number) { write(number, std::chars_format::general, 6); }
    // Quoted, yet not escaped: callers rely on it.
    void leaf(const json_t* leaf) {
        mark('"');
        word(json_dump_text(leaf, kLeafFlags));
        mark('"');
    }

private:
    template <typename... Form>
    void write(Form... form) {
        constexpr size_t kLongest = 24;
        char*& at = room(kLongest);
        at = std::to_chars(at, at + kLongest, form...).ptr;
    }

    // The write position, with space for `size` bytes behind it; at most the block's length.
    char*& room(size_t size) {
        if (static_cast<size_t>(std::end(block_) - at_) < size) flush();
        return at_;
    }
    std::string& out_;
    char block_[1024];
    char* at_ = block_;
};

// Where the text of print goes.
class StreamSink {
public:
    explicit StreamSink(FILE* stream) : stream_(stream) {}

    void mark(char c) { (void)std::fputc(c, stream_); }
    void word(std::string_view text) { (void)std::fwrite(text.data(), 1, text.size(), stream_); }
    void text(const std::string& text) { (void)std::fprintf(stream_, "\"%s\"", escape_json(text).c_str()); }
    void key(const std::string& key) { (void)std::fprintf(stream_, "\"%s\":", escape_json(key).c_str()); }
    void number(int32_t number) { (void)std::fprintf(stream_, "%d", number); }
    void number(uint32_t number) { (void)std::fprintf(stream_, "%u", number); }
    void number(int64_t number) { (void)std::fprintf(stream_, "%lld", static_cast<long long>(number)); }
    void number(uint64_t number) { (void)std::fprintf(stream_, "%llu", static_cast<unsigned long long>(number)); }
    void number(double number) { (void)std::fprintf(stream_, "%f", number); }
    void leaf(const json_t* leaf) {
        if (leaf == nullptr) return word("null");
        (void)json_dumpf(leaf, stream_, kLeafFlags);
    }

private:
    FILE* stream_;
};

template <typename Sink>
void write_scalar(const JsonValue& scalar, Sink& sink) {
    switch (scalar.type) {
        case JsonValue::NULL_TYPE:
            return sink.word("null");
        case JsonValue::INT32_TYPE:
            return sink.number(stored<int32_t>(scalar));
        case JsonValue::UINT32_TYPE:
            return sink.number(stored<uint32_t>(scalar));
        case JsonValue::INT64_TYPE:
            return sink.number(stored<int64_t>(scalar));
        case JsonValue::UINT64_TYPE:
            return sink.number(stored<uint64_t>(scalar));
        case JsonValue::DOUBLE_TYPE:
            return sink.number(stored<double>(scalar));
        case JsonValue::STRING_TYPE:
            return sink.text(stored<std::string>(scalar));
        case JsonValue::JSON_T_TYPE:
            return sink.leaf(static_cast<const json_t*>(scalar.value));
        case JsonValue::BOOLEAN_TYPE:
            return sink.word(stored<unsigned char>(scalar) != 0 ? "true" : "false");
        default:  // a kind that does not exist has no text
            return;
    }
}

// An array or object whose children are being written.
class Level {
public:
    explicit Level(const JsonValue& container) : is_object_(container.type == JsonValue::OBJECT_TYPE) {
        if (container.value == nullptr) return;
        if (is_object_) {
            member_ = object_of(container.value)->cbegin();
            members_end_ = object_of(container.value)->cend();
            done_ = member_ == members_end_;
        } else {
            item_ = items_of(container.value)->data();
            items_end_ = item_ + items_of(container.value)->size();
            done_ = item_ == items_end_;
        }
    }

    char opening() const { return is_object_ ? '{' : '['; }
    char closing() const { return is_object_ ? '}' : ']'; }
    bool done() const { return done_; }

    // Writes what stands before the next child.
    template <typename Sink>
    const JsonValue& next(Sink& sink) {
        if (!first_) sink.mark(',');
        first_ = false;
        if (!is_object_) {
            const JsonValue& item = **item_;
            done_ = ++item_ == items_end_;
            return item;
        }
        sink.key(member_->first);
        const JsonValue& child = *member_->second;
        done_ = ++member_ == members_end_;
        return child;
    }

private:
    bool is_object_;
    bool first_ = true;
    bool done_ = true;
    JsonValue* const* item_ = nullptr;
    JsonValue* const* items_end_ = nullptr;
    Members::const_iterator member_;
    Members::const_iterator members_end_;
};

// Without recursion, too.
template <typename Sink>
void write_tree(const JsonValue& root, Sink& sink) {
    if (!is_container(root)) return write_scalar(root, sink);
    std::vector<Level> open{Level(root)};
    sink.mark(open.back().opening());
    while (!open.empty()) {
        Level& level = open.back();
        if (level.done()) {
            sink.mark(level.closing());
            open.pop_back();
            continue;
        }
        const JsonValue& child = level.next(sink);
        if (is_container(child)) {
            open.emplace_back(child);
            sink.mark(open.back().opening());
        } else {
            write_scalar(child, sink);
        }
    }
}

}  // namespace

void JsonValue::toString(std::string& out) {
    TextSink sink(out);
    write_tree(*this, sink);
    sink.flush();
}

void JsonValue::print(FILE* stream) {
    StreamSink sink(stream);
    write_tree(*this, sink);
}

std::string escape_json(const std::string& s) {
    std::string escaped;
    TextSink sink(escaped);
    sink.escaped(s);
    sink.flush();
    return escaped;
}

}  // namespace harbex

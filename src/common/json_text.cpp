#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
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

template <typename T>
const T& stored(const JsonValue& scalar) {
    return *static_cast<const T*>(scalar.value);
}

constexpr auto kPlainBytes = [] {
    std::array<bool, 256> plain{};
    for (size_t byte = 0; byte < plain.size(); ++byte)
        plain[byte] = byte > 0x1F && byte != '"' && byte != '\\';
    return plain;
}();

// Returns where the escape ends.
char* write_escape(char* at, unsigned char byte) {
    static constexpr std::string_view kShort = "\"\"\\\\\bb\tt\nn\ff\rr";  // pairs: byte, letter
    static constexpr char kHex[] = "0123456789abcdef";
    *at++ = '\\';
    for (size_t i = 0; i < kShort.size(); i += 2) {
        if (static_cast<unsigned char>(kShort[i]) != byte) continue;
        *at++ = kShort[i + 1];
        return at;
    }
    for (const char c : {'u', '0', '0', kHex[byte >> 4], kHex[byte & 0xF]})
        *at++ = c;
    return at;
}

// Whether one of eight bytes needs an escape.
bool has_escape(uint64_t bytes) {
    constexpr uint64_t kOnes = 0x0101010101010101;
    const auto zero = [](uint64_t word) { return (word - kOnes) & ~word; };
    const uint64_t found = ((bytes - kOnes * 0x20) & ~bytes) | zero(bytes ^ kOnes * '"') | zero(bytes ^ kOnes * '\\');
    return (found & kOnes * 0x80) != 0;
}

// Needs space for kLongestEscape times the text; returns where it ends.
constexpr size_t kLongestEscape = 6;
char* copy_escaped(char* at, std::string_view text) {
    const char* next = text.data();
    const char* const end = next + text.size();
    while (next != end) {
        uint64_t bytes = 0;
        size_t ahead = std::min<size_t>(sizeof bytes, static_cast<size_t>(end - next));
        if (ahead == sizeof bytes) {
            std::memcpy(&bytes, next, sizeof bytes);
            if (!has_escape(bytes)) {
                std::memcpy(at, &bytes, sizeof bytes);
                at += sizeof bytes;
                next += sizeof bytes;
                continue;
            }
        }
        for (; ahead != 0; --ahead) {
            const auto byte = static_cast<unsigned char>(*next++);
            if (kPlainBytes[byte]) {
                *at++ = static_cast<char>(byte);
            } else {
                at = write_escape(at, byte);
            }
        }
    }
    return at;
}

// The short way for the numbers most documents hold, those of at most six digits with at most two behind the point:
// these digits are the six significant ones. Returns where the text ends, null for any other number.
char* write_hundredths(char* at, double number) {
    if (!(number > -1e4 && number < 1e4)) return nullptr;
    const double exact = number * 100;
    const auto hundredths = static_cast<int>(exact);
    if (hundredths == 0 || static_cast<double>(hundredths) != exact) return nullptr;  // 0 may have a sign
    if (hundredths < 0) *at++ = '-';
    const int digits = std::abs(hundredths);
    at = std::to_chars(at, at + sizeof "9999", digits / 100).ptr;
    if (digits % 100 == 0) return at;
    *at++ = '.';
    *at++ = static_cast<char>('0' + digits % 100 / 10);
    if (digits % 10 != 0) *at++ = static_cast<char>('0' + digits % 10);
    return at;
}

// Text on its way to `out`, gathered in a block first: most pieces are a few bytes long.
class TextSink {
public:
    explicit TextSink(std::string& out) : out_(out) {}

    void flush() {
        out_.append(block_.data(), at_);
        at_ = block_.data();
    }
    void mark(char c) { *room(1)++ = c; }
    void word(std::string_view text) {
        if (text.size() > block_.size()) {
            flush();
            out_ += text;
            return;
        }
        char*& at = room(text.size());
        at = std::copy(text.begin(), text.end(), at);
    }
    void escaped(std::string_view text) {
        while (!text.empty()) {
            const std::string_view part = text.substr(0, kEscapedPart);
            char*& at = room(part.size() * kLongestEscape);
            at = copy_escaped(at, part);
            text.remove_prefix(part.size());
        }
    }
    void text(std::string_view text) { quoted(text, "\""); }
    void key(std::string_view key) { quoted(key, "\":"); }
    template <typename T>
    void number(T number) {
        char*& at = room(kLongestNumber);
        at = std::to_chars(at, at + kLongestNumber, number).ptr;
    }
    // What an output stream writes by default: six significant digits.
    void number(double number) {
        char*& at = room(kLongestNumber);
        if (char* const end = write_hundredths(at, number); end != nullptr) {
            at = end;
        } else {
            at = std::to_chars(at, at + kLongestNumber, number, std::chars_format::general, 6).ptr;
        }
    }
    // Quoted, yet not escaped: callers rely on it.
    void leaf(const json_t* leaf) {
        mark('"');
        word(json_dump_text(leaf, kLeafFlags));
        mark('"');
    }

private:
    static constexpr size_t kLongestNumber = 24;
    static constexpr size_t kEscapedPart = 128;

    void quoted(std::string_view text, std::string_view tail) {
        mark('"');
        if (text.size() <= kEscapedPart) {
            char* at = room(text.size() * kLongestEscape + tail.size());
            at = copy_escaped(at, text);
            for (const char c : tail)
                *at++ = c;
            at_ = at;
        } else {
            escaped(text);
            word(tail);
        }
    }

    // The write position, with space for `size` bytes behind it; at most the block's length.
    char*& room(size_t size) {
        if (static_cast<size_t>(block_.data() + block_.size() - at_) < size) flush();
        return at_;
    }

    std::string& out_;
    std::array<char, 1024> block_;
    char* at_ = block_.data();
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
            member_ = object_of(container)->cbegin();
            members_end_ = object_of(container)->cend();
            done_ = member_ == members_end_;
        } else {
            item_ = items_of(container)->data();
            items_end_ = item_ + items_of(container)->size();
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
        const JsonValue& child = *member_->second.child;
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

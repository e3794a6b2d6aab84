#include <cstring>
#include <limits>

#include "peers.h"

namespace bsvc::test {
namespace {

TEST(Stream, GrowsShrinksAndStaysTerminated) {
    const Stream io(bs_io_create());
    size_t length = 99;
    EXPECT_EQ(bs_io_read(io.get(), &length), nullptr);
    EXPECT_EQ(length, 0u);
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        const std::string piece(static_cast<size_t>(i % 7), static_cast<char>('a' + i % 26));
        ASSERT_EQ(bs_io_write(io.get(), piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
        expected += piece;
        ASSERT_EQ(bs_io_printf(io.get(), "%d%%|", i), static_cast<int>(std::to_string(i).size()) + 2);
        expected += std::to_string(i) + "%|";
    }
    EXPECT_EQ(text_of(io.get()), expected);
    EXPECT_EQ(std::strlen(bs_io_read(io.get(), nullptr)), expected.size());

    EXPECT_EQ(bs_io_realloc(io.get(), 3), 0);
    EXPECT_STREQ(bs_io_read(io.get(), nullptr), expected.substr(0, 3).c_str());
    EXPECT_EQ(bs_io_realloc(io.get(), 5), 0);
    EXPECT_EQ(text_of(io.get()), expected.substr(0, 3) + std::string(2, '\0')) << "old bytes must not come back";
    EXPECT_EQ(bs_io_realloc(io.get(), 0), 0);
    EXPECT_EQ(bs_io_read(io.get(), nullptr), nullptr);
}

TEST(Stream, TakesItsOwnBytesWhileGrowing) {
    const Stream io = stream_of("0123456789");
    std::string expected = "0123456789";
    for (int i = 0; i < 8; ++i) {
        size_t length = 0;
        const char* bytes = bs_io_read(io.get(), &length);
        ASSERT_EQ(bs_io_write(io.get(), bytes, length), static_cast<ssize_t>(length));
        expected += expected;
    }
    ASSERT_GT(bs_io_printf(io.get(), "%s", bs_io_read(io.get(), nullptr)), 0);
    EXPECT_EQ(text_of(io.get()), expected + expected);
}

TEST(Stream, RefusesWhatCannotBeAndLosesNothing) {
    const Stream io = stream_of("kept");
    EXPECT_EQ(bs_io_write(io.get(), "x", std::numeric_limits<size_t>::max()), -1);
    EXPECT_EQ(bs_io_write(io.get(), nullptr, 1), -1);
    EXPECT_EQ(bs_io_realloc(io.get(), std::numeric_limits<size_t>::max()), -1);
    EXPECT_EQ(bs_io_write(nullptr, "x", 1), -1);
    EXPECT_EQ(bs_io_read(nullptr, nullptr), nullptr);
    EXPECT_EQ(bs_reply(io.get()), -1) << "no request came with it";
    EXPECT_EQ(text_of(io.get()), "kept");
    bs_io_free(nullptr);
}

}  // namespace
}  // namespace bsvc::test

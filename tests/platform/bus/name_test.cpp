#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "peers.h"

namespace bsvc::test {
namespace {

TEST(Name, LiveOneIsRefusedStaleOneIsReplaced) {
    leave_stale_socket();
    {
        const Running first;
        ASSERT_NE(first.get(), nullptr) << "a dead service's socket is in nobody's way";
        errno = 0;
        EXPECT_EQ(bs_create(kService, 4, 1, serve), nullptr);
        EXPECT_EQ(errno, EADDRINUSE);
        EXPECT_EQ(call("echo", "unharmed").text, "unharmed");
    }
    EXPECT_EQ(access(address_of(kService).sun_path, F_OK), -1) << "given back";
    const Running second;
    EXPECT_EQ(call("echo", "again").text, "again");
}

TEST(Name, HasItsModesWhateverTheUmask) {
    std::filesystem::remove_all("/var/run/bsvc");
    const mode_t usual = umask(0777);
    const Running service;
    umask(usual);
    struct stat found {};
    ASSERT_EQ(lstat(address_of(kService).sun_path, &found), 0);
    EXPECT_EQ(found.st_mode, S_IFSOCK | 0600u);
    ASSERT_EQ(lstat("/var/run/bsvc", &found), 0);
    EXPECT_EQ(found.st_mode, S_IFDIR | 0755u);
}

TEST(Name, HostileOnesAreRefused) {
    const std::string longest(88, 'n');
    for (const std::string& name : {std::string(), std::string("../evil"), longest + "n"}) {
        errno = 0;
        EXPECT_EQ(bs_create(name.c_str(), 4, 1, serve), nullptr) << name;
        EXPECT_EQ(errno, EINVAL) << name;
    }
    EXPECT_EQ(bs_create(kService, 0, 1, serve), nullptr);
    EXPECT_EQ(bs_create(nullptr, 4, 1, serve), nullptr);
    EXPECT_EQ(bs_create(kService, 4, 1, nullptr), nullptr);
    bs_service* service = bs_create(longest.c_str(), 4, 1, serve);
    EXPECT_NE(service, nullptr) << "the longest that fits";
    bs_free(service);
}

TEST(Name, WhatIsNoSocketIsLeftAlone) {
    const std::string path = address_of(kService).sun_path;
    std::ofstream(path) << "somebody's file";
    errno = 0;
    EXPECT_EQ(bs_create(kService, 4, 1, serve), nullptr);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(std::filesystem::file_size(path), 15u);
    unlink(path.c_str());
}

TEST(Name, FreeingAStoppedServiceSparesItsSuccessor) {
    auto old = std::make_unique<Running>();
    ASSERT_EQ(call("echo").result, BS_CALL_OK);
    EXPECT_EQ(old->stop(), 0);
    const Running successor;
    ASSERT_NE(successor.get(), nullptr) << "nobody answers behind the name any more";
    old.reset();
    EXPECT_EQ(call("echo", "to the successor").text, "to the successor");
}

TEST(Name, OneWinsTheRaceForAStaleSocket) {
    for (int round = 0; round < 30; ++round) {
        leave_stale_socket();
        std::vector<bs_service*> services(6, nullptr);
        std::atomic<int> ready = 0;
        in_threads(6, [&](int i) {
            ++ready;
            while (ready < 6)
                std::this_thread::yield();
            services[static_cast<size_t>(i)] = bs_create(kService, 1, 1, serve);
        });
        EXPECT_EQ(std::count(services.begin(), services.end(), nullptr), 5) << round;
        // The winner is the one behind the name: it is not refused.
        EXPECT_TRUE(raw_connection()) << round;
        for (bs_service* service : services)
            bs_free(service);
        ASSERT_EQ(access(address_of(kService).sun_path, F_OK), -1) << round;
    }
}

}  // namespace
}  // namespace bsvc::test

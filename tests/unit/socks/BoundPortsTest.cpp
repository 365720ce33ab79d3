#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "SocksTest.h"
#include "support/FailingMalloc.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::FailingMalloc;

constexpr const char* head = "[INFO ]*********** memo list ************";
constexpr const char* foot = "[INFO ]**********************************";

using BoundPorts = SocksTest;

TEST_F(BoundPorts, NoneAtFirst) {
    displayBindedPortMemo();
    EXPECT_THAT(log.takeLines(), ElementsAre(head, foot));
    EXPECT_FALSE(isPortBound(0));
    EXPECT_FALSE(isPortBound(80));
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(BoundPorts, AreDisplayedNewestFirstWheneverTheyChange) {
    createBindedPortMemo(7, 80);
    EXPECT_THAT(log.takeLines(), ElementsAre(head, "[INFO ]socket 7\t port 80", foot));
    createBindedPortMemo(26, 65535);
    EXPECT_THAT(log.takeLines(), ElementsAre(head, "[INFO ]socket 1a\t port 65535",
                                             "[INFO ]socket 7\t port 80", foot));
    createBindedPortMemo(-1, 0);
    EXPECT_THAT(log.takeLines(),
                ElementsAre(head, "[INFO ]socket ffffffffffffffff\t port 0",
                            "[INFO ]socket 1a\t port 65535", "[INFO ]socket 7\t port 80", foot));
    freeBindedPortMemo(26);
    EXPECT_THAT(log.takeLines(), ElementsAre(head, "[INFO ]socket ffffffffffffffff\t port 0",
                                             "[INFO ]socket 7\t port 80", foot));
    freeBindedPortMemo(99);
    EXPECT_THAT(log.takeLines(), ElementsAre(head, "[INFO ]socket ffffffffffffffff\t port 0",
                                             "[INFO ]socket 7\t port 80", foot));
    freeBindedPortMemo(7);
    freeBindedPortMemo(-1);
    (void)log.takeLines();
    freeBindedPortMemo(7);
    EXPECT_THAT(log.takeLines(), ElementsAre(head, foot));
}

TEST_F(BoundPorts, OnlyTheNewestOfASocketIsRemoved) {
    createBindedPortMemo(7, 80);
    createBindedPortMemo(8, 81);
    createBindedPortMemo(7, 82);
    createBindedPortMemo(9, 83);
    (void)log.takeLines();
    freeBindedPortMemo(7);
    EXPECT_THAT(log.takeLines(),
                ElementsAre(head, "[INFO ]socket 9\t port 83", "[INFO ]socket 8\t port 81",
                            "[INFO ]socket 7\t port 80", foot));
    EXPECT_TRUE(isPortBound(80));
    EXPECT_FALSE(isPortBound(82));
    freeBindedPortMemo(7);
    EXPECT_THAT(log.takeLines(),
                ElementsAre(head, "[INFO ]socket 9\t port 83", "[INFO ]socket 8\t port 81", foot));
    EXPECT_FALSE(isPortBound(80));
}

TEST_F(BoundPorts, SamePortOfSeveralSockets) {
    createBindedPortMemo(7, 80);
    createBindedPortMemo(8, 80);
    freeBindedPortMemo(7);
    EXPECT_TRUE(isPortBound(80));
    freeBindedPortMemo(8);
    EXPECT_FALSE(isPortBound(80));
}

// A removed entry is zeroed, so socket 0 would match it were it still in the list.
TEST_F(BoundPorts, RemovedEntriesAreNotFound) {
    createBindedPortMemo(7, 80);
    freeBindedPortMemo(7);
    (void)log.takeLines();
    EXPECT_FALSE(isPortBound(0));
    freeBindedPortMemo(0);
    EXPECT_THAT(log.takeLines(), ElementsAre(head, foot));
}

TEST_F(BoundPorts, EntriesAreUsedAgain) {
    createBindedPortMemo(7, 80);
    createBindedPortMemo(8, 81);
    freeBindedPortMemo(7);
    freeBindedPortMemo(8);
    (void)log.takeLines();
    const FailingMalloc noNewMemory;
    createBindedPortMemo(1, 90);
    createBindedPortMemo(2, 91);
    EXPECT_TRUE(isPortBound(90));
    EXPECT_TRUE(isPortBound(91));
    EXPECT_THAT(log.takeLines(),
                ElementsAre(head, "[INFO ]socket 1\t port 90", foot, head,
                            "[INFO ]socket 2\t port 91", "[INFO ]socket 1\t port 90", foot));
    createBindedPortMemo(3, 92);
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[ERROR]malloc error in socks::createBindedPortMemo !!!"));
}

TEST_F(BoundPorts, MemoryShortageForgetsTheNewOneOnly) {
    createBindedPortMemo(7, 80);
    (void)log.takeLines();
    {
        const FailingMalloc shortage;
        createBindedPortMemo(8, 81);
    }
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[ERROR]malloc error in socks::createBindedPortMemo !!!"));
    EXPECT_FALSE(isPortBound(81));
    EXPECT_TRUE(isPortBound(80));
    createBindedPortMemo(8, 81);
    EXPECT_THAT(log.takeLines(),
                ElementsAre(head, "[INFO ]socket 8\t port 81", "[INFO ]socket 7\t port 80", foot));
}

TEST_F(BoundPorts, PhysicalFreeEmptiesBothLists) {
    createBindedPortMemo(7, 80);
    createBindedPortMemo(8, 81);
    freeBindedPortMemo(8);
    (void)log.takeLines();
    physicalFreeBindedPortMemo();
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_FALSE(isPortBound(80));
    displayBindedPortMemo();
    EXPECT_THAT(log.takeLines(), ElementsAre(head, foot));
    const FailingMalloc noNewMemory;
    createBindedPortMemo(9, 82);
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[ERROR]malloc error in socks::createBindedPortMemo !!!"));
}

TEST_F(BoundPorts, AreKeptWithoutTraces) {
    debugLvl.store(0);
    createBindedPortMemo(7, 80);
    freeBindedPortMemo(7);
    createBindedPortMemo(7, 81);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_TRUE(isPortBound(81));
    EXPECT_FALSE(isPortBound(80));
}

TEST_F(BoundPorts, OfManyThreads) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread] {
            const int fd = 100 + thread;
            const auto port = static_cast<std::uint16_t>(1000 * (thread + 1));
            for (int i = 0; i < 50; ++i) {
                createBindedPortMemo(fd, port);
                EXPECT_TRUE(isPortBound(port));
                freeBindedPortMemo(fd);
                EXPECT_FALSE(isPortBound(port));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    (void)log.takeLines();
    displayBindedPortMemo();
    EXPECT_THAT(log.takeLines(), ElementsAre(head, foot));
}

}  // namespace

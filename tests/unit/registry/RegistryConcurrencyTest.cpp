#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "RegistryTest.h"

namespace {

using RegistryConcurrency = RegistryTest;

constexpr int writers = 4;
constexpr int socketsOfWriter = 5000;

int socketOf(int writer, int i) {
    return 1 + writer + writers * i;
}

// Makes, checks and frees the writer's own sockets; those with an odd `i` stay.
void useSockets(int writer) {
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < socketsOfWriter; ++i) {
            const int socket = socketOf(writer, i);
            SOCKETINFO* const record = createSocketInfo(socket, 2, 1, i % 2, 6);
            ASSERT_NE(record, nullptr);
            ASSERT_EQ(getSocketInfo(socket), record);
            createMemoOpenedSocket(record);
            createMemoAcceptedSocket(record);
            ASSERT_EQ(getSocket(record), socket);
        }
        for (int i = 0; i < socketsOfWriter; i += 2) {
            const int socket = socketOf(writer, i);
            SOCKETINFO* const record = getSocketInfo(socket);
            ASSERT_NE(record, nullptr);
            ASSERT_EQ(freeMemoOpenedSocket(record), 1);
            ASSERT_EQ(freeSocketInfo(socket), 1);
            ASSERT_EQ(getSocketInfo(socket), nullptr);
        }
    }
}

// Whatever is found is a record that can be read, though it may be released just then.
void lookUpUntil(const std::atomic<bool>& done) {
    int socket = 1;
    while (!done.load()) {
        const SOCKETINFO* const record = getSocketInfo(socket);
        if (record != nullptr) {
            EXPECT_EQ(getProtocol(record) | 6, 6);
            EXPECT_EQ(getFamily(record) | 2, 2);
            EXPECT_EQ(isSocketRerouted(record), 0);
        }
        socket = socket % (writers * socketsOfWriter) + 1;
    }
}

TEST_F(RegistryConcurrency, DisjointSocketsOfManyThreads) {
    std::atomic<bool> done{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back([&done] { lookUpUntil(done); });
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer)
        threads.emplace_back(&useSockets, writer);
    for (std::thread& thread : threads)
        thread.join();
    done.store(true);
    for (std::thread& reader : readers)
        reader.join();

    int live = 0;
    forEachSocketInfo([&live](const SOCKETINFO*) { ++live; });
    EXPECT_EQ(live, writers * socketsOfWriter / 2);
    for (int writer = 0; writer < writers; ++writer) {
        for (int i = 0; i < socketsOfWriter; ++i) {
            const int socket = socketOf(writer, i);
            const SOCKETINFO* const record = getSocketInfo(socket);
            ASSERT_EQ(record != nullptr, i % 2 == 1);
            if (record != nullptr) {
                ASSERT_EQ(getSocket(record), socket);
                ASSERT_EQ(record->flags.load(), 0x13U);
            }
        }
    }
}

TEST_F(RegistryConcurrency, FirstSocketsOfManyThreads) {
    std::vector<std::thread> threads;
    for (int socket = 1; socket <= 16; ++socket) {
        threads.emplace_back([socket] { createSocketInfo(socket, 2, 1, 0, 6); });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (int socket = 1; socket <= 16; ++socket)
        EXPECT_NE(getSocketInfo(socket), nullptr);
}

TEST_F(RegistryConcurrency, OneSocketOfManyThreadsHasOneRecord) {
    std::vector<SOCKETINFO*> records(16);
    std::vector<std::thread> threads;
    for (SOCKETINFO*& record : records) {
        threads.emplace_back([&record] { record = createSocketInfo(7, 2, 1, 0, 6); });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const SOCKETINFO* record : records)
        EXPECT_EQ(record, getSocketInfo(7));
    EXPECT_EQ(freeSocketInfo(7), 1);
    EXPECT_EQ(getSocketInfo(7), nullptr);
}

TEST_F(RegistryConcurrency, MarksOfOneRecordDoNotGetLost) {
    SOCKETINFO* const record = createSocketInfo(7, 2, 1, 0, 6);
    std::thread opening([record] {
        for (int i = 0; i < 20000; ++i) {
            createMemoOpenedSocket(record);
            EXPECT_EQ(freeMemoOpenedSocket(record), 1);
        }
    });
    for (int i = 0; i < 20000; ++i) {
        createMemoAcceptedSocket(record);
        EXPECT_EQ(freeMemoAcceptedSocket(record), 1);
    }
    opening.join();
    EXPECT_EQ(record->flags.load(), 0U);
}

// A destination is always told whole: all bytes of one and the length that belongs to it.
TEST_F(RegistryConcurrency, DestinationsAreToldWhole) {
    SOCKETINFO* const record = createSocketInfo(7, 2, 1, 0, 6);
    std::atomic<bool> done{false};
    std::thread storing([&] {
        for (int i = 0; i < 20000; ++i) {
            sockaddr_storage address;
            const int length = i % 2 == 0 ? 16 : 28;
            std::fill_n(reinterpret_cast<char*>(&address), sizeof(address),
                        static_cast<char>(length));
            createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&address), length);
        }
        done.store(true);
    });
    while (!done.load()) {
        char address[128] = {};
        socklen_t length = sizeof(address);
        int error = 0;
        if (getSockaddrValues(record, reinterpret_cast<sockaddr*>(address), &length, &error) == 0) {
            continue;
        }
        EXPECT_EQ(error, 0);
        EXPECT_TRUE(length == 16 || length == 28);
        for (socklen_t i = 0; i < length; ++i)
            ASSERT_EQ(address[i], static_cast<char>(length));
    }
    storing.join();
}

}  // namespace

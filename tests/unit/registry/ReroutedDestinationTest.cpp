#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "RegistryTest.h"

namespace {

// A destination of which every byte can be told from the others.
sockaddr_storage destinationOf(int first) {
    sockaddr_storage destination;
    for (std::size_t i = 0; i < sizeof(destination); ++i) {
        reinterpret_cast<unsigned char*>(&destination)[i] =
            static_cast<unsigned char>(static_cast<std::size_t>(first) + i);
    }
    return destination;
}

class ReroutedDestination : public RegistryTest {
protected:
    int store(const sockaddr_storage& address, int count) {
        return createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&address), count);
    }
    // Asks with room for `room` bytes. The buffer is filled with 0xEE before.
    int ask(socklen_t room) {
        std::memset(buffer, 0xEE, sizeof(buffer));
        length = room;
        error = 99;
        return getSockaddrValues(record, reinterpret_cast<sockaddr*>(buffer), &length, &error);
    }
    // That the buffer holds the first `count` bytes of the address and nothing else was written.
    void expectBuffer(const sockaddr_storage& address, std::size_t count) const {
        EXPECT_EQ(std::memcmp(buffer, &address, count), 0);
        EXPECT_EQ(
            std::string(reinterpret_cast<const char*>(buffer) + count, sizeof(buffer) - count),
            std::string(sizeof(buffer) - count, '\xEE'));
    }

    SOCKETINFO* record = createSocketInfo(7, 10, 2, 1, 17);
    alignas(sockaddr_storage) unsigned char buffer[200];
    socklen_t length = 0;
    int error = 0;
};

TEST_F(ReroutedDestination, NullRecordHasNone) {
    const sockaddr_storage address{};
    EXPECT_EQ(createSockaddrElem(nullptr, reinterpret_cast<const sockaddr*>(&address), 16), -1);
    record = nullptr;
    EXPECT_EQ(ask(16), 0);
    EXPECT_EQ(length, 16U);
    EXPECT_EQ(error, 99);
    expectBuffer(address, 0);
}

TEST_F(ReroutedDestination, RecordThatIsNotReroutedHasNone) {
    EXPECT_EQ(ask(16), 0);
    EXPECT_EQ(length, 16U);
    EXPECT_EQ(error, 99);
    expectBuffer({}, 0);
}

TEST_F(ReroutedDestination, IsStoredAndTold) {
    const sockaddr_storage address = destinationOf(1);
    EXPECT_EQ(store(address, 16), 1);
    EXPECT_EQ(isSocketRerouted(record), 1);
    EXPECT_EQ(record->flags.load(), 0x14U);
    EXPECT_EQ(record->destinationLength, 16);
    for (const socklen_t room : {16U, 17U, 28U, 128U, 200U}) {
        EXPECT_EQ(ask(room), 1);
        EXPECT_EQ(length, 16U);
        EXPECT_EQ(error, 0);
        expectBuffer(address, 16);
    }
}

TEST_F(ReroutedDestination, NeedsRoomForAllOfIt) {
    store(destinationOf(1), 28);
    for (const socklen_t room : {0U, 16U, 27U}) {
        EXPECT_EQ(ask(room), 1);
        EXPECT_EQ(length, room);
        EXPECT_EQ(error, 14);
        expectBuffer({}, 0);
    }
    EXPECT_EQ(ask(28), 1);
    EXPECT_EQ(error, 0);
    expectBuffer(destinationOf(1), 28);
}

TEST_F(ReroutedDestination, EmptyOneIsAnError) {
    store(destinationOf(1), 0);
    EXPECT_EQ(ask(128), 1);
    EXPECT_EQ(length, 128U);
    EXPECT_EQ(error, 14);
    expectBuffer({}, 0);
}

TEST_F(ReroutedDestination, TheLastOneCounts) {
    store(destinationOf(1), 128);
    store(destinationOf(50), 16);
    EXPECT_EQ(ask(128), 1);
    EXPECT_EQ(length, 16U);
    expectBuffer(destinationOf(50), 16);
}

TEST_F(ReroutedDestination, TakesAnySocketAddress) {
    store(destinationOf(9), 128);
    EXPECT_EQ(ask(128), 1);
    EXPECT_EQ(length, 128U);
    EXPECT_EQ(error, 0);
    expectBuffer(destinationOf(9), 128);
}

TEST_F(ReroutedDestination, GoesWithTheMark) {
    store(destinationOf(1), 16);
    EXPECT_EQ(removeSockaddrElem(record), 1);
    EXPECT_EQ(removeSockaddrElem(record), 0);
    EXPECT_EQ(isSocketRerouted(record), 0);
    EXPECT_EQ(ask(16), 0);
    EXPECT_EQ(error, 99);
}

TEST_F(ReroutedDestination, RecordMadeAgainHasTheMarkButNoDestination) {
    store(destinationOf(1), 16);
    createSocketInfo(7, 2, 1, 0, 6);
    EXPECT_EQ(isSocketRerouted(record), 1);
    EXPECT_EQ(ask(128), 1);
    EXPECT_EQ(error, 14);
}

}  // namespace

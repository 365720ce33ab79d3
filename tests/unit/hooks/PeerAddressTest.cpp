#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstring>

#include "hooks/PeerAddress.h"

namespace {

constexpr unsigned char filling = 0xAB;

class PeerAddressOf : public testing::Test {
protected:
    PeerAddressOf() { std::memset(&area, filling, sizeof(area)); }

    // How many bytes of the area count as the address; behind them everything is zero.
    static std::size_t takenFrom(const PeerAddress& peer) {
        const sockaddr_storage contents = peer.contents();
        unsigned char bytes[sizeof(contents)];
        std::memcpy(bytes, &contents, sizeof(contents));
        std::size_t count = 0;
        while (count < sizeof(bytes) && bytes[count] == filling)
            ++count;
        for (std::size_t i = count; i < sizeof(bytes); ++i)
            EXPECT_EQ(bytes[i], 0) << i;
        return count;
    }

    struct sockaddr* address() {
        return reinterpret_cast<struct sockaddr*>(&area);
    }

    sockaddr_storage area;
};

struct Room {
    socklen_t declared;
    socklen_t given;
    std::size_t taken;
    bool isOwn;
};

class PeerAddressRoom : public PeerAddressOf, public testing::WithParamInterface<Room> {};

TEST_P(PeerAddressRoom, Is16BytesAtLeast) {
    const Room& room = GetParam();
    socklen_t length = room.declared;
    PeerAddress peer(address(), &length);
    EXPECT_EQ(peer.area(), address());
    EXPECT_EQ(peer.length() != &length, room.isOwn);
    EXPECT_EQ(*peer.length(), room.given);
    EXPECT_EQ(peer.currentLength(), static_cast<int>(room.given));
    EXPECT_EQ(takenFrom(peer), room.taken);
    *peer.length() = 99;
    EXPECT_EQ(peer.currentLength(), 99);
    peer.copyLengthBack();
    EXPECT_EQ(length, 99U);
}

INSTANTIATE_TEST_SUITE_P(Lengths, PeerAddressRoom,
                         testing::Values(Room{0, 16, 16, true}, Room{8, 16, 16, true},
                                         Room{15, 16, 16, true}, Room{16, 16, 16, false},
                                         Room{28, 28, 28, false}, Room{128, 128, 128, false}));

TEST_F(PeerAddressOf, NobodyIsAnEmptyOne) {
    PeerAddress peer(nullptr, nullptr);
    ASSERT_NE(peer.area(), nullptr);
    ASSERT_NE(peer.length(), nullptr);
    EXPECT_EQ(*peer.length(), 16U);
    const sockaddr_storage contents = peer.contents();
    EXPECT_EQ(contents.ss_family, AF_UNSPEC);
    peer.copyLengthBack();
}

TEST_F(PeerAddressOf, AnAreaWithoutALengthHas16Bytes) {
    PeerAddress peer(address(), nullptr);
    EXPECT_EQ(peer.area(), address());
    EXPECT_EQ(*peer.length(), 16U);
    EXPECT_EQ(takenFrom(peer), 16U);
}

TEST_F(PeerAddressOf, ALengthWithoutAnAreaHasRoomForEveryAddress) {
    socklen_t length = 128;
    PeerAddress peer(nullptr, &length);
    EXPECT_EQ(peer.length(), &length);
    std::memset(peer.area(), filling, 128);
    EXPECT_EQ(takenFrom(peer), 128U);
}

TEST_F(PeerAddressOf, AShortLengthWithoutAnAreaIsReplacedAndHandedBack) {
    for (const socklen_t few : {0U, 8U, 15U}) {
        socklen_t length = few;
        PeerAddress peer(nullptr, &length);
        EXPECT_NE(peer.length(), &length);
        EXPECT_EQ(*peer.length(), 16U);
        peer.copyLengthBack();
        EXPECT_EQ(length, 16U);
    }
}

TEST_F(PeerAddressOf, ABadLengthWithoutAnAreaIsNoError) {
    socklen_t negative = 0xFFFFFFFF;
    PeerAddress ofNegative(nullptr, &negative);
    EXPECT_EQ(*ofNegative.length(), 16U);
    ofNegative.copyLengthBack();
    EXPECT_EQ(negative, 0xFFFFFFFF);
    PeerAddress ofUnreadable(nullptr, reinterpret_cast<socklen_t*>(8));
    EXPECT_EQ(*ofUnreadable.length(), 16U);
    ofUnreadable.copyLengthBack();
}

TEST_F(PeerAddressOf, ABadLengthWithAnAreaIsTheCallersFault) {
    auto* const unreadable = reinterpret_cast<socklen_t*>(8);
    PeerAddress peer(address(), unreadable);
    EXPECT_EQ(peer.length(), unreadable);
    EXPECT_EQ(peer.currentLength(), 0);
    peer.copyLengthBack();
}

TEST_F(PeerAddressOf, AnAreaThatCannotBeReadIsEmpty) {
    auto* const unreadable = reinterpret_cast<struct sockaddr*>(8);
    socklen_t length = 16;
    PeerAddress peer(unreadable, &length);
    EXPECT_EQ(peer.area(), unreadable);
    EXPECT_EQ(takenFrom(peer), 0U);
}

}  // namespace

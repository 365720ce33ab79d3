#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <string_view>
#include <vector>

#include "recorder/Connection.h"
#include "recorder/SystemCall.h"

namespace veltra::testing {

namespace {

using namespace std::chrono_literals;

class ConnectionTest : public ::testing::Test {
protected:
    ConnectionTest() : ConnectionTest(makePair()) {}

    bool receive(RecorderClock::time_point now) { return connection.receive(buffer, now); }

    void send(std::string_view text) const {
        ASSERT_EQ(::send(peer.number(), text.data(), text.size(), 0),
                  static_cast<ssize_t>(text.size()));
    }

    const RecorderClock::time_point start{};
    FileDescriptor peer;
    Connection connection;
    std::vector<char> buffer = std::vector<char>(4);

private:
    static std::array<int, 2> makePair() {
        std::array<int, 2> pair{};
        checked(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair.data()),
                "socketpair");
        return pair;
    }

    explicit ConnectionTest(std::array<int, 2> pair)
        : peer(pair[0]), connection(FileDescriptor(pair[1]), start) {}
};

TEST_F(ConnectionTest, IsSilentUntilSomethingArrives) {
    EXPECT_FALSE(receive(start + 1s));
    EXPECT_EQ(connection.lastHeard(), start);
    EXPECT_EQ(connection.text(), "");
    EXPECT_TRUE(connection.isOpen());
}

TEST_F(ConnectionTest, GathersWhatArrives) {
    send("more than the buffer ");
    EXPECT_TRUE(receive(start + 1s));
    EXPECT_EQ(connection.lastHeard(), start + 1s);
    send("holds");
    EXPECT_TRUE(receive(start + 2s));
    EXPECT_EQ(connection.lastHeard(), start + 2s);
    EXPECT_EQ(connection.text(), "more than the buffer holds");
    EXPECT_TRUE(connection.isOpen());
}

TEST_F(ConnectionTest, EndsWithItsSender) {
    send("all");
    peer.close();
    EXPECT_TRUE(receive(start + 1s));
    EXPECT_EQ(connection.text(), "all");
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(connection.descriptor(), -1);
}

TEST_F(ConnectionTest, LetsOthersHaveTheirTurn) {
    send(std::string(1000, 'x'));
    EXPECT_TRUE(receive(start));
    EXPECT_LT(connection.text().size(), 1000U);
    while (receive(start)) {
    }
    EXPECT_EQ(connection.text(), std::string(1000, 'x'));
}

TEST_F(ConnectionTest, KeepsItsPlaceUntilItGivesItUp) {
    EXPECT_TRUE(connection.keepsPlace());
    connection.givePlaceUp();
    EXPECT_FALSE(connection.keepsPlace());
}

}  // namespace

}  // namespace veltra::testing

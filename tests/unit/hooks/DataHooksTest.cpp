#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "hooks/dataHooks.h"
#include "support/HalfReadable.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::HalfReadable;

std::string sent(const void* buffer, size_t length, ssize_t result, int error) {
    RecorderMessage message(RecorderMessageKind::send, 0);
    setSentData(message, buffer, length, result, error);
    return message.toString();
}

std::string received(const void* buffer, size_t length, ssize_t result, int flags = 0) {
    RecorderMessage message(RecorderMessageKind::receive, 0);
    setReceivedData(message, buffer, length, result, flags);
    return message.toString();
}

TEST(SentData, IsTheWholeBufferWhateverWasTaken) {
    EXPECT_EQ(sent("hello", 5, 5, 0), R"(<send data_AS="hello")");
    EXPECT_EQ(sent("hello", 5, 2, 0), R"(<send data_AS="hello")");
    EXPECT_EQ(sent("hello", 5, -1, EPIPE), R"(<send data_AS="hello")");
    EXPECT_EQ(sent("a\0b", 3, 3, 0), R"(<send data_AS="a\x00b")");
}

TEST(SentData, IsAbsentForNoBytesAndForAbsurdLengths) {
    EXPECT_EQ(sent("hello", 0, 0, 0), "<send");
    EXPECT_EQ(sent("hello", static_cast<size_t>(INT_MAX) + 1, -1, EINVAL), "<send");
    EXPECT_EQ(sent("hello", SIZE_MAX, -1, EINVAL), "<send");
}

TEST(SentData, IsNotReadWhereTheRealCallFaulted) {
    EXPECT_EQ(sent(reinterpret_cast<const void*>(1), 5, -1, EFAULT), "<send");
    EXPECT_EQ(sent("hello", 5, -1, EFAULT), "<send");
}

TEST(SentData, EndsWhereMemoryCanNoLongerBeRead) {
    const HalfReadable memory;
    std::memcpy(memory.last(3), "abc", 3);
    EXPECT_EQ(sent(memory.last(3), 10, -1, EPIPE), R"(<send data_AS="abc")");
    EXPECT_EQ(sent(memory.last(3), 10, 3, 0), R"(<send data_AS="abc")");
    EXPECT_EQ(sent(memory.unreadable(), 10, -1, EPIPE), "<send");
    EXPECT_EQ(sent(nullptr, 10, -1, EPIPE), "<send");
}

TEST(ReceivedData, AreTheBytesReceived) {
    EXPECT_EQ(received("abcdef", 6, 3), R"(<receive data_AS="abc")");
    EXPECT_EQ(received("a\0c", 3, 3), R"(<receive data_AS="a\x00c")");
}

TEST(ReceivedData, AtTheEndOfTheStreamAreTheBuffersText) {
    EXPECT_EQ(received("abc\0def", 7, 0), R"(<receive data_AS="abc")");
    EXPECT_EQ(received("\0def", 4, 0), R"(<receive data_AS="")");
    EXPECT_EQ(received("abcdef", 2, 0), R"(<receive data_AS="ab")");
    EXPECT_EQ(received("abc", 0, 0), R"(<receive data_AS="")");
    EXPECT_EQ(received(nullptr, 8, 0), "<receive");
}

TEST(ReceivedData, AtTheEndOfTheStreamNeverReachBeyondReadableMemory) {
    const HalfReadable memory;
    std::memcpy(memory.last(3), "xyz", 3);
    EXPECT_EQ(received(memory.last(3), 10, 0), R"(<receive data_AS="xyz")");
    EXPECT_EQ(received(memory.unreadable(), 10, 0), R"(<receive data_AS="")");
}

TEST(ReceivedData, AreAbsentAfterAFailure) {
    EXPECT_EQ(received("abc", 3, -1), "<receive");
}

TEST(ReceivedData, AreNoMoreThanTheBufferHoldsWhenTheResultCountsMore) {
    EXPECT_EQ(received("abcd", 4, 100, MSG_TRUNC), R"(<receive data_AS="abcd")");
    EXPECT_EQ(received(nullptr, 4, 4, MSG_TRUNC), "<receive");
    EXPECT_EQ(received(reinterpret_cast<const void*>(1), 4, 4, MSG_TRUNC),
              R"(<receive data_AS="")");
}

TEST(PossibleUdp, IsWrittenForThatProtocolAlone) {
    const auto written = [](int protocol) {
        const SOCKETINFO* const record = createSocketInfo(31, AF_INET, SOCK_DGRAM, 0, protocol);
        RecorderMessage message(RecorderMessageKind::send, 0);
        setPossibleUdp(message, record);
        return std::string(message.toString());
    };
    EXPECT_EQ(written(17), R"(<send info_AS="POSSIBLE_UDP")");
    EXPECT_EQ(written(6), "<send");
    EXPECT_EQ(written(0), "<send");
    cleanSocketInfo();
}

TEST(MessageBuffersOf, ASuccessfulCallAreTheHeaders) {
    iovec buffers[] = {{nullptr, 3}, {nullptr, 0}, {nullptr, 4}};
    msghdr header{};
    header.msg_iov = buffers;
    header.msg_iovlen = 3;
    const MessageBuffers found(&header, 7);
    EXPECT_EQ(found.array, buffers);
    EXPECT_EQ(found.count, 3U);
    EXPECT_EQ(found.totalLength(), 7);
}

TEST(MessageBuffersOf, AFailedCallAreReadOnlyIfTheyCanBe) {
    iovec buffers[] = {{nullptr, 3}};
    msghdr header{};
    header.msg_iov = buffers;
    header.msg_iovlen = 1;
    EXPECT_EQ(MessageBuffers(&header, -1).array, buffers);
    EXPECT_EQ(MessageBuffers(nullptr, -1).array, nullptr);
    EXPECT_EQ(MessageBuffers(reinterpret_cast<const msghdr*>(8), -1).array, nullptr);
    header.msg_iov = reinterpret_cast<iovec*>(16);
    EXPECT_EQ(MessageBuffers(&header, -1).array, nullptr);
    header.msg_iovlen = SIZE_MAX;
    EXPECT_EQ(MessageBuffers(&header, -1).count, 0U);
}

TEST(MessageBuffersOf, ManyBytesAreAddedUpIn32Bits) {
    iovec buffers[] = {{nullptr, 0xFFFFFFFF}, {nullptr, 0x100000003}};
    msghdr header{};
    header.msg_iov = buffers;
    header.msg_iovlen = 2;
    EXPECT_EQ(MessageBuffers(&header, 0).totalLength(), 2);
}

TEST(MessageBuffersOf, UnreadableMemoryAreToldApart) {
    const HalfReadable memory;
    iovec buffers[] = {{memory.last(3), 3}, {nullptr, 0}};
    msghdr header{};
    header.msg_iov = buffers;
    header.msg_iovlen = 2;
    EXPECT_TRUE(MessageBuffers(&header, 0).areReadable(EPIPE));
    EXPECT_FALSE(MessageBuffers(&header, 0).areReadable(EFAULT));
    buffers[1].iov_len = 1;
    EXPECT_FALSE(MessageBuffers(&header, 0).areReadable(EPIPE));
    buffers[1] = {memory.last(3), 4};
    EXPECT_FALSE(MessageBuffers(&header, 0).areReadable(EPIPE));
}

TEST(TracedTextOf, ABufferGoesToItsZeroByte) {
    const TracedText text = tracedText("hello\0more");
    EXPECT_EQ(std::string(text.text, static_cast<std::size_t>(text.length)), "hello");
}

TEST(TracedTextOf, NullReadsAsTheCLibraryPrintsIt) {
    EXPECT_STREQ(tracedText(nullptr).text, "(null)");
}

TEST(TracedTextOf, ABufferEndsWithReadableMemory) {
    const HalfReadable memory;
    std::memcpy(memory.last(3), "xyz", 3);
    EXPECT_EQ(tracedText(memory.last(3)).length, 3);
    EXPECT_EQ(tracedText(memory.unreadable()).length, 0);
}

TEST(NothingToRead, IsAResultOfZeroOrLessWithThatErrorOnly) {
    EXPECT_TRUE(isNothingToRead(-1, EAGAIN));
    EXPECT_TRUE(isNothingToRead(0, EAGAIN));
    EXPECT_FALSE(isNothingToRead(1, EAGAIN));
    EXPECT_FALSE(isNothingToRead(-1, ECONNRESET));
    EXPECT_FALSE(isNothingToRead(0, 0));
}

TEST(DataRecorded, TracesTheReasonForASocketThatMayBeTraced) {
    veltra::testing::TraceLog log;
    SOCKETINFO* const udp = createSocketInfo(7, AF_INET, SOCK_DGRAM, 0, 17);
    EXPECT_FALSE(isDataRecorded(udp, "send", 12, 7));
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][12]send on 7 not logged (UDPSOCKET)"));
    SOCKETINFO* const local = createSocketInfo(8, AF_UNIX, SOCK_STREAM, 0, 6);
    EXPECT_FALSE(isDataRecorded(local, "send", 13, 8));
    EXPECT_FALSE(isDataRecorded(nullptr, "send", 14, 9));
    SOCKETINFO* const tcp = createSocketInfo(10, AF_INET, SOCK_STREAM, 0, 6);
    EXPECT_TRUE(isDataRecorded(tcp, "send", 15, 10));
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(DataRecorded, IsNothingThatNobodyCouldSee) {
    SOCKETINFO* const tcp = createSocketInfo(10, AF_INET, SOCK_STREAM, 0, 6);
    EXPECT_TRUE(isDataRecorded(tcp, "send", 15, 10));
    agentInterfaceUnplugged.store(true);
    EXPECT_FALSE(isDataRecorded(tcp, "send", 15, 10));
    const veltra::testing::TraceLog log;
    EXPECT_TRUE(isDataRecorded(tcp, "send", 15, 10));
}

// The recorder core's clock, as far as it has been asked.
long long asked = 0;

TEST(EntryStampsOf, ARecordedSocketAreThoseOfTheEntry) {
    getCurrentTimePtr.store([] { return ++asked; });
    const EntryStamps entry(createSocketInfo(10, AF_INET, SOCK_STREAM, 0, 6));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(entry.get().nanoseconds, 1);
    EXPECT_EQ(asked, 1);
}

TEST(EntryStampsOf, ASocketThatIsNotRecordedAreNotTakenUntilAskedFor) {
    getCurrentTimePtr.store([] { return ++asked; });
    const EntryStamps udp(createSocketInfo(7, AF_INET, SOCK_DGRAM, 0, 17));
    agentInterfaceUnplugged.store(true);
    const EntryStamps unseen(createSocketInfo(10, AF_INET, SOCK_STREAM, 0, 6));
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(udp.get().nanoseconds, 1);
}

}  // namespace

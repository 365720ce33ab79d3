#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/applicationMemory.h"

namespace {

constexpr std::size_t pageSize = 4096;

// Pages of which the last cannot be read, as well as any that a test takes away.
class Pages {
public:
    explicit Pages(std::size_t readable) : length_((readable + 1) * pageSize) {
        start_ = static_cast<char*>(
            mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        takeAway(readable);
    }
    ~Pages() { munmap(start_, length_); }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    void takeAway(std::size_t page) const { mprotect(at(page * pageSize), pageSize, PROT_NONE); }
    char* at(std::size_t offset) const { return start_ + offset; }

private:
    std::size_t length_;
    char* start_;
};

const void* addressOf(std::uintptr_t number) {
    return reinterpret_cast<const void*>(number);
}

TEST(ReadableLength, NullAndNothing) {
    const char byte = 'x';
    EXPECT_EQ(readableLength(nullptr, 0), 0U);
    EXPECT_EQ(readableLength(nullptr, 1), 0U);
    EXPECT_EQ(readableLength(nullptr, SIZE_MAX), 0U);
    EXPECT_EQ(readableLength(&byte, 0), 0U);
    EXPECT_EQ(readableLength(&byte, 1), 1U);
}

TEST(ReadableLength, EndsWhereThePageCannotBeRead) {
    const Pages pages(2);
    const std::size_t readable = 2 * pageSize;
    EXPECT_EQ(readableLength(pages.at(0), readable), readable);
    EXPECT_EQ(readableLength(pages.at(0), readable + 1), readable);
    EXPECT_EQ(readableLength(pages.at(0), SIZE_MAX), readable);
    EXPECT_EQ(readableLength(pages.at(10), SIZE_MAX), readable - 10) << "past the top and around";
    EXPECT_EQ(readableLength(pages.at(pageSize - 1), 2), 2U);
    EXPECT_EQ(readableLength(pages.at(pageSize), pageSize), pageSize);
    EXPECT_EQ(readableLength(pages.at(readable - 1), 1), 1U);
    EXPECT_EQ(readableLength(pages.at(readable - 1), 2), 1U);
    EXPECT_EQ(readableLength(pages.at(readable - 10), 11), 10U);
    EXPECT_EQ(readableLength(pages.at(readable), 1), 0U);
    EXPECT_EQ(readableLength(pages.at(readable + 5), 100), 0U);
}

TEST(ReadableLength, DoesNotLookBehindAGap) {
    const Pages pages(3);
    pages.takeAway(1);
    EXPECT_EQ(readableLength(pages.at(100), 3 * pageSize - 100), pageSize - 100);
    EXPECT_EQ(readableLength(pages.at(pageSize + 100), pageSize), 0U);
    EXPECT_EQ(readableLength(pages.at(2 * pageSize), pageSize), pageSize);
}

TEST(ReadableLength, TopOfTheAddressSpace) {
    EXPECT_EQ(readableLength(addressOf(UINTPTR_MAX), 1), 0U);
    EXPECT_EQ(readableLength(addressOf(UINTPTR_MAX), SIZE_MAX), 0U);
    EXPECT_EQ(readableLength(addressOf(UINTPTR_MAX - 10), 100), 0U);
    EXPECT_EQ(readableLength(addressOf(UINTPTR_MAX - pageSize), 2 * pageSize), 0U);
    EXPECT_EQ(readableLength(addressOf(1), SIZE_MAX), 0U);
    EXPECT_EQ(readableLength(addressOf(std::uintptr_t{1} << 47), 1), 0U);
}

TEST(ReadableTextLength, EndsAtTheZeroOrWhereMemoryEnds) {
    const Pages pages(2);
    const std::size_t readable = 2 * pageSize;
    EXPECT_EQ(readableTextLength(nullptr), 0U);
    EXPECT_EQ(readableTextLength(""), 0U);
    EXPECT_EQ(readableTextLength("text"), 4U);
    std::memset(pages.at(0), 'x', readable);
    EXPECT_EQ(readableTextLength(pages.at(0)), readable);
    EXPECT_EQ(readableTextLength(pages.at(pageSize)), pageSize);
    EXPECT_EQ(readableTextLength(pages.at(readable - 3)), 3U);
    EXPECT_EQ(readableTextLength(pages.at(readable - 1)), 1U);
    EXPECT_EQ(readableTextLength(pages.at(readable)), 0U);
    EXPECT_EQ(readableTextLength(pages.at(readable + 7)), 0U);
    *pages.at(readable - 1) = '\0';
    EXPECT_EQ(readableTextLength(pages.at(0)), readable - 1);
    EXPECT_EQ(readableTextLength(pages.at(readable - 1)), 0U);
    *pages.at(pageSize) = '\0';
    EXPECT_EQ(readableTextLength(pages.at(10)), pageSize - 10);
    *pages.at(pageSize - 1) = '\0';
    EXPECT_EQ(readableTextLength(pages.at(10)), pageSize - 11);
    EXPECT_EQ(readableTextLength(reinterpret_cast<const char*>(UINTPTR_MAX - 5)), 0U);
}

sockaddr_in sampleIpv4() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = 0x1234;
    address.sin_addr.s_addr = 0x0a0b0c0d;
    std::memset(address.sin_zero, 0x77, sizeof(address.sin_zero));
    return address;
}

const sockaddr* asGeneric(const void* address) {
    return static_cast<const sockaddr*>(address);
}

TEST(AddressCopy, HoldsWhatTheLengthCoversAndZeroBehind) {
    const sockaddr_in address = sampleIpv4();
    for (std::size_t length = 2; length <= sizeof(address); ++length) {
        const AddressCopy copy(asGeneric(&address), length);
        ASSERT_NE(copy.get(), nullptr) << length;
        std::string expected(sizeof(sockaddr_storage), '\0');
        std::memcpy(expected.data(), &address, length);
        const std::string bytes(reinterpret_cast<const char*>(copy.get()),
                                sizeof(sockaddr_storage));
        EXPECT_EQ(bytes, expected) << length;
        EXPECT_EQ(copy.family(), AF_INET) << length;
    }
    const AddressCopy whole(asGeneric(&address), sizeof(address));
    EXPECT_EQ(whole.ipv4().sin_port, 0x1234);
    EXPECT_EQ(whole.ipv4().sin_addr.s_addr, 0x0a0b0c0dU);
}

TEST(AddressCopy, OfIpv6) {
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = 0x4321;
    address.sin6_flowinfo = 5;
    std::memset(&address.sin6_addr, 0xab, sizeof(address.sin6_addr));
    address.sin6_scope_id = 6;
    const AddressCopy copy(asGeneric(&address), sizeof(address));
    EXPECT_EQ(copy.family(), AF_INET6);
    EXPECT_EQ(std::memcmp(&copy.ipv6(), &address, sizeof(address)), 0);
}

TEST(AddressCopy, TooShortForAFamilyIsNoAddress) {
    const sockaddr_in address = sampleIpv4();
    for (const std::size_t length : {0U, 1U}) {
        const AddressCopy copy(asGeneric(&address), length);
        EXPECT_EQ(copy.get(), nullptr) << length;
        EXPECT_EQ(copy.family(), 0) << length;
        EXPECT_EQ(copy.ipv4().sin_port, 0) << length;
    }
}

TEST(AddressCopy, OverlongLengthIsCutToTheLargestAddress) {
    const Pages pages(1);
    std::memset(pages.at(0), 0x5a, pageSize);
    const char* const lastBytes = pages.at(pageSize - sizeof(sockaddr_storage));
    for (const std::size_t length : {sizeof(sockaddr_storage), sizeof(sockaddr_storage) + 1,
                                     pageSize, std::size_t{UINT32_MAX}, std::size_t{SIZE_MAX}}) {
        const AddressCopy copy(asGeneric(lastBytes), length);
        ASSERT_NE(copy.get(), nullptr) << length;
        EXPECT_EQ(std::memcmp(copy.get(), lastBytes, sizeof(sockaddr_storage)), 0) << length;
    }
}

TEST(AddressCopy, NullOrUnreadableIsNoAddress) {
    const Pages pages(1);
    const sockaddr_in address = sampleIpv4();
    char* const last = pages.at(pageSize - sizeof(address));
    std::memcpy(last, &address, sizeof(address));
    EXPECT_NE(AddressCopy(asGeneric(last), sizeof(address)).get(), nullptr);
    for (const void* const start : std::vector<const void*>{
             nullptr, pages.at(pageSize), last + 1, addressOf(UINTPTR_MAX - 1), addressOf(8)}) {
        const AddressCopy copy(asGeneric(start), sizeof(address));
        EXPECT_EQ(copy.get(), nullptr) << start;
        EXPECT_EQ(copy.family(), 0) << start;
    }
    EXPECT_EQ(AddressCopy(nullptr, 0).get(), nullptr);
}

// The memory looked at would be a signal mask with every signal in it, or none.
TEST(ApplicationMemory, ChangesNeitherErrorCodeNorSignalMask) {
    const Pages pages(2);
    std::memset(pages.at(0), 0xff, pageSize);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, &before), 0);
    errno = 4711;
    EXPECT_EQ(readableLength(pages.at(0), 3 * pageSize), 2 * pageSize);
    EXPECT_EQ(readableLength(nullptr, 1), 0U);
    EXPECT_EQ(readableTextLength(pages.at(0)), pageSize);
    EXPECT_EQ(AddressCopy(asGeneric(pages.at(2 * pageSize)), 16).get(), nullptr);
    EXPECT_NE(AddressCopy(asGeneric(pages.at(0)), 16).get(), nullptr);
    EXPECT_EQ(errno, 4711);
    sigset_t after;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &before, &after), 0);
    for (int signal = 1; signal < NSIG; ++signal) {
        const bool expected = signal == SIGUSR1 || sigismember(&before, signal) == 1;
        EXPECT_EQ(sigismember(&after, signal) == 1, expected) << signal;
    }
}

}  // namespace
